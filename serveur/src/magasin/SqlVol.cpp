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

std::string sqlCreationTable(const std::string& type)
{
    return "CREATE TABLE vol (" + enumererColonnes([&](const std::string& nom, const std::string& numero) {
               return nom + " " + type + (numero == "1" ? " NOT NULL PRIMARY KEY" : "");
           }) +
           ")";
}

std::string sqlInsertion()
{
    return "INSERT INTO vol (" + listeColonnes() + ") VALUES (" +
           enumererColonnes([](const std::string&, const std::string& numero) { return "$" + numero; }) +
           ") ON CONFLICT DO NOTHING";
}

std::string sqlModification()
{
    return "UPDATE vol SET " + enumererColonnes([](const std::string& nom, const std::string& numero) {
               return nom + " = coalesce($" + numero + ", " + nom + ")";
           }) +
           " WHERE m_gidentifiant = $1 RETURNING " + listeColonnes();
}

std::string sqlSuppression() { return "DELETE FROM vol WHERE m_gidentifiant = $1"; }

std::string sqlConsultation() { return "SELECT " + listeColonnes() + " FROM vol WHERE m_gidentifiant = $1"; }

Filtre::Filtre(const Fiche& exemple)
{
    const auto exiger = [this](const std::string& colonne, const char* relation, std::string valeur) {
        autres.push_back({colonne + relation, std::move(valeur)});
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

namespace {

void exiger(RequeteSql& requete, const std::string& debut, std::string_view valeur)
{
    requete.valeurs.push_back(valeur);
    requete.texte += (requete.valeurs.size() == 1 ? " WHERE " : " AND ") + debut + "$" +
                     std::to_string(requete.valeurs.size());
}

/// One bound only on either side: the key's range is no wider then.
void exigerCle(RequeteSql& requete, const Filtre& filtre, const Parcours& parcours, const std::string& borne)
{
    if (parcours.dernier.empty())
        exiger(requete, "m_gidentifiant >= ", filtre.depuis);
    else
        exiger(requete, "m_gidentifiant > ", parcours.dernier);
    if (!borne.empty())
        exiger(requete, "m_gidentifiant <= ", borne);
    else if (!filtre.jusquA.empty())
        exiger(requete, "m_gidentifiant < ", filtre.jusquA);
}

} // namespace

RequeteSql sqlTranche(const Filtre& filtre, const Parcours& parcours, const std::string& borne)
{
    static const std::string SELECTION = "SELECT " + listeColonnes() + " FROM vol";
    RequeteSql requete{SELECTION, {}};
    if (!filtre.egal.empty())
        exiger(requete, "m_gidentifiant = ", filtre.egal);
    else
        exigerCle(requete, filtre, parcours, borne);
    for (const Filtre::Condition& condition : filtre.autres)
        exiger(requete, condition.debut, condition.valeur);
    requete.texte += " ORDER BY m_gidentifiant";
    return requete;
}

RequeteSql sqlBorne(const Filtre& filtre, const Parcours& parcours)
{
    RequeteSql requete{"SELECT m_gidentifiant FROM vol", {}};
    exigerCle(requete, filtre, parcours, "");
    requete.texte += " ORDER BY m_gidentifiant LIMIT 1 OFFSET " + std::to_string(VOLS_EXAMINES);
    return requete;
}

bool aBorner(const Filtre& filtre) { return !filtre.autres.empty() && filtre.egal.empty(); }

} // namespace serveur
