#ifndef ORIX_ACCESSEURS_H
#define ORIX_ACCESSEURS_H

#include "orix/OXstatut.h"

/// Declares the four accessors of a record's field; nom is the member's name without its "m_" prefix.
///
/// lire_<nom>(): the field, which stays the record's and dies with it or at the next ecrire_<nom>(); null and
/// OXS_CHAMP_NON_INITIALISE when it is not set.
/// ecrire_<nom>(): the record takes ownership of the value (a text must come from array new) and releases the
/// former one; null clears the field. Always OXS_OK.
/// The forms without status drop it.
#define ORIX_DECLARER_ACCESSEURS(TYPE, nom)                                                                  \
    const TYPE* lire_##nom(orix::OXstatut& statut) const;                                                    \
    const TYPE* lire_##nom() const;                                                                          \
    void ecrire_##nom(TYPE* valeur, orix::OXstatut& statut);                                                 \
    void ecrire_##nom(TYPE* valeur);

#endif
