#ifndef SUGGESTION_H
#define SUGGESTION_H

#include "CdvVol.h"

#include <string>
#include <string_view>
#include <vector>

namespace outils {

/// " : vouliez-vous dire « parking » ?" for a word that is nearly one of those; empty when it is near none.
std::string suggestion(std::string_view mot, const std::vector<std::string_view>& connus);
/// The same, for a name that no field has, in any spelling; when it is near none, where the names are.
std::string conseilChamp(std::string_view nom);
/// The field of that name, in any spelling. Throws Arret.
cdv::Champ champConnu(const std::string& nom);

} // namespace outils

#endif
