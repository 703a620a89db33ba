#include "Resultats.h"

#include <algorithm>
#include <cstdio>

namespace comparaison {

using nlohmann::json;

namespace {

double mediane(std::vector<double> valeurs)
{
    std::sort(valeurs.begin(), valeurs.end());
    const std::size_t milieu = valeurs.size() / 2;
    return valeurs.size() % 2 == 1 ? valeurs[milieu] : (valeurs[milieu - 1] + valeurs[milieu]) / 2;
}

} // namespace

std::string nombre(double valeur, int decimales)
{
    char texte[64];
    std::snprintf(texte, sizeof texte, "%.*f", decimales, valeur);
    return texte;
}

void Resultats::ajouter(const Mesure& mesure, const Systeme& systeme, const json& resultat)
{
    _lignes[{mesure.nom, mesure.x, systeme.nom}].push_back(resultat);
}

std::vector<double> Resultats::valeurs(const Mesure& mesure, const std::string& systeme,
                                       const std::string& grandeur) const
{
    std::vector<double> toutes;
    if (const auto lignes = _lignes.find({mesure.nom, mesure.x, systeme}); lignes != _lignes.end())
        for (const json& ligne : lignes->second)
            toutes.push_back(ligne.at(grandeur).get<double>());
    return toutes;
}

std::string Resultats::texte(const Mesure& mesure, const std::string& systeme, const std::string& grandeur,
                             double unite, int decimales) const
{
    const std::vector<double> toutes = valeurs(mesure, systeme, grandeur);
    if (toutes.empty())
        return "-";
    if (toutes.size() == 1)
        return nombre(toutes.front() / unite, decimales);
    const auto [moins, plus] = std::minmax_element(toutes.begin(), toutes.end());
    return nombre(mediane(toutes) / unite, decimales) + " (" + nombre(*moins / unite, decimales) + ".." +
           nombre(*plus / unite, decimales) + ")";
}

std::optional<double> Resultats::rapport(const Mesure& mesure, const std::string& systeme,
                                         const std::string& grandeur, const std::string& notre) const
{
    const std::vector<double> notres = valeurs(mesure, notre, grandeur),
                              siens = valeurs(mesure, systeme, grandeur);
    std::vector<double> rapports;
    for (std::size_t tour = 0; tour < std::min(notres.size(), siens.size()); ++tour)
        rapports.push_back(notres[tour] / siens[tour]);
    return rapports.empty() ? std::nullopt : std::optional(mediane(rapports));
}

std::string Resultats::texteRapport(const Mesure& mesure, const std::string& systeme,
                                    const std::string& grandeur) const
{
    const auto valeur = rapport(mesure, systeme, grandeur);
    return valeur ? nombre(*valeur, 2) : "-";
}

} // namespace comparaison
