#include "Commandes.h"
#include "Connexion.h"
#include "FormatTableau.h"
#include "Json.h"
#include "Mesure.h"
#include "Progression.h"
#include "Sortie.h"
#include "Terminal.h"

#include "OXcdvCliItf.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace outils {

namespace {

struct EtatNoyau
{
    std::string url;
    std::string erreur; ///< empty: active
    cdv::Evenement serveur;
    int numeroClient = 0; ///< that the server gave us
    std::string version;
    double allerRetour = 0; ///< median, in ms
};

/// Connects to that kernel alone, so that each server's state is its own.
EtatNoyau interroger(orix::Configuration configuration, const std::string& url, const Options& options,
                     Interruption& interruption)
{
    constexpr int MESURES = 5;
    EtatNoyau etat;
    etat.url = url;
    configuration[orix::cle::routage] = {{"cdv", {url}}};
    try {
        Connexion connexion(configuration, options, interruption);
        etat.serveur = connexion.serveur();
        etat.numeroClient = connexion.session().numeroClient();
        std::ostringstream version;
        version << OXcdvCliItf::lireVersion();
        etat.version = version.str();
        std::vector<double> durees;
        for (int i = 0; i < MESURES; ++i) {
            const Horloge::time_point debut = Horloge::now();
            const cdv::Resultat resultat = connexion.attendre(connexion.session().consulter(volDeMesure()));
            if (interruption.demandee())
                throw Arret(INTERROMPU, "interrompu");
            if (!aRepondu(resultat))
                throw Arret(PERDU, "connecté, mais sans réponse à une demande");
            durees.push_back(millisecondes(Horloge::now() - debut));
        }
        std::nth_element(durees.begin(), durees.begin() + MESURES / 2, durees.end());
        etat.allerRetour = durees[MESURES / 2];
    } catch (const PasDeConnexion& absence) {
        etat.erreur = absence.motif();
    } catch (const Arret& arret) {
        if (arret.statut() == USAGE || arret.statut() == INTERROMPU)
            throw;
        etat.erreur = arret.what();
    }
    return etat;
}

/// Of all servers together.
Statut statutSortie(std::size_t actifs, std::size_t noyaux, bool tous)
{
    if (actifs == noyaux)
        return FAIT;
    return actifs == 0 || tous ? SANS_CONNEXION : DEGRADE;
}

nlohmann::ordered_json versJson(const EtatNoyau& etat)
{
    nlohmann::ordered_json objet{{"noyau", etat.url}, {"actif", etat.erreur.empty()}};
    if (!etat.erreur.empty()) {
        objet["erreur"] = etat.erreur;
    } else {
        objet["serveur"] = cdv::versUtf8(etat.serveur.serveur);
        objet["machine"] = cdv::versUtf8(etat.serveur.machine);
        objet["numero_client"] = etat.numeroClient;
        objet["interface"] = etat.version;
        objet["aller_retour_ms"] = etat.allerRetour;
    }
    return objet;
}

} // namespace

int etat(const Options& options, Interruption& interruption)
{
    const Format format = formatSimple(options);
    const orix::Configuration configuration = configurer(options);
    std::vector<EtatNoyau> etats;
    for (const std::string& url : noyaux(configuration))
        etats.push_back(interroger(configuration, url, options, interruption));

    const auto actifs = static_cast<std::size_t>(
        std::count_if(etats.begin(), etats.end(), [](const EtatNoyau& e) { return e.erreur.empty(); }));
    const char* const service = actifs == etats.size() ? "actif" : actifs == 0 ? "absent" : "dégradé";

    FluxFd flux(STDOUT_FILENO);
    if (format == Format::json) {
        nlohmann::ordered_json objet{
            {"cdv", CDV_VERSION}, {"service", service}, {"serveurs", nlohmann::ordered_json::array()}};
        for (const EtatNoyau& etat : etats)
            objet["serveurs"].push_back(versJson(etat));
        flux << ecrireJson(objet, 2) << '\n';
    } else {
        Paires paires;
        paires.ajouter("cdv", CDV_VERSION);
        paires.ajouter("service", service + std::string(" : ") + compte(actifs, "serveur actif") + " sur " +
                                      nombre(etats.size()));
        for (const EtatNoyau& etat : etats) {
            paires.ajouter("noyau", etat.url);
            if (!etat.erreur.empty()) {
                paires.ajouter("  état", etat.erreur);
                continue;
            }
            paires.ajouter("  état", "actif");
            paires.ajouter("  serveur", affichable(etat.serveur.serveur));
            paires.ajouter("  machine", affichable(etat.serveur.machine));
            paires.ajouter("  client n°", std::to_string(etat.numeroClient));
            paires.ajouter("  interface", etat.version);
            paires.ajouter("  aller-retour", texteMs(etat.allerRetour));
        }
        paires.ecrire(flux, largeurTerminal(STDOUT_FILENO));
    }
    flux.flush();
    return statutSortie(actifs, etats.size(), options.tous);
}

} // namespace outils
