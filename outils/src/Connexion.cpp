#include "Connexion.h"

#include "Expliquer.h"

#include "orix/Enumerer.h"
#include "orix/Trace.h"

#include <cstdlib>

namespace outils {

namespace {

const std::string SERVICE = "cdv";
const std::string POINT_LOCAL = "127.0.0.1:2809"; // where cdv-serveur listens unless told otherwise

} // namespace

orix::Configuration configurer(const Options& options)
{
    std::string fichier = options.configuration;
    if (fichier.empty() && options.urls.empty())
        if (const char* const variable = std::getenv("CDV_CONFIG"))
            fichier = variable;
    orix::Configuration configuration;
    try {
        if (!fichier.empty())
            configuration = orix::Configuration::lire(fichier);
        if (!options.urls.empty())
            configuration[orix::cle::routage][SERVICE] = options.urls;
        else if (fichier.empty())
            configuration[orix::cle::routage][SERVICE] = {urlNoyau(POINT_LOCAL)};
        if (configuration[orix::cle::routage][SERVICE].empty())
            throw Arret(USAGE, fichier + " : aucun serveur pour le service cdv dans [routage]");
        // Without a file of their own the traces would run through what the command prints.
        if (options.trace)
            configuration[orix::cle::niveauTrace] = *options.trace;
        else if (configuration[orix::cle::fichierTrace].empty())
            configuration[orix::cle::niveauTrace] = orix::NTO_AUCUN;
        if (options.delai && options.delai->count() != 0)
            configuration[orix::cle::delaiActivation] = *options.delai;
        configuration.verifier("cdv");
    } catch (const orix::ErreurConfiguration& erreur) {
        throw Arret(USAGE, erreur.enFrancais());
    }
    return configuration;
}

const std::vector<std::string>& noyaux(const orix::Configuration& configuration)
{
    return configuration[orix::cle::routage].at(SERVICE);
}

cdv::Options reglagesSession(const Options& options, const orix::Configuration& configuration)
{
    constexpr cdv::Duree MARGE{5000};
    cdv::Options reglages;
    reglages.service = SERVICE;
    reglages.reprise = false;
    reglages.delaiActivation = configuration[orix::cle::delaiActivation] + MARGE;
    if (options.delai)
        reglages.delaiRequete = *options.delai;
    return reglages;
}

Connexion::Connexion(const Options& options, Interruption& interruption, bool reprise)
    : Connexion(configurer(options), options, interruption, reprise)
{}

Connexion::Connexion(const orix::Configuration& configuration, const Options& options,
                     Interruption& interruption, bool reprise)
    : _interruption(interruption), _processus(avecErreursClaires([&] {
          orix::Trace::definirSeuil(configuration[orix::cle::niveauTrace]);
          return cdv::Processus(configuration);
      }))
{
    cdv::Options reglages = reglagesSession(options, configuration);
    reglages.reprise = reprise;
    if (reprise) // nobody is waited for who has not been there
        reglages.observateur = [this](const cdv::Evenement& evenement) {
            if (evenement.etat == cdv::EtatSession::active)
                _acceptee = true;
            if (evenement.etat != cdv::EtatSession::attente || _acceptee)
                return;
            _refus = evenement.statut;
            _session.fermer();
        };
    const Interruption::Garde garde(interruption, [this] { _session.fermer(); });
    avecErreursClaires([&] { _session.ouvrir(reglages); });
    if (interruption.demandee())
        _session.fermer(); // asked for before there was anything to close
    // Each kernel is asked once; a session without it goes to "perdue" by itself.
    if (!_session.attendreActive(2 * (reglages.delaiActivation + configuration[orix::cle::delaiConnexion]))) {
        if (interruption.demandee())
            throw Arret(INTERROMPU, "interrompu");
        const orix::OXstatut statut = _refus;
        throw PasDeConnexion(expliquer(statut != orix::OXS_OK ? statut : _session.dernierEvenement().statut),
                             orix::enumerer(noyaux(configuration)));
    }
    _serveur = _session.dernierEvenement();
}

cdv::Resultat Connexion::attendre(std::future<cdv::Resultat> futur)
{
    const Interruption::Garde garde(_interruption, [this] { _session.fermer(); });
    return futur.get();
}

} // namespace outils
