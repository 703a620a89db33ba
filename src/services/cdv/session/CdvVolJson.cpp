#include "CdvVol.h"

#include "ContenuVol.h"
#include "orix/TexteSur.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace cdv {

namespace {

using Json = nlohmann::ordered_json;
using Motif = ErreurVol::Motif;

constexpr const char CHANGEMENTS[] = "changements";
constexpr const char POINTS[] = "points";
constexpr std::pair<const char*, std::optional<std::string_view> Changement::*> PARTIES_CHANGEMENT[] = {
    {"rubrique", &Changement::rubrique},
    {"ancienne_valeur", &Changement::ancienneValeur},
    {"nouvelle_valeur", &Changement::nouvelleValeur},
};

/// Refuses a name given twice in an object: the parser itself would keep the last one and say nothing.
/// Refuses also what is nested without end.
class SansDoublon
{
  public:
    bool operator()(int profondeur, Json::parse_event_t evenement, const Json& valeur)
    {
        if (profondeur > Vol::PROFONDEUR_JSON)
            throw ErreurVol(Motif::tropProfond, {std::to_string(Vol::PROFONDEUR_JSON)});
        if (evenement == Json::parse_event_t::object_start)
            _noms.emplace_back();
        else if (evenement == Json::parse_event_t::object_end)
            _noms.pop_back();
        else if (evenement == Json::parse_event_t::key)
            if (const auto& nom = valeur.get_ref<const std::string&>(); !_noms.back().insert(nom).second)
                throw ErreurVol(Motif::nomRepete, {nom});
        return true;
    }

  private:
    std::vector<std::set<std::string>> _noms;
};

/// The words of the parser, without the name that it gives to its exceptions.
std::string raisonDe(const Json::exception& erreur)
{
    const std::string_view message = erreur.what();
    const std::size_t prefixe = message.find("] "); // "[json.exception.parse_error.101] "
    return std::string(prefixe == std::string_view::npos ? message : message.substr(prefixe + 2));
}

Json analyser(std::string_view json)
{
    try {
        SansDoublon sansDoublon;
        return Json::parse(json.begin(), json.end(), std::ref(sansDoublon));
    } catch (const Json::parse_error& erreur) {
        const std::string_view lu = json.substr(0, erreur.byte);
        const std::size_t ligne = 1 + static_cast<std::size_t>(std::count(lu.begin(), lu.end(), '\n'));
        const std::size_t colonne = erreur.byte - (lu.rfind('\n') + 1); // npos + 1 is 0
        throw ErreurVol(Motif::json, {std::to_string(ligne), std::to_string(colonne)}, raisonDe(erreur));
    } catch (const Json::exception& erreur) {
        throw ErreurVol(Motif::json, {}, raisonDe(erreur));
    }
}

const std::string& exigerTexte(const Json& valeur)
{
    if (!valeur.is_string())
        throw ErreurVol(Motif::texte, {valeur.type_name()});
    return valeur.get_ref<const std::string&>();
}

void exiger(bool condition, Motif sinon)
{
    if (!condition)
        throw ErreurVol(sinon);
}

void lireTexte(Vol& vol, const std::string& nom, const Json& valeur)
{
    const Champ champ = Vol::champ(nom);
    if (vol.lire(champ))
        throw ErreurVol(Motif::champRepete);
    if (!valeur.is_null())
        poser(vol.brut(), champ, allouerDepuisUtf8(exigerTexte(valeur)));
}

void lireChangement(Vol& vol, const Json& valeur)
{
    exiger(valeur.is_object(), Motif::tableauObjets);
    auto entree = std::make_unique<OXcci_rub_chgtData>();
    char** const textes[] = {&entree->m_grubrique, &entree->m_gancienne_valeur, &entree->m_gnouvelle_valeur};
    for (const auto& [nom, texte] : valeur.items()) {
        const auto partie =
            std::find_if(std::begin(PARTIES_CHANGEMENT), std::end(PARTIES_CHANGEMENT),
                         [&nom = nom](const auto& candidate) { return nom == candidate.first; });
        if (partie == std::end(PARTIES_CHANGEMENT))
            throw ErreurVol(Motif::partieInconnue, {nom});
        if (!texte.is_null())
            *textes[partie - std::begin(PARTIES_CHANGEMENT)] =
                allouerDepuisUtf8(exigerTexte(texte)).release(); // the reading has refused a second one
    }
    ajouter(vol.brut(), std::move(entree));
}

void lireMembre(Vol& vol, const std::string& nom, const Json& valeur)
{
    if (nom == POINTS) {
        exiger(valeur.is_array(), Motif::tableauTextes);
        for (const Json& point : valeur)
            ajouter(vol.brut(), allouerDepuisUtf8(exigerTexte(point)));
    } else if (nom == CHANGEMENTS) {
        exiger(valeur.is_array(), Motif::tableauObjets);
        for (const Json& changement : valeur)
            lireChangement(vol, changement);
    } else if (Vol::chercher(nom + ".code")) {
        exiger(valeur.is_object() || valeur.is_null(), Motif::objet);
        for (const auto& [partie, texte] : valeur.items())
            lireTexte(vol, nom + "." + partie, texte);
    } else {
        lireTexte(vol, nom, valeur);
    }
}

} // namespace

std::string Vol::versJson(int indentation) const
{
    Json json = Json::object();
    for (std::size_t i = 0; i < champs().size(); ++i) {
        const auto valeur = lire(static_cast<Champ>(i));
        if (!valeur)
            continue;
        const std::string nom(champs()[i]);
        if (const std::size_t point = nom.find('.'); point != std::string::npos)
            json[nom.substr(0, point)][nom.substr(point + 1)] = versUtf8(*valeur);
        else
            json[nom] = versUtf8(*valeur);
    }
    for (std::size_t i = 0; i < nombreChangements(); ++i) {
        Json entree = Json::object();
        const Changement lu = changement(i);
        for (const auto& [nom, partie] : PARTIES_CHANGEMENT)
            if (const auto& texte = lu.*partie)
                entree[nom] = versUtf8(*texte);
        json[CHANGEMENTS].push_back(std::move(entree));
    }
    for (std::size_t i = 0; i < nombrePoints(); ++i)
        json[POINTS].push_back(versUtf8(point(i)));
    return orix::jsonSur(json.dump(indentation));
}

Vol Vol::depuisJson(std::string_view texte)
{
    const Json json = analyser(texte);
    exiger(json.is_object(), Motif::objetJson);
    Vol vol;
    for (const auto& [nom, valeur] : json.items()) {
        try {
            lireMembre(vol, nom, valeur);
        } catch (const ErreurVol& erreur) {
            throw ErreurVol(erreur, nom);
        }
    }
    return vol;
}

} // namespace cdv
