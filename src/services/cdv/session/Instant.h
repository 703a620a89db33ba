#ifndef CDV_INSTANT_H
#define CDV_INSTANT_H

#include "CdvSession.h"

#include <algorithm>
#include <chrono>

namespace cdv {

using Instant = std::chrono::steady_clock::time_point;

constexpr Instant JAMAIS = Instant::max();
constexpr Duree TRES_LONG = std::chrono::hours(24 * 3650); ///< stands for all that is longer

/// "For ever" included.
inline Instant apres(Instant debut, Duree delai) { return debut + std::min(delai, TRES_LONG); }

} // namespace cdv

#endif
