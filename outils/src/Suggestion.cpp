#include "Suggestion.h"

#include "Statut.h"

#include <algorithm>
#include <numeric>

namespace outils {

namespace {

/// Letters to add, to take away, to change, or neighbours to swap, from one word to the other.
std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> avantDerniere;
    std::vector<std::size_t> derniere(b.size() + 1);
    std::iota(derniere.begin(), derniere.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::vector<std::size_t> ligne(b.size() + 1, i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            ligne[j] =
                std::min({derniere[j] + 1, ligne[j - 1] + 1, derniere[j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                ligne[j] = std::min(ligne[j], avantDerniere[j - 2] + 1);
        }
        avantDerniere = std::exchange(derniere, std::move(ligne));
    }
    return derniere.back();
}

} // namespace

std::string suggestion(std::string_view mot, const std::vector<std::string_view>& connus)
{
    constexpr std::size_t LONGUEUR_MAX = 64; // nobody mistypes more than that
    if (mot.size() > LONGUEUR_MAX)
        return {};
    std::string_view proche;
    std::size_t ecart = 1 + std::max<std::size_t>(1, mot.size() / 3); // one letter of three may be wrong
    for (const std::string_view connu : connus)
        if (const std::size_t d = distance(mot, connu); d < ecart) {
            proche = connu;
            ecart = d;
        }
    return proche.empty() ? "" : " : vouliez-vous dire « " + std::string(proche) + " » ?";
}

std::string conseilChamp(std::string_view nom)
{
    for (const std::string_view prefixe : {"m_g", "m_p", "m_"})
        if (nom.substr(0, prefixe.size()) == prefixe) {
            nom.remove_prefix(prefixe.size());
            break;
        }
    const std::string proche = suggestion(nom, cdv::Vol::champs());
    return proche.empty() ? " (voir cdv --champs)" : proche;
}

cdv::Champ champConnu(const std::string& nom)
{
    if (const auto champ = cdv::Vol::chercher(nom))
        return *champ;
    throw Arret(USAGE, "champ inconnu « " + nom + " »" + conseilChamp(nom));
}

} // namespace outils
