#include "Serveur.h"

#include "orix/Configuration.h"
#include "orix/Processus.h"
#include "orix/Trace.h"

#include <CLI/CLI.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>

namespace {

constexpr int STATUT_REFUS = 2;       // nothing was started
constexpr int STATUT_BASE_PERDUE = 3; // the file is no longer where it was opened

constexpr const char* PRESENTATION =
    "Serveur de référence du service cdv : garde des vols complets dans une base "
    "SQLite et les sert aux clients CORBA.";

constexpr const char* COMPLEMENT =
    R"(Codes de résultat portés par les notifications :
  0  fait
  1  le vol existe déjà (création)
  2  vol introuvable (modification, suppression, consultation)
  3  vol invalide : identifiant absent ou vide
  4  échec de la base : rien n'a été fait
  5  le client n'en a pas le droit (table [acces]) : rien n'a été fait

Opérations :
  modifie   remplace les champs renseignés, et les listes qui ne sont pas vides
  liste     par l'exemple : chaque champ renseigné doit être égal, ou commencer par ce qui
            précède une « * » finale ; les listes de l'exemple sont ignorées

Un vol est sur le disque avant que sa notification ne parte. Deux serveurs peuvent partager
une base : ce sont les deux serveurs du service. Un client qui manque deux pings de suite, ou
qui laisse 1000 notifications en attente pendant 5 s, est abandonné.

Exemples :
  cdv-serveur --base vols.db
  cdv-serveur --base vols.db --hote 0.0.0.0 --port 2810 --nom cdv-secours --trace 300

La table [acces] du fichier de configuration dit, par les noms des certificats, quels clients
peuvent s'activer, lire, écrire.

SIGHUP fait relire les fichiers de la table [tls], pour les connexions à venir, et la table
[acces], pour les demandes à venir.

Statuts de sortie : 0 arrêté par SIGTERM ou SIGINT ; 2 refus au démarrage (option, base,
port), dit en une ligne sur la sortie d'erreur ; 3 la base n'est plus à sa place (effacée, renommée,
remplacée) : les demandes ont échoué par le code 4, et rien n'est perdu de ce qui était fait.)";

struct Options
{
    unsigned port = 2809;
    std::string hote = "127.0.0.1";
    std::string base;
    std::string nom = "cdv-serveur";
    std::string machine;
    std::string configuration;
    std::optional<int> trace;
    long long periodePing = 1000;
    long long delaiPing = 1000;
    std::size_t clientsParAdresse = serveur::Clients::Reglages().parAdresse;
    bool clientsAilleurs = false;
    bool pointAccesDonne = false;
};

/// Fills in the options, or gives the exit status of a program that has nothing more to do.
std::optional<int> lireOptions(int argc, char** argv, Options& options)
{
    constexpr long long UNE_HEURE = 3600000;
    CLI::App application(PRESENTATION, "cdv-serveur");
    application.footer(COMPLEMENT);
    application.set_help_flag("-h,--help", "affiche cette aide");
    application.add_option("--base", options.base, "base de données, créée s'il n'y en a pas (obligatoire)")
        ->type_name("FICHIER");
    const auto* port = application.add_option("--port", options.port, "port TCP ; 0 : un port libre (2809)")
                           ->type_name("PORT")
                           ->check(CLI::Range(0u, 65535u));
    const auto* hote = application.add_option("--hote", options.hote, "adresse où écouter (127.0.0.1)")
                           ->type_name("ADRESSE");
    application.add_option("--nom", options.nom, "nom du serveur, dit aux clients (cdv-serveur)")
        ->type_name("NOM");
    application
        .add_option("--machine", options.machine, "nom de machine, dit aux clients (celui de la machine)")
        ->type_name("NOM");
    application
        .add_option("--trace", options.trace,
                    "niveau de trace : 0, 100, 300, 700 ou 900 (100, ou celui de --configuration)")
        ->type_name("NIVEAU");
    application.add_option("--periode-ping", options.periodePing, "période des pings, en ms (1000)")
        ->type_name("MS")
        ->check(CLI::Range(1LL, UNE_HEURE));
    application
        .add_option("--delai-ping", options.delaiPing,
                    "un ping sans réponse d'ici là est manqué, en ms (1000)")
        ->type_name("MS")
        ->check(CLI::Range(1LL, UNE_HEURE));
    application
        .add_option("--clients-par-adresse", options.clientsParAdresse,
                    "nombre de clients actifs d'une même adresse (200)")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, serveur::Clients::Reglages().nombreMax));
    application.add_flag("--clients-ailleurs", options.clientsAilleurs,
                         "un client peut donner des références qui mènent ailleurs qu'à l'adresse d'où "
                         "il s'active");
    application
        .add_option(
            "--configuration", options.configuration,
            "fichier TOML de l'intergiciel (TLS, délais, trace) ; --port, --hote, --machine et --trace "
            "passent avant lui")
        ->type_name("FICHIER");

    const auto refuser = [](const std::string& pourquoi) {
        std::cerr << "cdv-serveur : " << pourquoi << " (voir --help)" << std::endl;
        return STATUT_REFUS;
    };
    try {
        application.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << application.help();
        return EXIT_SUCCESS;
    } catch (const CLI::ExtrasError&) {
        return refuser("argument inconnu : " + application.remaining().front());
    } catch (const CLI::ParseError& erreur) {
        return refuser(std::string("option refusée : ") + erreur.what());
    }
    if (options.base.empty())
        return refuser("option obligatoire absente : --base");
    options.pointAccesDonne = port->count() + hote->count() > 0;
    return std::nullopt;
}

