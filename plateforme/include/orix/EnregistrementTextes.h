#ifndef ORIX_ENREGISTREMENTTEXTES_H
#define ORIX_ENREGISTREMENTTEXTES_H

#include "orix/Exportation.h"
#include "orix/OXstatut.h"

#include <iosfwd>

/// @cond
#define ORIX_TEXTE_MEMBRE(nom) char* m_##nom = nullptr;
#define ORIX_TEXTE_ACCESSEURS(nom)                                                                           \
    const char* lire_##nom(orix::OXstatut& statut) const;                                                    \
    const char* lire_##nom() const;                                                                          \
    void ecrire_##nom(char* valeur, orix::OXstatut& statut);                                                 \
    void ecrire_##nom(char* valeur);
/// @endcond

/// What the small records have alike, inside the class: CHAMPS(TEXTE) is the table of their fields, all of
/// them texts, in wire order.
///
/// Content: m_NOM, each null while it is not set; to be changed through the writers, which keep the
/// ownership right. Nothing is set at first.
///
/// Ownership: the record owns its texts. Those that it is given come from array new (OXdupliqueChaine() makes
/// them); those of a copy, or of a record that travelled, stand together in one block of its own: a text may
/// be read, but neither released nor taken out of its member. It may be copied (deeply), but neither assigned
/// nor compared.
///
/// lire_NOM(): the field, which stays the record's and dies with it or at the next ecrire_NOM(); null and
/// OXS_CHAMP_NON_INITIALISE when it is not set.
/// ecrire_NOM(): the record takes ownership of the value and releases the former one; null clears the
/// field. Always OXS_OK. The forms without status drop it.
///
/// construireObjetSpecifique_v3_0_0(), and the constructor from what it makes: the record as it travels, with
/// "__PtrNULL__" for a text that is not set. For the library's own use: the type is whole where the ORB's
/// stubs are, which applications neither need nor get. definirVersionValide_v3_0_0(): declares the content
/// valid for version 3.0.0. operator<<: writes the record, one field a line, for people to read.
///
/// Thread: a record belongs to one thread at a time.
///
/// Errors: only the copy and the conversions throw, std::bad_alloc; they leave nothing behind. A trace that
/// cannot be written is dropped.
#define ORIX_ENREGISTREMENT_TEXTES(CLASSE, CHAMPS)                                                           \
  public:                                                                                                    \
    class _v3_0_0                                                                                            \
    {                                                                                                        \
    };                                                                                                       \
    typedef _v3_0_0 T_v3_0_0;                                                                                \
    static const T_v3_0_0 v3_0_0; /* names version 3.0.0 of the interface */                                 \
                                                                                                             \
    CHAMPS(ORIX_TEXTE_MEMBRE)                                                                                \
                                                                                                             \
    CLASSE() noexcept;                                                                                       \
    CLASSE(const CLASSE& source);                                                                            \
    CLASSE(const CLASSE##_v3_0_0& source);                                                                   \
    ~CLASSE();                                                                                               \
                                                                                                             \
    CHAMPS(ORIX_TEXTE_ACCESSEURS)                                                                            \
                                                                                                             \
    CLASSE##_v3_0_0 construireObjetSpecifique_v3_0_0() const;                                                \
    void definirVersionValide_v3_0_0();                                                                      \
    friend ORIX_API std::ostream& operator<<(std::ostream& flux, const CLASSE& objet);                       \
                                                                                                             \
  protected:                                                                                                 \
    void relacher(char* texte) const noexcept; /* releases a text of its own, unless it is in the block */   \
                                                                                                             \
  private:                                                                                                   \
    CLASSE& operator=(const CLASSE&);                                                                        \
    bool operator==(const CLASSE&) const;                                                                    \
    bool operator!=(const CLASSE&) const;                                                                    \
                                                                                                             \
    char* _bloc = nullptr;                                                                                   \
    const char* _finBloc = nullptr

#endif
