#ifndef ORIX_OXCODE_STATDATA_H
#define ORIX_OXCODE_STATDATA_H

#include "orix/Accesseurs.h"
#include "orix/Exportation.h"
#include "orix/OXversion.h"

#include <iosfwd>

struct OXcode_statData_v3_0_0;

/// The fields, in wire order.
#define OXCODE_STAT_CHAMPS(TEXTE)                                                                            \
    TEXTE(gcode)                                                                                             \
    TEXTE(glibelle)                                                                                          \
    TEXTE(gheure_chgt)

/// Status code of a movement: three texts, each null while it is not set.
///
/// Ownership: it owns its texts, which come from array new (OXdupliqueChaine() makes them). It may be copied
/// (deeply), but neither assigned nor compared.
///
/// Thread: an object belongs to one thread at a time.
///
/// Errors: the copy and the conversions throw std::bad_alloc, and leave nothing behind.
class ORIX_API OXcode_statData
{
  public:
    /// Names version 3.0.0 of the interface.
    class _v3_0_0
    {
    };
    typedef _v3_0_0 T_v3_0_0;
    static const T_v3_0_0 v3_0_0;

/// @cond
#define ORIX_TEXTE(nom) char* m_##nom = nullptr;
    /// @endcond
    /// The fields. Change them through the writers, which keep the ownership right.
    OXCODE_STAT_CHAMPS(ORIX_TEXTE)
#undef ORIX_TEXTE

    OXcode_statData() noexcept; ///< nothing is set
    /// Takes ownership of the texts, null or not; nothing is copied.
    OXcode_statData(char* gcode, char* glibelle, char* gheure_chgt) noexcept;
    OXcode_statData(const OXcode_statData& source); ///< deep copy
    /// From the object as it travels: "__PtrNULL__" stands for a text that is not set.
    OXcode_statData(const OXcode_statData_v3_0_0& source);
    OXcode_statData(OXcode_statData_v3_0_0&& source); ///< the same, taking its texts over
    ~OXcode_statData();

/// @cond
#define ORIX_TEXTE(nom) ORIX_ACCESSEURS(OXcode_statData, char, nom)
    /// @endcond
    /// Four accessors for each field: see ORIX_ACCESSEURS.
    OXCODE_STAT_CHAMPS(ORIX_TEXTE)
#undef ORIX_TEXTE

    /// The object as it travels: "__PtrNULL__" for a text that is not set.
    OXcode_statData_v3_0_0 construireObjetSpecifique_v3_0_0() const;
    /// The same in an object given by the caller, which borrows the texts instead of copying them: it must be
    /// given back to rendre_v3_0_0() before it or this one ends.
    void preter_v3_0_0(OXcode_statData_v3_0_0& objet) const;
    /// Takes back what preter_v3_0_0() has lent.
    static void rendre_v3_0_0(OXcode_statData_v3_0_0& objet) noexcept;
    /// Declares the content valid for version 3.0.0.
    void definirVersionValide_v3_0_0();

    /// Writes the object, one field a line, for people to read.
    friend ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcode_statData& objet);

  private:
    template <class Maniere, class Fil>
    ORIX_INTERNE void extraire(Fil& source);

    OXcode_statData& operator=(const OXcode_statData&);
    bool operator==(const OXcode_statData&) const;
    bool operator!=(const OXcode_statData&) const;

    orix::OXversion _versionValide{3, 0, 0, 0};
};

ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcode_statData& objet);

#endif
