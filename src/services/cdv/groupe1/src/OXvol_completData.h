#ifndef OXVOL_COMPLETDATA_H
#define OXVOL_COMPLETDATA_H

#include "OXvol_completDataChamps.h"

#include "orix/Exportation.h"
#include "orix/OXstatut.h"
#include "orix/OXversion.h"

#include <cstddef>
#include <iosfwd>
#include <vector>

class OXcci_rub_chgtData;
class OXcode_statData;
class VolRecu;
struct OXvol_completData_v3_0_0;

/// One complete flight record of the cdv service: what an application fills in for a request, and reads in a
/// callback.
///
/// Content: 55 text fields and two status codes, each null while it is not set, a list of at most 6 changed
/// fields and a list of at most 10 route points. Numbers, dates and times are texts too; no content is ever
/// parsed or checked. gnb_rub_chgt is a text like the others: it does not follow the list of changed fields.
///
/// Ownership: the record owns all that it points to. The texts that it is given come from array new
/// (OXdupliqueChaine() makes them), status codes and changed fields from new. What a copy is made with, and a
/// record that was received, stands together in one block of its own: it may be read, written over and
/// cleared like anything else, but neither released nor taken out of its member. What the readers return
/// stays the record's. A record may be copied (deeply), but neither assigned nor compared.
///
/// Thread: a record belongs to one thread at a time; distinct records are independent.
///
/// Errors: only the copy, the conversions and the version readers throw, std::bad_alloc; they leave nothing
/// behind. Everything else does its work whatever happens to its traces: a trace that cannot be written, for
/// lack of memory or for what its receiver throws, is dropped whole.
class ORIX_API OXvol_completData
{
  public:
    /// Names version 3.0.0 of the interface.
    class _v3_0_0
    {
    };
    typedef _v3_0_0 T_v3_0_0;
    static const T_v3_0_0 v3_0_0;

    static constexpr int MAX_RUB_CHGT = 6; ///< changed fields that a record can hold
    static constexpr int MAX_POINT = 10;   ///< route points that a record can hold

/// @cond
#define OXVOL_TEXTE(nom) char* m_##nom = nullptr;
#define OXVOL_CODE_STAT(nom) OXcode_statData* m_##nom = nullptr;
    /// @endcond
    /// The 57 fields. Change them through the writers, which keep the ownership right.
    OXVOL_COMPLET_CHAMPS(OXVOL_TEXTE, OXVOL_CODE_STAT)
#undef OXVOL_TEXTE
#undef OXVOL_CODE_STAT

    /// A record without content; to be filled in with the writers.
    OXvol_completData();

/// @cond
#define OXVOL_TEXTE(nom) char *nom,
#define OXVOL_CODE_STAT(nom) OXcode_statData *nom,
    /// @endcond
    /// Takes ownership of every argument, null or not; nothing is copied. trub_chgt and tpoint come from
    /// array new and are released here, their entries are kept. Give at most MAX_RUB_CHGT and MAX_POINT
    /// entries: of a longer array the rest is neither kept nor released. A negative count is 0.
    OXvol_completData(OXVOL_COMPLET_CHAMPS(OXVOL_TEXTE, OXVOL_CODE_STAT) int nrub_chgt,
                      OXcci_rub_chgtData** trub_chgt, int npoint, char** tpoint);
#undef OXVOL_TEXTE
#undef OXVOL_CODE_STAT

    OXvol_completData(const OXvol_completData& source); ///< deep copy
    /// From the record as it travels: "__PtrNULL__" stands for a text that is not set. For the library's own
    /// use: the type is whole where the ORB's stubs are, which applications neither need nor get.
    OXvol_completData(const OXvol_completData_v3_0_0& source);
    ~OXvol_completData();

/// @cond
#define OXVOL_ACCESSEURS(TYPE, nom)                                                                          \
    const TYPE* lire_##nom(orix::OXstatut& statut) const;                                                    \
    const TYPE* lire_##nom() const;                                                                          \
    void ecrire_##nom(TYPE* valeur, orix::OXstatut& statut);                                                 \
    void ecrire_##nom(TYPE* valeur);
// A literal is no memory that a record could release: some compilers would take it for a char*.
#define OXVOL_TEXTE(nom)                                                                                     \
    OXVOL_ACCESSEURS(char, nom)                                                                              \
    template <std::size_t N>                                                                                 \
    void ecrire_##nom(const char(&)[N], orix::OXstatut&) = delete;                                           \
    template <std::size_t N>                                                                                 \
    void ecrire_##nom(const char(&)[N]) = delete;
#define OXVOL_CODE_STAT(nom) OXVOL_ACCESSEURS(OXcode_statData, nom)
    /// @endcond
    /// Four accessors for each field; NOM is its member's name without "m_".
    ///
    /// lire_NOM(): the field, which stays the record's and dies with it or at the next ecrire_NOM(); null
    /// and OXS_CHAMP_NON_INITIALISE when it is not set.
    /// ecrire_NOM(): the record takes ownership of the value (a text must come from array new; a literal does
    /// not compile, cdv::poser() copies one) and releases the former one; null clears the field. Always
    /// OXS_OK.
    /// The forms without status drop it.
    OXVOL_COMPLET_CHAMPS(OXVOL_TEXTE, OXVOL_CODE_STAT)
#undef OXVOL_TEXTE
#undef OXVOL_CODE_STAT
#undef OXVOL_ACCESSEURS

