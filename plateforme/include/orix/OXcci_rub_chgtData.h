#ifndef ORIX_OXCCI_RUB_CHGTDATA_H
#define ORIX_OXCCI_RUB_CHGTDATA_H

#include "orix/Accesseurs.h"
#include "orix/Exportation.h"
#include "orix/OXversion.h"

#include <iosfwd>

struct OXcci_rub_chgtData_v3_0_0;

/// The fields, in wire order.
#define OXCCI_RUB_CHGT_CHAMPS(TEXTE)                                                                         \
    TEXTE(grubrique)                                                                                         \
    TEXTE(gancienne_valeur)                                                                                  \
    TEXTE(gnouvelle_valeur)

/// Changed field of a record: three texts, each null while it is not set.
///
/// Ownership: it owns its texts, which come from array new (OXdupliqueChaine() makes them). It may be copied
/// (deeply), but neither assigned nor compared.
///
/// Thread: an object belongs to one thread at a time.
///
/// Errors: the copy and the conversions throw std::bad_alloc, and leave nothing behind.
class ORIX_API OXcci_rub_chgtData
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
    OXCCI_RUB_CHGT_CHAMPS(ORIX_TEXTE)
#undef ORIX_TEXTE

    OXcci_rub_chgtData() noexcept; ///< nothing is set
    /// Takes ownership of the texts, null or not; nothing is copied.
    OXcci_rub_chgtData(char* grubrique, char* gancienne_valeur, char* gnouvelle_valeur) noexcept;
    OXcci_rub_chgtData(const OXcci_rub_chgtData& source); ///< deep copy
    /// From the object as it travels: "__PtrNULL__" stands for a text that is not set.
    OXcci_rub_chgtData(const OXcci_rub_chgtData_v3_0_0& source);
    OXcci_rub_chgtData(OXcci_rub_chgtData_v3_0_0&& source); ///< the same, taking its texts over
    ~OXcci_rub_chgtData();

/// @cond
#define ORIX_TEXTE(nom) ORIX_ACCESSEURS(OXcci_rub_chgtData, char, nom)
    /// @endcond
    /// Four accessors for each field: see ORIX_ACCESSEURS.
    OXCCI_RUB_CHGT_CHAMPS(ORIX_TEXTE)
#undef ORIX_TEXTE

    /// The object as it travels: "__PtrNULL__" for a text that is not set.
    OXcci_rub_chgtData_v3_0_0 construireObjetSpecifique_v3_0_0() const;
    /// The same in an object given by the caller, which borrows the texts instead of copying them: it must be
    /// given back to rendre_v3_0_0() before it or this one ends.
    void preter_v3_0_0(OXcci_rub_chgtData_v3_0_0& objet) const;
    /// Takes back what preter_v3_0_0() has lent.
    static void rendre_v3_0_0(OXcci_rub_chgtData_v3_0_0& objet) noexcept;
    /// Declares the content valid for version 3.0.0.
    void definirVersionValide_v3_0_0();

    /// Writes the object, one field a line, for people to read.
    friend ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcci_rub_chgtData& objet);

  private:
    template <class Maniere, class Fil>
    ORIX_INTERNE void extraire(Fil& source);

    OXcci_rub_chgtData& operator=(const OXcci_rub_chgtData&);
    bool operator==(const OXcci_rub_chgtData&) const;
    bool operator!=(const OXcci_rub_chgtData&) const;

    orix::OXversion _versionValide{3, 0, 0, 0};
};

ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcci_rub_chgtData& objet);

#endif
