#include "BornesTOML.h"

#include "orix/ErreurConfiguration.h"

#include <algorithm>
#include <string_view>

namespace orix {

namespace {

/// Where the string that begins there ends: behind its quotes, or at the end of the line that cuts it.
std::size_t finChaine(std::string_view texte, std::size_t debut)
{
    const char guillemet = texte[debut];
    const bool multiple = texte.substr(debut, 3) == std::string(3, guillemet);
    const std::string marque(multiple ? 3 : 1, guillemet);
    std::size_t i = debut + marque.size();
    while (i < texte.size() && texte.substr(i, marque.size()) != marque) {
        if (texte[i] == '\n' && !multiple)
            return i;
        i += texte[i] == '\\' && guillemet == '"' ? 2 : 1;
    }
    i = std::min(i + marque.size(), texte.size());
    // Up to two quotes more belong to a long string that ends with quotes.
    for (int n = 0; multiple && n < 2 && i < texte.size() && texte[i] == guillemet; ++n)
        ++i;
    return i;
}

} // namespace

void verifierBornesTOML(const std::string& texte, const std::string& nom)
{
    unsigned ligne = 1;
    std::size_t niveaux = 0; // of the statement: one for each bracket and each dot
    std::size_t ouverts = 0;
    const auto refuser = [&] {
        throw ErreurConfiguration(ErreurConfiguration::Motif::demesure, {nom, ligne},
                                  {std::to_string(TAILLE_TOML_MAX), std::to_string(NIVEAUX_TOML_MAX)});
    };
    if (texte.size() > TAILLE_TOML_MAX)
        refuser();
    for (std::size_t i = 0; i < texte.size();) {
        std::size_t suivant = i + 1;
        const char c = texte[i];
        if (c == '"' || c == '\'') {
            suivant = finChaine(texte, i);
            ligne += static_cast<unsigned>(std::count(&texte[i], &texte[suivant], '\n'));
        } else if (c == '#') {
            suivant = std::min(texte.find('\n', i), texte.size());
        } else if (c == '\n') {
            ++ligne;
            niveaux = ouverts == 0 ? 0 : niveaux;
        } else if (c == ']' || c == '}') {
            ouverts -= ouverts != 0 ? 1 : 0;
        } else if (c == '.' || c == '[' || c == '{') {
            ouverts += c != '.' ? 1 : 0;
            if (++niveaux > NIVEAUX_TOML_MAX)
                refuser();
        }
        i = suivant;
    }
}

} // namespace orix