    /// @name Changed fields
    /// The forms without status drop it.
    /// @{
    int nombre_rub_chgt(orix::OXstatut& statut) const;
    int nombre_rub_chgt() const;
    /// Null and OXS_TABLEAU_INDEX_INVALIDE when there is no such entry. The entry stays the record's.
    const OXcci_rub_chgtData* lire_rub_chgt(int index, orix::OXstatut& statut) const;
    const OXcci_rub_chgtData* lire_rub_chgt(int index) const;
    /// The new count. -1 and OXS_PARAMETRE_INVALIDE for null, -1 and OXS_TABLEAU_DEBORDEMENT when the list is
    /// full. The record takes ownership of elem, unless the result is -1.
    int ajouter_rub_chgt(OXcci_rub_chgtData* elem, orix::OXstatut& statut);
    int ajouter_rub_chgt(OXcci_rub_chgtData* elem);
    /// @}

    /// @name Route points
    /// The forms without status drop it.
    /// @{
    int nombre_point(orix::OXstatut& statut) const;
    int nombre_point() const;
    /// Null and OXS_TABLEAU_INDEX_INVALIDE when there is no such point. The text stays the record's.
    const char* lire_point(int index, orix::OXstatut& statut) const;
    const char* lire_point(int index) const;
    /// The new count. -1 and OXS_PARAMETRE_INVALIDE for null, -1 and OXS_TABLEAU_DEBORDEMENT when the list is
    /// full, -1 and OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE when memory lacks. elem is copied: it stays the
    /// caller's.
    int ajouter_point(char* elem, orix::OXstatut& statut);
    int ajouter_point(char* elem);
    /// @}

    /// The record as it travels: "__PtrNULL__" for a text that is not set, "" for a null route point. For the
    /// library's own use, as the constructor from it.
    OXvol_completData_v3_0_0 construireObjetSpecifique_v3_0_0() const;

    /// Declares the content, status codes and changed fields included, valid for version 3.0.0.
    void definirVersionValide_v3_0_0();
    /// The version for which the content is valid; the two versions known while none is fixed.
    std::vector<orix::OXversion> lireVersion() const;
    std::vector<orix::OXversion> lireVersionsConnues() const; ///< what this class knows: 3.0.0.0
    const char* lireNomService() const;                       ///< "cdv"

    /// Writes the record on the standard output, under a banner.
    void trace() const;
    /// Writes the record, one field a line, for people to read.
    friend ORIX_API std::ostream& operator<<(std::ostream& flux, const OXvol_completData& vol);

  protected:
    OXcci_rub_chgtData* m_trub_chgt[MAX_RUB_CHGT] = {}; ///< null from m_nrub_chgt on
    int m_nrub_chgt = 0;
    char* m_tpoint[MAX_POINT] = {}; ///< null from m_npoint on
    int m_npoint = 0;

    /// @name For a class that changes members itself
    /// Releases what a member of this record held, unless that stands in its block: there a text stays and an
    /// object ends in place. Null is nothing.
    /// @{
    void relacher(char* texte) const noexcept;
    void relacher(OXcode_statData* code) const noexcept;
    void relacher(OXcci_rub_chgtData* entree) const noexcept;
    /// @}
    void echanger(OXvol_completData& autre) noexcept; ///< exchanges all fields and lists

  private:
    friend class VolRecu;
    friend class VueVolComplet;

    /// Empty and untraced. The constructors that may throw start from it: from then on the destructor
    /// releases what they have gathered.
    struct Vide
    {
    };
    explicit OXvol_completData(Vide) noexcept {}
    ORIX_INTERNE explicit OXvol_completData(VolRecu& recu);
    OXvol_completData& operator=(const OXvol_completData&);
    bool operator==(const OXvol_completData&) const;
    bool operator!=(const OXvol_completData&) const;

    static constexpr orix::OXversion _version1{3, 0, 0, 0};
    static constexpr orix::OXversion _version2 = orix::VERSION_NULLE;
    orix::OXversion _versionValide = _version1;
    char* _bloc = nullptr; // of texts, status codes and changed fields that are not released alone
    const char* _finBloc = nullptr;
};

ORIX_API std::ostream& operator<<(std::ostream& flux, const OXvol_completData& vol);

#endif
