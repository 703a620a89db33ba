#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long t_allocations = 0;

} // namespace

long bench::allocations() { return t_allocations; }

// The forms for arrays, and those that do not throw, come to these.
void* operator new(std::size_t taille)
{
    ++t_allocations;
    if (void* const bloc = std::malloc(taille))
        return bloc;
    throw std::bad_alloc();
}

void operator delete(void* bloc) noexcept { std::free(bloc); }
void operator delete(void* bloc, std::size_t) noexcept { std::free(bloc); }
