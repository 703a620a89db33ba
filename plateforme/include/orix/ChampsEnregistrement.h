#ifndef ORIX_CHAMPSENREGISTREMENT_H
#define ORIX_CHAMPSENREGISTREMENT_H

#include "orix/OXchaine.h"
#include "orix/OXstatut.h"
#include "orix/Trace.h"

#include <cstring>
#include <ostream>

/// What the sources of the record classes share: how one field is read, written, released, carried and
/// printed.
namespace orix::champ {

/// Stands on the wire for a text that is not set: no string is null there.
inline constexpr char MARQUEUR_NUL[] = "__PtrNULL__";

/// The text to send; not a copy.
inline const char* versFil(const char* texte) noexcept { return texte != nullptr ? texte : MARQUEUR_NUL; }

/// The received text as a field: a copy from array new, or null.
inline char* depuisFil(const char* texte)
{
    return std::strcmp(texte, MARQUEUR_NUL) == 0 ? nullptr : OXdupliqueChaine(texte);
}

inline void liberer(char* texte) noexcept { delete[] texte; }
template <class T>
void liberer(T* objet) noexcept
{
    delete objet;
}

/// A field as the traces show it: a text itself, an object's address.
inline const char* valeurTracee(const char* texte) noexcept { return texte != nullptr ? texte : ""; }
inline const void* valeurTracee(const void* objet) noexcept { return objet; }

/// Line of a text field in a record's dump.
inline void ecrireLigne(std::ostream& flux, const char* nom, const char* texte)
{
    flux << "\t\t " << nom << " v3.0.0 : ";
    if (texte != nullptr)
        flux << "<" << texte << ">" << std::endl;
    else
        flux << "NULL" << std::endl;
}

} // namespace orix::champ

/// Defines the accessors that ORIX_DECLARER_ACCESSEURS declares. A macro rather than a template: each of them
/// traces under its own signature.
#define ORIX_DEFINIR_ACCESSEURS(CLASSE, TYPE, nom) ORIX_DEFINIR_ACCESSEURS_(CLASSE, TYPE, nom)
#define ORIX_DEFINIR_ACCESSEURS_(CLASSE, TYPE, nom)                                                          \
    const TYPE* CLASSE::lire_##nom(orix::OXstatut& statut) const                                             \
    {                                                                                                        \
        if (m_##nom == nullptr) {                                                                            \
            ORIX_TRACE(orix::NTO_NOTABLE, #CLASSE, "lire_" #nom,                                             \
                       "Sortie invalide, le champ est un pointeur nul.");                                    \
            statut = orix::OXS_CHAMP_NON_INITIALISE;                                                         \
            return nullptr;                                                                                  \
        }                                                                                                    \
        statut = orix::OXS_OK;                                                                               \
        ORIX_TRACE(orix::NTO_DETAIL, #CLASSE, __PRETTY_FUNCTION__,                                           \
                   "Valeur = " << orix::champ::valeurTracee(m_##nom));                                       \
        return m_##nom;                                                                                      \
    }                                                                                                        \
    const TYPE* CLASSE::lire_##nom() const                                                                   \
    {                                                                                                        \
        orix::OXstatut statut = orix::OXS_NOK;                                                               \
        ORIX_TRACE(orix::NTO_DETAIL, #CLASSE, __PRETTY_FUNCTION__, "Entrée/Sortie, version sans statut");    \
        return lire_##nom(statut);                                                                           \
    }                                                                                                        \
    void CLASSE::ecrire_##nom(TYPE* valeur, orix::OXstatut& statut)                                          \
    {                                                                                                        \
        ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__, "Entrée.");                              \
        ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__,                                          \
                   "Valeur = " << orix::champ::valeurTracee(valeur));                                        \
        if (m_##nom != valeur)                                                                               \
            orix::champ::liberer(m_##nom);                                                                   \
        m_##nom = valeur;                                                                                    \
        statut = orix::OXS_OK;                                                                               \
        ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__, "Sortie.");                              \
    }                                                                                                        \
    void CLASSE::ecrire_##nom(TYPE* valeur)                                                                  \
    {                                                                                                        \
        orix::OXstatut statut = orix::OXS_NOK;                                                               \
        ORIX_TRACE(orix::NTO_DETAIL, #CLASSE, __PRETTY_FUNCTION__, "Entrée/Sortie, version sans statut");    \
        ecrire_##nom(valeur, statut);                                                                        \
    }

#endif
