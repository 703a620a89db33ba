#ifndef ORIX_STATISTIQUES_H
#define ORIX_STATISTIQUES_H

#include "orix/Exportation.h"

#include <cstdint>

namespace orix {

/// What the middleware of this process has done since initialiser(), and what waits in it.
struct Statistiques
{
    std::uint64_t callbacks = 0;          ///< begun on the callback thread
    std::uint64_t callbacksEnAttente = 0; ///< for that thread, now
    std::uint64_t callbacksMax = 0;  ///< that may wait before the ORB's thread does ([executeur] capacite)
    std::uint64_t tracesPerdues = 0; ///< lines, since the process began: more than could be written
};

/// All zero, traces apart, when the middleware does not run. Any thread; throws nothing.
ORIX_API Statistiques statistiques() noexcept;

} // namespace orix

#endif
