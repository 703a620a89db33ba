#ifndef ORIX_EXPORTATION_H
#define ORIX_EXPORTATION_H

/// Marks what a shared object of this system shows to others; everything else stays hidden.
#define ORIX_API __attribute__((visibility("default")))

#endif
