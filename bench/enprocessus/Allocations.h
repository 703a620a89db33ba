#ifndef BENCH_ALLOCATIONS_H
#define BENCH_ALLOCATIONS_H

namespace bench {

/// Calls of operator new on this thread so far, by whatever library.
long allocations();

} // namespace bench

#endif
