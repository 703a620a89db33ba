#include "SqlVol.h"

#include "ColonnesVol.h"
#include "Fiche.h"

#include <optional>
#include <utility>

namespace serveur {

namespace {

/// The smallest bytes after everything that begins with the prefix; none when nothing is.
std::optional<std::string> apresPrefixe(std::string prefixe)
{
    while (!prefixe.empty() && static_cast<unsigned char>(prefixe.back()) == 0xFF)
        prefixe.pop_back();
    if (prefixe.empty())
        return std::nullopt;
    ++prefixe.back();
    return prefixe;
}

} // namespace

const std::vector<std::string>& nomsColonnes()
{
    static const std::vector<std::string> noms = [] {
        std::vector<std::string> liste;
        for (const Colonne& colonne : colonnesVol())
            liste.emplace_back(colonne.nom);
        liste.emplace_back("m_trub_chgt");
        liste.emplace_back("m_tpoint");
        return liste;
    }();
    return noms;
}

std::string listeColonnes() { return orix::enumerer(nomsColonnes()); }

std::string sqlConsultation() { return "SELECT " + listeColonnes() + " FROM vol WHERE m_gidentifiant = ?1"; }

Filtre::Filtre(const Fiche& exemple)
{
    const auto exiger = [this](const std::string& colonne, const char* relation, std::string valeur) {
        valeurs.push_back(std::move(valeur));
        autres += " AND " + colonne + relation + "?";
    };
    const std::vector<Colonne>& colonnes = colonnesVol();
    auto colonne = colonnes.begin();
    exemple.parcourir([&](std::string_view octets) {
        if (colonne == colonnes.end())
            return; // the lists
        const bool cle = colonne == colonnes.begin();
        const std::string nom = (colonne++)->nom;
        if (octets.data() == nullptr || octets == TEXTE_NUL)
            return;
        if (octets.empty() || octets.back() != '*') {
            if (cle && !octets.empty())
                egal = octets;
            else
                exiger(nom, " = ", std::string(octets));
            return;
        }
        std::string prefixe(octets.substr(0, octets.size() - 1));
        std::optional<std::string> fin = apresPrefixe(prefixe);
        if (cle) {
            depuis = std::move(prefixe);
            jusquA = fin.value_or("");
            return;
        }
        if (fin)
            exiger(nom, " < ", std::move(*fin));
        exiger(nom, " >= ", std::move(prefixe));
    });
}

} // namespace serveur
