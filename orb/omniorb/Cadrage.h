#ifndef CADRAGE_H
#define CADRAGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace orix::orb {

/// Follows the messages that come in over one connection, octet by octet, and tells those that no client of a
/// server sends. Keeps no octets but the first of the current message. For one thread at a time.
class Cadrage
{
  public:
    /// tailleMax: how long a message may be, its fragments together; asked for one that is not short.
    explicit Cadrage(std::function<std::size_t()> tailleMax) : _tailleMax(std::move(tailleMax)) {}

    /// The next octets. False: what comes in is not a message, or one that is not accepted; nothing that
    /// follows is.
    bool suivre(const void* octets, std::size_t taille);

    /// Whether a message has begun and not ended.
    bool estAuMilieu() const { return _lus != 0 || !_ouverts.empty(); }
    /// How many have ended.
    unsigned long messages() const { return _messages; }

  private:
    static constexpr std::size_t ENTETE = 12; // every message has at least that
    static constexpr std::size_t DEBUT = 24;  // what is looked at, of those that are longer

    std::size_t _aLire() const; ///< of the beginning
    bool _examiner();           ///< what was read of the beginning
    bool _examinerEntete();
    bool _examinerAdresse() const;
    bool _examinerFragment();
    std::uint32_t _entier(std::size_t place) const;

    const std::function<std::size_t()> _tailleMax;
    std::array<unsigned char, DEBUT> _debut{};
    std::size_t _lus = 0;                // octets of the current message
    std::size_t _taille = 0;             // of the current message, once its header is read
    std::vector<std::uint32_t> _ouverts; // numbers of the requests whose fragments are still to come
    std::size_t _cumul = 0;              // of their octets
    unsigned long _messages = 0;
};

} // namespace orix::orb

#endif
