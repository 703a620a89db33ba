#include "OptionsServeur.h"

#include "orix/Trace.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>

#include <iostream>

namespace serveur {

namespace {

constexpr const char* PRESENTATION =
    "Serveur de référence du service cdv : garde des vols complets dans une base "
    "SQLite, ou PostgreSQL, et les sert aux clients CORBA.";

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
une base, SQLite sur une machine, PostgreSQL sur plusieurs : ce sont les deux serveurs du
service. Le mot de passe de PostgreSQL vient de PGPASSFILE ou PGPASSWORD, pas de l'adresse,
que ps montrerait. Un client qui manque deux pings de suite est
abandonné ; celui qui y répond peut lire ses réponses aussi lentement qu'il veut : il n'attend
que lui-même.

Exemples :
  cdv-serveur --base vols.db
  cdv-serveur --base vols.db --http 9464
  cdv-serveur sauvegarder --base vols.db copie.db
  cdv-serveur verifier --base copie.db
  cdv-serveur --base postgresql://cdv@10.0.0.1,10.0.0.2/cdv
  cdv-serveur --base vols.db --hote 0.0.0.0 --port 2810 --nom cdv-secours --trace 300

La table [acces] du fichier de configuration dit, par les noms des certificats, quels clients
peuvent s'activer, lire, écrire.

SIGHUP fait relire les fichiers de la table [tls], pour les connexions à venir, et la table
[acces], pour les demandes à venir ; il rouvre le fichier de trace.

Statuts de sortie du serveur (ceux des sous-commandes sont dans leur aide) : 0 arrêté par SIGTERM ou SIGINT ; 2 refus au démarrage (option, base,
port), dit en une ligne sur la sortie d'erreur ; 3 la base n'est plus à sa place (effacée, renommée,
remplacée) : les demandes ont échoué par le code 4, et rien n'est perdu de ce qui était fait.)";

constexpr const char* STATUTS_COMMANDE =
    "Statuts de sortie : 0 fait ; 1 la base a des défauts, dits un par ligne "
    "sur la sortie d'erreur ; 2 refus ou échec, dit en une ligne. Rien "
    "n'est laissé d'une copie qui n'est pas saine ou pas achevée.";

/// What is done with a database, beside the servers that it has.
void decrireCommandes(CLI::App& application, DemandeBase& demande)
{
    const auto ajouter = [&](const char* nom, const char* aide, DemandeBase::Genre genre) {
        CLI::App* const commande = application.add_subcommand(nom, aide);
        commande->set_help_flag("-h,--help", "affiche cette aide");
        commande->footer(STATUTS_COMMANDE);
        commande->add_option("--base", demande.base, "base de données (obligatoire)")->type_name("FICHIER");
        commande->add_flag("--json", demande.json, "dit le résultat en une ligne de JSON");
        commande->callback([&demande, genre] { demande.genre = genre; });
        return commande;
    };
    CLI::App* const sauvegarder = ajouter(
        "sauvegarder", "copie une base SQLite pendant que ses serveurs y écrivent, et vérifie la copie",
        DemandeBase::SAUVEGARDER);
    sauvegarder->add_option("destination", demande.destination, "fichier de la copie")
        ->type_name("DESTINATION");
    sauvegarder->add_flag("--remplacer", demande.remplacer, "remplace le fichier de la copie s'il existe");
    ajouter("verifier", "lit toutes les pages et tous les vols d'une base SQLite, sans y écrire",
            DemandeBase::VERIFIER);
}

void decrireOptions(CLI::App& application, Options& options)
{
    decrireCommandes(application, options.demande);
    constexpr long long UNE_HEURE = 3600000;
    application.footer(COMPLEMENT);
    application.set_help_flag("-h,--help", "affiche cette aide");
    application
        .add_option("--base", options.base,
                    "base de données, créée s'il n'y en a pas : fichier SQLite, ou adresse PostgreSQL "
                    "(obligatoire)")
        ->type_name("BASE");
    application.add_option("--port", options.port, "port TCP ; 0 : un port libre (2809)")
        ->type_name("PORT")
        ->check(CLI::Range(0u, 65535u));
    application.add_option("--hote", options.hote, "adresse où écouter (127.0.0.1)")->type_name("ADRESSE");
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
        .add_option("--memoire-max", options.memoireMax,
                    "mémoire des demandes et des réponses qui attendent, en MiB (256)")
        ->type_name("MIB")
        ->check(CLI::Range(1, 1 << 20));
    application
        .add_option("--clients-par-adresse", options.clientsParAdresse,
                    "nombre de clients actifs d'une même adresse (200)")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, Clients::Reglages().nombreMax));
    application.add_flag("--clients-ailleurs", options.clientsAilleurs,
                         "un client peut donner des références qui mènent ailleurs qu'à l'adresse d'où "
                         "il s'active");
    application
        .add_option("--http", options.http,
                    "adresse où montrer /metrics (mesures, pour Prometheus) et /sante ; sans HOTE, 127.0.0.1 "
                    "(aucune)")
        ->type_name("[HOTE:]PORT");
    application
        .add_option("--pret-fd", options.pretFd,
                    "une fois prêt, écrit l'URL du noyau, en une ligne, dans ce descripteur, et le ferme")
        ->type_name("N")
        ->check(CLI::Range(3, 1 << 20));
    application
        .add_option(
            "--configuration", options.configuration,
            "fichier TOML de l'intergiciel (TLS, délais, trace) ; --port, --hote, --machine et --trace "
            "passent avant lui")
        ->type_name("FICHIER");
}

} // namespace

std::optional<int> lireOptions(int argc, char** argv, Options& options)
{
    CLI::App application(PRESENTATION, "cdv-serveur");
    decrireOptions(application, options);
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
        return refuser("argument inconnu : " + application.remaining(true).front());
    } catch (const CLI::ParseError& erreur) {
        return refuser(std::string("option refusée : ") + erreur.what());
    }
    const bool commande = options.demande.genre != DemandeBase::AUCUNE;
    if ((commande ? options.demande.base : options.base).empty())
        return refuser("option obligatoire absente : --base");
    if (options.demande.genre == DemandeBase::SAUVEGARDER && options.demande.destination.empty())
        return refuser("argument obligatoire absent : DESTINATION");
    if (options.pretFd && fcntl(*options.pretFd, F_GETFD) == -1)
        return refuser("--pret-fd : le descripteur " + std::to_string(*options.pretFd) + " n'est pas ouvert");
    options.pointAccesDonne = application.count("--port") + application.count("--hote") > 0;
    return std::nullopt;
}

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

} // namespace serveur
