#ifndef CONTENUVOL_H
#define CONTENUVOL_H

#include "CdvVol.h"

#include "OXvol_completData.h"
#include "orix/OXcci_rub_chgtData.h"

#include <memory>
#include <string>
#include <string_view>

namespace cdv {

// What a value writes into its record: texts from array new, given over.

/// Throws ErreurVol for a null byte.
std::unique_ptr<char[]> allouer(std::string_view texte);
/// The same from UTF-8, decoded straight into the buffer that the record keeps.
std::unique_ptr<char[]> allouerDepuisUtf8(const std::string& utf8);

/// Null: the field is not set any more.
void poser(OXvol_completData& vol, Champ champ, std::unique_ptr<char[]> valeur);
/// Throw ErreurVol when the list is full.
void ajouter(OXvol_completData& vol, std::unique_ptr<char[]> point);
void ajouter(OXvol_completData& vol, std::unique_ptr<OXcci_rub_chgtData> changement);

} // namespace cdv

#endif
