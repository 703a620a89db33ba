#ifndef TIRAGES_H
#define TIRAGES_H

#include <cstdint>
#include <random>

namespace essais {

/// Where the events come from: a seed, or the bytes of a fuzzer.
class Choix
{
  public:
    virtual ~Choix() = default;
    /// From 0 to borne - 1.
    virtual unsigned tirer(unsigned borne) = 0;
    bool unSur(unsigned n) { return tirer(n) == 0; }
};

class Graine : public Choix
{
  public:
    explicit Graine(std::uint64_t graine) : _hasard(graine) {}
    unsigned tirer(unsigned borne) override { return static_cast<unsigned>(_hasard() % borne); }

  private:
    std::mt19937_64 _hasard;
};

/// Zeros, once they are used up.
class Octets : public Choix
{
  public:
    Octets(const std::uint8_t* octets, std::size_t taille) : _octets(octets), _fin(octets + taille) {}
    unsigned tirer(unsigned borne) override
    {
        unsigned valeur = 0;
        for (unsigned reste = borne - 1; reste > 0; reste >>= 8)
            valeur = valeur << 8 | (_octets != _fin ? *_octets++ : 0u);
        return valeur % borne;
    }
    bool epuises() const { return _octets == _fin; }

  private:
    const std::uint8_t* _octets;
    const std::uint8_t* const _fin;
};

} // namespace essais

#endif
