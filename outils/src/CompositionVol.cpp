#include "Francais.h"
#include "Options.h"
#include "Statut.h"
#include "Suggestion.h"

#include <iterator>

namespace outils {

namespace {

/// "RUBRIQUE[:ANCIENNE[:NOUVELLE]]"; what is not there is not set.
void ajouterChangement(cdv::Vol& vol, const std::string& texte)
{
    if (!texte.empty() && texte.front() == '{') {
        const cdv::Vol seul = cdv::Vol::depuisJson("{\"changements\":[" + texte + "]}");
        for (const cdv::Changement& changement : seul.changements())
            vol.ajouterChangement(changement);
        return;
    }
    const std::string latin1 = cdv::depuisUtf8(texte);
    std::string_view reste = latin1;
    std::optional<std::string_view> parties[3];
    for (std::size_t i = 0; i < std::size(parties); ++i) {
        const std::size_t fin = i + 1 < std::size(parties) ? reste.find(':') : std::string_view::npos;
        parties[i] = reste.substr(0, fin);
        if (fin == std::string_view::npos)
            break;
        reste.remove_prefix(fin + 1);
    }
    vol.ajouterChangement({parties[0], parties[1], parties[2]});
}

/// Does it; what the library refuses is told with what it is about.
template <class Action>
void dire(const std::string& sujet, Action action)
{
    try {
        action();
    } catch (const cdv::ErreurVol& erreur) {
        throw Arret(USAGE, sujet + " : " + enFrancais(erreur));
    }
}

} // namespace

cdv::Vol composerVol(const Options& options, const std::string& json)
{
    const bool identifiantSeul = options.commande == "consulter" || options.commande == "supprimer";
    cdv::Vol vol;
    if (!json.empty())
        dire(options.json, [&] { vol = cdv::Vol::depuisJson(json); });
    std::vector<bool> donnes(cdv::Vol::champs().size());
    for (const std::string& mot : options.mots) {
        const std::size_t egal = mot.find('=');
        const bool nomme = egal != std::string::npos;
        const cdv::Champ champ = nomme ? champConnu(mot.substr(0, egal)) : cdv::Champ::gidentifiant;
        if (identifiantSeul && champ != cdv::Champ::gidentifiant)
            throw Arret(USAGE, "« " + mot + " » : seul l'identifiant est attendu");
        const auto indice = static_cast<std::size_t>(champ);
        if (donnes[indice])
            throw Arret(USAGE, "champ donné deux fois : " + std::string(cdv::Vol::nom(champ)));
        donnes[indice] = true;
        const std::string valeur = nomme ? mot.substr(egal + 1) : mot;
        dire(std::string(cdv::Vol::nom(champ)), [&] { vol.ecrire(champ, cdv::depuisUtf8(valeur)); });
    }
    if (!options.points.empty())
        vol.viderPoints();
    for (const std::string& point : options.points)
        dire("--point " + point, [&] { vol.ajouterPoint(cdv::depuisUtf8(point)); });
    if (!options.changements.empty())
        vol.viderChangements();
    for (const std::string& changement : options.changements)
        dire("--changement " + changement, [&] { ajouterChangement(vol, changement); });
    for (const std::string& nom : options.effaces) {
        const cdv::Champ champ = champConnu(nom);
        if (donnes[static_cast<std::size_t>(champ)])
            throw Arret(USAGE, "champ donné et effacé : " + nom);
        // Nothing to take out of a change: the user wants the server to do what it cannot.
        if (options.commande == "modifier" && !vol.lire(champ))
            throw Arret(USAGE, "--effacer " + nom +
                                   " : une modification laisse tel quel un champ qui n'est pas envoyé ; pour "
                                   "lui donner la chaîne vide : " +
                                   nom + "= (voir cdv modifier --help)");
        vol.effacer(champ);
    }
    return vol;
}

} // namespace outils
