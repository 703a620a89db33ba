#ifndef CDV_HISTOGRAMMEDUREES_H
#define CDV_HISTOGRAMMEDUREES_H

#include "CdvStatistiques.h"

#include <algorithm>

namespace cdv {

/// Durations in classes of at most 3 %, from a microsecond to an hour: whatever their number, the same
/// memory. Knows no threads.
class HistogrammeDurees
{
  public:
    void ajouter(std::chrono::nanoseconds duree) noexcept
    {
        const std::uint64_t us = static_cast<std::uint64_t>(std::max<std::int64_t>(duree.count(), 0)) / 1000;
        ++_classes[_classe(std::min(us, MAX))];
        ++_nombre;
        _max = std::max(_max, us);
    }
    Statistiques::Durees lire() const noexcept
    {
        Statistiques::Durees durees;
        durees.nombre = _nombre;
        durees.max = Statistiques::Microsecondes(_max);
        durees.p50 = _quantile(50);
        durees.p90 = _quantile(90);
        durees.p99 = _quantile(99);
        return durees;
    }

  private:
    static constexpr unsigned BITS = 5; ///< of a duration that tell its class, after the first
    static constexpr std::uint64_t PAS = 1u << BITS;
    static constexpr std::uint64_t MAX = std::uint64_t{3600} * 1000000; ///< has 32 bits
    static constexpr std::size_t CLASSES = (32 - BITS + 1) * PAS;

    static constexpr std::size_t _classe(std::uint64_t us) noexcept
    {
        unsigned decalage = 0;
        while (us >> decalage >= 2 * PAS)
            ++decalage;
        return decalage * PAS + (us >> decalage);
    }
    /// The longest duration of that class.
    static constexpr std::uint64_t _borne(std::size_t classe) noexcept
    {
        if (classe < 2 * PAS)
            return classe;
        const std::size_t decalage = classe / PAS - 1;
        return ((classe - decalage * PAS + 1) << decalage) - 1;
    }

    Statistiques::Microsecondes _quantile(unsigned pourCent) const noexcept
    {
        std::uint64_t reste = (_nombre * pourCent + 99) / 100;
        std::size_t classe = 0;
        while (reste > _classes[classe])
            reste -= _classes[classe++];
        return Statistiques::Microsecondes(_nombre == 0 ? 0 : std::min(_borne(classe), _max));
    }

    std::array<std::uint64_t, CLASSES> _classes{};
    std::uint64_t _nombre = 0;
    std::uint64_t _max = 0;
};

} // namespace cdv

#endif
