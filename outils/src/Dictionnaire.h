#ifndef DICTIONNAIRE_H
#define DICTIONNAIRE_H

#include "CdvVol.h"

#include <string>
#include <string_view>
#include <vector>

namespace outils {

/// What a field holds, in the usage of aerodromes: neither the library nor the service looks at it.
struct DescriptionChamp
{
    cdv::Champ champ;
    std::string_view contenu[2]; ///< by Langue
    std::string_view forme[2];   ///< by Langue
    std::string_view longueur;   ///< usual number of characters, "4" or "2-4"; empty: none
    std::string_view exemple;    ///< empty: none
};

enum Langue
{
    FRANCAIS,
    ANGLAIS
};

/// Every field, in wire order.
const std::vector<DescriptionChamp>& dictionnaire();

/// All that is told of the field, on a line, in French.
std::string resumer(const DescriptionChamp& champ);

} // namespace outils

#endif
