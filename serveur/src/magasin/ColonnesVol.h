#ifndef COLONNESVOL_H
#define COLONNESVOL_H

#include "OXvol_completDataC.h"

#include <vector>

/// How the texts of a record stand in the columns of a table.
namespace serveur {

constexpr const char* TEXTE_NUL = "__PtrNULL__"; ///< what stands on the wire for a text that is not set

/// One text of a record: a field, or a part of one of its two status codes. Each has a column of its own.
struct Colonne
{
    using Vol = OXvol_completData_v3_0_0;
    using Texte = decltype(Vol::m_gidentifiant);
    using CodeStat = OXcode_statData_v3_0_0;

    const char* nom;
    Texte Vol::*champ;                    ///< null for a part of a status code
    SeqOXcode_statData_v3_0_0 Vol::*code; ///< null for a field
    Texte CodeStat::*partie;

    /// The text to store; null when the field is not set or the status code absent. A part of a present
    /// status code is always a text, the marker of an unset one included, so that the code's presence is not
    /// lost.
    const char* lire(const Vol& vol) const;
    /// Puts that text into the record, which takes it over, as an ORB's string.
    void poser(Vol& vol, char* texte) const;
};

/// Every text of a record, in the order of the fields; the first is the identifier.
const std::vector<Colonne>& colonnesVol();

} // namespace serveur

#endif
