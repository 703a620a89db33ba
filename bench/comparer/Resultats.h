#ifndef RESULTATS_H
#define RESULTATS_H

#include "Comparaison.h"

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <tuple>

namespace comparaison {

/// The figures of all runs, by measure and system, in the order of the rounds.
class Resultats
{
  public:
    void ajouter(const Mesure& mesure, const Systeme& systeme, const nlohmann::json& resultat);

    std::vector<double> valeurs(const Mesure& mesure, const std::string& systeme,
                                const std::string& grandeur) const;

    /// Median, and from least to most.
    std::string texte(const Mesure& mesure, const std::string& systeme, const std::string& grandeur,
                      double unite, int decimales) const;

    /// Our figure over the other system's: the median of the rounds' ratios.
    std::optional<double> rapport(const Mesure& mesure, const std::string& systeme,
                                  const std::string& grandeur, const std::string& notre = FACADE) const;
    std::string texteRapport(const Mesure& mesure, const std::string& systeme,
                             const std::string& grandeur) const;

  private:
    std::map<std::tuple<std::string, int, std::string>, std::vector<nlohmann::json>> _lignes;
};

std::string nombre(double valeur, int decimales);

} // namespace comparaison

#endif
