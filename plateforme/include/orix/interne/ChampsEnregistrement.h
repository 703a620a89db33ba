#ifndef ORIX_CHAMPSENREGISTREMENT_H
#define ORIX_CHAMPSENREGISTREMENT_H

#include "orix/Accesseurs.h"
#include "orix/OXchaine.h"
#include "orix/Trace.h"

#include <cstring>
#include <ostream>

/// What the sources of the record classes share: how one field is written, released, carried and printed.
namespace orix::champ {

/// Stands on the wire for a text that is not set: no string is null there.
inline constexpr char MARQUEUR_NUL[] = "__PtrNULL__";

/// The text to send; not a copy.
inline const char* versFil(const char* texte) noexcept { return texte != nullptr ? texte : MARQUEUR_NUL; }

/// Whether the received text stands for one that is not set.
inline bool estMarqueurNul(const char* texte) noexcept { return std::strcmp(texte, MARQUEUR_NUL) == 0; }

inline void liberer(char* texte) noexcept { delete[] texte; }
template <class T>
void liberer(T* objet) noexcept
{
    delete objet;
}

/// Puts the value, which becomes the record's, in the place of the former one.
template <class T>
void remplacer(T*& champ, T* valeur) noexcept
{
    if (champ != valeur)
        liberer(champ);
    champ = valeur;
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

/// Defines the writers that ORIX_ACCESSEURS declares. A macro rather than a template: each of them traces
/// under its own signature. With the traces off, one test: what traces the detail traces the progress too.
#define ORIX_DEFINIR_ECRITURES(CLASSE, TYPE, nom) ORIX_DEFINIR_ECRITURES_(CLASSE, TYPE, nom)
#define ORIX_DEFINIR_ECRITURES_(CLASSE, TYPE, nom)                                                           \
    void CLASSE::ecrire_##nom(TYPE* valeur, orix::OXstatut& statut)                                          \
    {                                                                                                        \
        const bool trace = orix::SeuilTrace::estActif(orix::NTO_PROGRES);                                    \
        if (trace) {                                                                                         \
            ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__, "Entrée.");                          \
            ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__,                                      \
                       "Valeur = " << orix::champ::valeurTracee(valeur));                                    \
        }                                                                                                    \
        orix::champ::remplacer(m_##nom, valeur);                                                             \
        statut = orix::OXS_OK;                                                                               \
        if (trace)                                                                                           \
            ORIX_TRACE(orix::NTO_PROGRES, #CLASSE, __PRETTY_FUNCTION__, "Sortie.");                          \
    }                                                                                                        \
    void CLASSE::ecrire_##nom(TYPE* valeur)                                                                  \
    {                                                                                                        \
        if (!orix::SeuilTrace::estActif(orix::NTO_PROGRES)) {                                                \
            orix::champ::remplacer(m_##nom, valeur);                                                         \
            return;                                                                                          \
        }                                                                                                    \
        orix::OXstatut statut = orix::OXS_NOK;                                                               \
        orix::champ::tracerSansStatut(#CLASSE, __PRETTY_FUNCTION__, __LINE__);                               \
        ecrire_##nom(valeur, statut);                                                                        \
    }

#endif
