#ifndef ORIX_ACCESSEURS_H
#define ORIX_ACCESSEURS_H

#include "orix/Exportation.h"
#include "orix/OXstatut.h"
#include "orix/SeuilTrace.h"

/// The rare halves of the accessors: what they do when something is to be traced or refused. They trace as
/// the accessor, whose class, signature and line they are given.
namespace orix::champ {

/// Whether reading the field is more than giving it: it is not set, or readings are traced.
inline bool lectureRare(const void* champ) noexcept
{
    return champ == nullptr || SeuilTrace::estActif(NTO_DETAIL);
}

/// Traces the reading of a field, and sets its status.
[[gnu::cold]] ORIX_API void tracerLecture(const char* texte, OXstatut& statut, const char* classe,
                                          const char* nomCourt, const char* fonction, int ligne);
[[gnu::cold]] ORIX_API void tracerLecture(const void* objet, OXstatut& statut, const char* classe,
                                          const char* nomCourt, const char* fonction, int ligne);

[[gnu::cold]] ORIX_API void tracerSansStatut(const char* classe, const char* fonction, int ligne,
                                             const char* texte = "Entrée/Sortie, version sans statut");

} // namespace orix::champ

/// What stands before a reader. The readers are inlined everywhere, so that no object has them of its own but
/// the library of their record, for the programs that call them: the source of the record defines
/// ORIX_LECTEUR as ORIX_LECTEUR_EMIS before its header.
#define ORIX_LECTEUR [[gnu::always_inline]] inline ORIX_API
#define ORIX_LECTEUR_EMIS [[gnu::used]] inline ORIX_API

/// The four accessors of a record's field; nom is the member's name without its "m_" prefix.
///
/// lire_<nom>(): the field, which stays the record's and dies with it or at the next ecrire_<nom>(); null and
/// OXS_CHAMP_NON_INITIALISE when it is not set.
/// ecrire_<nom>(): the record takes ownership of the value (a text must come from array new) and releases the
/// former one; null clears the field. Always OXS_OK.
/// The forms without status drop it.
#define ORIX_ACCESSEURS(CLASSE, TYPE, nom)                                                                   \
    ORIX_LECTEUR const TYPE* lire_##nom(orix::OXstatut& statut) const                                        \
    {                                                                                                        \
        if (orix::champ::lectureRare(m_##nom))                                                               \
            orix::champ::tracerLecture(m_##nom, statut, #CLASSE, "lire_" #nom, __PRETTY_FUNCTION__,          \
                                       __LINE__);                                                            \
        else                                                                                                 \
            statut = orix::OXS_OK;                                                                           \
        return m_##nom;                                                                                      \
    }                                                                                                        \
    ORIX_LECTEUR const TYPE* lire_##nom() const                                                              \
    {                                                                                                        \
        if (orix::champ::lectureRare(m_##nom)) {                                                             \
            orix::OXstatut statut = orix::OXS_NOK;                                                           \
            orix::champ::tracerSansStatut(#CLASSE, __PRETTY_FUNCTION__, __LINE__);                           \
            lire_##nom(statut);                                                                              \
        }                                                                                                    \
        return m_##nom;                                                                                      \
    }                                                                                                        \
    void ecrire_##nom(TYPE* valeur, orix::OXstatut& statut);                                                 \
    void ecrire_##nom(TYPE* valeur);

#endif
