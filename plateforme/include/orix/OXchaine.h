#ifndef ORIX_OXCHAINE_H
#define ORIX_OXCHAINE_H

#include "orix/Exportation.h"

/// A copy of the string, allocated with array new: the caller releases it with array delete. Null gives null.
/// Throws std::bad_alloc.
ORIX_API char* OXdupliqueChaine(const char* chaine);

#endif
