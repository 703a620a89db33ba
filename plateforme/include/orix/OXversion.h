#ifndef ORIX_OXVERSION_H
#define ORIX_OXVERSION_H

#include "orix/Exportation.h"

#include <iosfwd>

namespace orix {

/// Version of an interface: major, minor, patch, build. A plain value.
class ORIX_API OXversion
{
  public:
    constexpr OXversion() noexcept = default; ///< 0.0.0.0
    constexpr OXversion(int majeur, int mineur, int correctif, int construction) noexcept
        : _majeur(majeur), _mineur(mineur), _correctif(correctif), _construction(construction)
    {}

    constexpr int lireMajeur() const noexcept { return _majeur; }
    constexpr int lireMineur() const noexcept { return _mineur; }
    constexpr int lireCorrectif() const noexcept { return _correctif; }
    constexpr int lireConstruction() const noexcept { return _construction; }

    friend constexpr bool operator==(const OXversion& a, const OXversion& b) noexcept
    {
        return a._majeur == b._majeur && a._mineur == b._mineur && a._correctif == b._correctif &&
               a._construction == b._construction;
    }
    friend constexpr bool operator!=(const OXversion& a, const OXversion& b) noexcept { return !(a == b); }

  private:
    int _majeur = 0;
    int _mineur = 0;
    int _correctif = 0;
    int _construction = 0;
};

/// The null version, 0.0.0.0: "not fixed".
inline constexpr OXversion VERSION_NULLE{};

/// Writes "3.0.0.0".
ORIX_API std::ostream& operator<<(std::ostream& flux, const OXversion& version);

} // namespace orix

#endif
