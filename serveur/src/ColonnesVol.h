#ifndef COLONNESVOL_H
#define COLONNESVOL_H

#include "OXvol_completDataC.h"

#include <string>
#include <string_view>
#include <vector>

/// How the parts of a record stand in the columns of a table.
namespace cdv {

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
    /// The text that a record must have to match this example; null when any will do.
    const char* lireExemple(const Vol& exemple) const;
    /// Takes over what lire() gave, from a buffer without terminator; null data: not set.
    void ecrire(Vol& vol, const char* donnees, std::size_t taille) const;
};

/// Every text of a record, in the order of the fields; the first is the identifier.
const std::vector<Colonne>& colonnesVol();

/// The lists of a record, as the bytes of one column each: their texts, each closed by a NUL, which no CORBA
/// string contains. An empty list gives no bytes.
std::string coderPoints(const OXvol_completData_v3_0_0& vol);
std::string coderChangements(const OXvol_completData_v3_0_0& vol);
void decoderPoints(OXvol_completData_v3_0_0& vol, std::string_view octets);
void decoderChangements(OXvol_completData_v3_0_0& vol, std::string_view octets);

} // namespace cdv

#endif
