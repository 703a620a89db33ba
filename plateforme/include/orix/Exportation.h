#ifndef ORIX_EXPORTATION_H
#define ORIX_EXPORTATION_H

/// Marks what a shared object of this system shows to others; everything else stays hidden.
#define ORIX_API __attribute__((visibility("default")))

/// Marks what a class that is shown keeps to its own shared object.
#define ORIX_INTERNE __attribute__((visibility("hidden")))

#endif
