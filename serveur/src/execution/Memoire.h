#ifndef MEMOIRE_H
#define MEMOIRE_H

#include "orix/INonCopiable.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace serveur {

/// The memory for all that waits in the server, shared fairly without anybody counting who shares: a queue
/// may hold as much as is still free. One alone gets half of it, two get a third each, and something is left
/// for the next. Any thread.
class Memoire : orix::INonCopiable
{
  public:
    explicit Memoire(std::size_t maximum) : _maximum(maximum) {}

    void prendre(std::size_t octets) { _prise += octets; }
    void rendre(std::size_t octets) { _prise -= octets; }
    std::size_t prise() const { return _prise; }
    std::size_t maximum() const { return _maximum; }

    /// Whether a queue that holds so much may take so much more. One that is empty may: what is too large for
    /// everything that is free does not wait for ever.
    bool admet(std::size_t tenu, std::size_t octets) const
    {
        const std::size_t prise = _prise;
        const std::size_t libre = prise < _maximum ? _maximum - prise : 0;
        return tenu == 0 || tenu + octets <= std::min(libre, PLAFOND);
    }

  private:
    /// Of one queue: more than that makes nothing faster.
    static constexpr std::size_t PLAFOND = std::size_t{16} << 20;

    const std::size_t _maximum;
    std::atomic<std::size_t> _prise{0};
};

} // namespace serveur

#endif