/// Throws orix::ErreurConfiguration.
orix::Configuration configurer(const Options& options)
{
    const bool fichier = !options.configuration.empty();
    orix::Configuration configuration =
        fichier ? orix::Configuration::lire(options.configuration) : orix::Configuration();
    if (!fichier || options.pointAccesDonne)
        configuration[orix::cle::pointsAcces] = {options.hote + ":" + std::to_string(options.port)};
    if (!options.machine.empty())
        configuration[orix::cle::nomMachineHote] = options.machine;
    if (!fichier || options.trace)
        configuration[orix::cle::niveauTrace] = options.trace.value_or(orix::NTO_NOTABLE);
    return configuration;
}

/// The files of TLS and the rights, as they are now; what is wrong changes nothing.
void relire(const Options& options, serveur::Serveur& serveur)
{
    std::string pourquoi;
    if (orix::relireTLS(&pourquoi) == orix::OXS_OK)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire", "Fichiers TLS relus");
    else
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire",
                              "Fichiers TLS refusés, les précédents restent : " << pourquoi);
    try {
        serveur.droits().lire(configurer(options));
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire", "Droits relus");
    } catch (const std::exception& erreur) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire",
                              "Droits refusés, les précédents restent : " << erreur.what());
    }
}

/// Serves until a signal of the set comes; the exit status. Throws std::exception with a line for the user,
/// or CORBA::Exception.
int servir(const Options& options, const sigset_t& signaux)
{
    const orix::Configuration configuration = configurer(options);
    std::atomic<bool> perdue{false};
    serveur::Magasin::Reglages reglagesMagasin;
    reglagesMagasin.surPerte = [&perdue] {
        perdue = true;
        kill(getpid(), SIGTERM); // ends the wait below
    };
    serveur::Magasin magasin(options.base, reglagesMagasin);

    // A refusal is told once: by main, not by a trace too.
    int sansOptions = 0; // of its own the ORB has none here
    std::string message;
    std::exception_ptr cause;
    orix::trace()->definirRecepteur([](const orix::LigneTrace&) {});
    const orix::OXstatut statut = orix::initialiser(sansOptions, nullptr, configuration, &message, &cause);
    orix::trace()->definirRecepteur({});
    if (cause != nullptr)
        std::rethrow_exception(cause);
    if (statut != orix::OXS_OK)
        throw std::runtime_error(message);
    std::optional<serveur::Serveur> serveur; // outlives the ORB, whose threads may be inside it to the end
    const struct Fin
    {
        ~Fin() { orix::terminer(); }
    } fin;

    serveur::Serveur::Reglages reglages;
    reglages.noms = {options.nom, configuration[orix::cle::nomMachineHote]};
    reglages.pings.periode = std::chrono::milliseconds(options.periodePing);
    reglages.pings.delai = std::chrono::milliseconds(options.delaiPing);
    reglages.clients.parAdresse = options.clientsParAdresse;
    reglages.clientsAilleurs = options.clientsAilleurs;
    reglages.configuration = configuration;
    serveur.emplace(magasin, reglages);
    std::cout << "cdv-serveur: prêt, noyau corbaloc:" << serveur->pointAcces() << "/Noyau, base "
              << options.base << std::endl;
    int signal = 0;
    while (sigwait(&signaux, &signal) == 0 && signal == SIGHUP)
        relire(options, *serveur);
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "servir", "Arrêt demandé, signal " << signal);
    serveur->arreter();
    return perdue ? STATUT_BASE_PERDUE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    umask(umask(0) | S_IWGRP | S_IRWXO); // records and traces are no stranger's business

    // Before any thread starts: all of them inherit it, and only sigwait receives these.
    sigset_t signaux;
    sigemptyset(&signaux);
    sigaddset(&signaux, SIGTERM);
    sigaddset(&signaux, SIGINT);
    sigaddset(&signaux, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signaux, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    try {
        Options options;
        if (const std::optional<int> statut = lireOptions(argc, argv, options))
            return *statut;
        return servir(options, signaux);
    } catch (const orix::ErreurConfiguration& erreur) {
        std::cerr << "cdv-serveur : " << erreur.enFrancais() << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << "cdv-serveur : " << exception.what() << std::endl;
    } catch (const CORBA::Exception& exception) {
        std::cerr << "cdv-serveur : exception CORBA " << exception._name() << std::endl;
    }
    return STATUT_REFUS;
}
