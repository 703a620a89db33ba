// Runs the library and its peers, each with a client and a server process of its own, one after another in
// every round, and compares them. Says in the table what it measured, and in JSON lines every single run.
#include "Processus.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <thread>

namespace {

using nlohmann::json;
using Arguments = std::vector<std::string>;
constexpr std::chrono::seconds PATIENCE{300}; // a million notifications take their time

// ---- What is compared

/// A way to send records: its two programs and what they are told.
struct Systeme
{
    std::string nom, titre;
    std::string client, serveur; ///< programs, beside this one
    Arguments arguments;
    bool rappelle;       ///< takes part where the server calls back
    std::string paquets; ///< without which it is not built
};

const std::string FACADE = "facade";
const std::string ORB_PRET = "omniorb";

const std::vector<Systeme>& systemes()
{
    const std::string notre = "always built", ice = "Debian packages libzeroc-ice-dev zeroc-ice-compilers",
                      grpc = "Debian packages libgrpc++-dev libprotobuf-dev protobuf-compiler-grpc";
    const std::string construire = "--construire", variante = "--variante";
    static const std::vector<Systeme> tous = {
        {FACADE, "libOXcdvCli", "facade_client", "serveur_minimal", {}, true, notre},
        {"facade_construite",
         "libOXcdvCli, record built",
         "facade_client",
         "serveur_minimal",
         {construire},
         false,
         notre},
        {"facade_traces",
         "libOXcdvCli, traces at 100",
         "facade_client",
         "serveur_minimal",
         {variante, "traces"},
         true,
         notre},
        {ORB_PRET,
         "omniORB, struct ready",
         "omniorb_client",
         "serveur_minimal",
         {variante, "brut"},
         true,
         notre},
        {"omniorb_construit",
         "omniORB, struct built",
         "omniorb_client",
         "serveur_minimal",
         {variante, "brut", construire},
         true,
         notre},
        {"omniorb_groupe",
         "omniORB, struct ready, bursts gathered",
         "omniorb_client",
         "serveur_minimal",
         {},
         true,
         notre},
        {"ice", "Ice one-way, ready", "ice_client", "ice_serveur", {}, true, ice},
        {"ice_construit", "Ice one-way, built", "ice_client", "ice_serveur", {construire}, true, ice},
        {"ice_lot", "Ice batched, ready", "ice_client", "ice_serveur", {variante, "lot"}, false, ice},
        {"ice_lot_construit",
         "Ice batched, built",
         "ice_client",
         "ice_serveur",
         {variante, "lot", construire},
         false,
         ice},
        {"grpc", "gRPC stream, ready", "grpc_client", "grpc_serveur", {}, true, grpc},
        {"grpc_construit", "gRPC stream, built", "grpc_client", "grpc_serveur", {construire}, true, grpc},
        {"grpc_tampon",
         "gRPC stream with hint, ready",
         "grpc_client",
         "grpc_serveur",
         {variante, "tampon"},
         false,
         grpc},
        {"grpc_tampon_construit",
         "gRPC stream with hint, built",
         "grpc_client",
         "grpc_serveur",
         {variante, "tampon", construire},
         false,
         grpc},
    };
    return tous;
}

/// One thing to measure, of every system or of a few.
struct Mesure
{
    std::string nom, titre;
    Arguments arguments; ///< for clients and servers alike
    double part;         ///< of the number of records asked for
    bool rappel;
    Arguments seulement;  ///< systems; empty: all
    std::string courbe;   ///< of a curve: the option that varies
    int x = 0;            ///< and its value here
    bool uneFois = false; ///< in the first round only
};

const std::string MEMOIRE = "memoire";

/// The comparison proper, then each point of the curves.
std::vector<Mesure> mesures(int occupation, bool courbes)
{
    std::vector<Mesure> toutes = {
        {"envoi", "Sending, no answer", {}, 1, false, {}, ""},
        {"envoi_occupe",
         "Sending to a busy server (" + std::to_string(occupation) + " us a record)",
         {"--occupation", std::to_string(occupation)},
         0.5,
         false,
         {},
         ""},
        {"rappel_64", "Request to callback, 64 in flight", {"--en-vol", "64"}, 0.5, true, {}, ""},
        {"rappel_1", "Request to callback, 1 in flight", {"--en-vol", "1"}, 0.1, true, {}, ""},
    };
    toutes.push_back({MEMOIRE, "Memory of the client", {}, 10, true, {FACADE}, "", 0, true});
    if (!courbes)
        return toutes;
    const auto courbe = [&](const std::string& option, const std::string& titre, bool rappel,
                            const std::vector<std::pair<int, double>>& points) {
        for (const auto& [x, part] : points)
            toutes.push_back({option,
                              titre,
                              {"--" + option, std::to_string(x)},
                              part,
                              rappel,
                              {FACADE, ORB_PRET},
                              option,
                              x});
    };
    courbe("champs", "Texts set, of 55", false, {{0, 0.5}, {15, 0.5}, {30, 0.5}, {45, 0.5}, {55, 0.5}});
    // The bytes sent are bounded, not the records: 30 texts of 64 KiB are 2 MB a record.
    courbe("longueur", "Bytes of a text", false,
           {{8, 0.5}, {64, 0.4}, {512, 0.15}, {4096, 0.025}, {16384, 0.01}, {65535, 0.0025}});
    courbe("en-vol", "Requests in flight", true,
           {{1, 0.1}, {2, 0.15}, {4, 0.2}, {8, 0.3}, {16, 0.3}, {32, 0.3}, {64, 0.3}});
    courbe("fils", "Application threads", false, {{1, 0.5}, {2, 0.5}, {4, 0.5}, {8, 0.5}});
    return toutes;
}

/// What the library is to reach: a ratio of one of its figures to that of another system.
struct Objectif
{
    std::string texte, mesure, grandeur, contre;
    bool auPlus;
    double borne;
};

const std::vector<Objectif>& objectifs()
{
    static const std::vector<Objectif> tous = {
        {"client CPU against omniORB with a ready struct, busy server", "envoi_occupe", "cpu_us", ORB_PRET,
         true, 1.3},
        {"rate against Ice one-way", "envoi", "debit", "ice", false, 1.3},
        {"rate against gRPC with hint", "envoi", "debit", "grpc_tampon", false, 1.2},
        // TAO's sendc_ with a nil handler runs at 83/248 of omniORB's rate, both with a ready struct: 2.5
        // times that.
        {"rate against omniORB with a ready struct (2.5 times TAO's)", "envoi", "debit", ORB_PRET, false,
         2.5 * 83 / 248},
        {"rate against Ice, 64 in flight", "rappel_64", "debit", "ice", false, 1.5},
        {"p50 against omniORB, 1 in flight", "rappel_1", "p50_us", ORB_PRET, true, 1},
        {"p50 against Ice, 1 in flight", "rappel_1", "p50_us", "ice", true, 1},
        {"p50 against gRPC, 1 in flight", "rappel_1", "p50_us", "grpc", true, 1},
        {"p99 against omniORB, 1 in flight", "rappel_1", "p99_us", ORB_PRET, true, 1},
        {"p99 against Ice, 1 in flight", "rappel_1", "p99_us", "ice", true, 1},
        {"p99 against gRPC, 1 in flight", "rappel_1", "p99_us", "grpc", true, 1},
    };
    return tous;
}

// ---- One run

unsigned portLibre()
{
    const int prise = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in adresse{};
    adresse.sin_family = AF_INET;
    adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t taille = sizeof adresse;
    auto* const generale = reinterpret_cast<sockaddr*>(&adresse); // how sockets want it
    const bool fait = bind(prise, generale, taille) == 0 && getsockname(prise, generale, &taille) == 0;
    close(prise);
    if (!fait)
        throw std::runtime_error("no port to be had on the loopback");
    return ntohs(adresse.sin_port);
}

/// A folder for the run's files, removed with them.
class DossierTemporaire
{
  public:
    DossierTemporaire()
    {
        std::string modele = (std::filesystem::temp_directory_path() / "comparer-XXXXXX").string();
        if (mkdtemp(modele.data()) == nullptr)
            throw std::runtime_error("no temporary folder to be had");
        _chemin = modele;
    }
    ~DossierTemporaire()
    {
        std::error_code sansSuite;
        std::filesystem::remove_all(_chemin, sansSuite);
    }
    DossierTemporaire(const DossierTemporaire&) = delete;
    DossierTemporaire& operator=(const DossierTemporaire&) = delete;
    const std::filesystem::path& chemin() const { return _chemin; }

  private:
    std::filesystem::path _chemin;
};

std::filesystem::path programmes() { return std::filesystem::canonical("/proc/self/exe").parent_path(); }

bool estConstruit(const Systeme& systeme)
{
    return std::filesystem::exists(programmes() / systeme.client) &&
           std::filesystem::exists(programmes() / systeme.serveur);
}

/// The figures of one run. Throws std::runtime_error when one of the two processes fails.
json executer(const Mesure& mesure, const Systeme& systeme, int nombre)
{
    const DossierTemporaire dossier;
    Arguments arguments = {
        "--port",    std::to_string(portLibre()),     "--nombre",  std::to_string(nombre),
        "--chauffe", std::to_string(nombre / 10 + 1), "--dossier", dossier.chemin().string()};
    if (mesure.rappel)
        arguments.push_back("--rappel");
    for (const Arguments& suite : {mesure.arguments, systeme.arguments})
        arguments.insert(arguments.end(), suite.begin(), suite.end());
    const auto commande = [&](const std::string& programme) {
        Arguments complete = arguments;
        complete.insert(complete.begin(), (programmes() / programme).string());
        return complete;
    };

    bench::Processus serveur(commande(systeme.serveur));
    serveur.attendre("PRET", PATIENCE);
    bench::Processus client(commande(systeme.client));
    client.attendre("CHAUD", PATIENCE);
    serveur.attendre("RECU", PATIENCE);
    client.dire("DEPART");
    client.attendre("ENVOYE", PATIENCE);
    const std::int64_t recu = std::stoll(serveur.attendre("RECU", PATIENCE));
    client.dire("FIN");
    json resultat = json::parse(client.lire(PATIENCE));
    client.finir(PATIENCE);
    serveur.finir(PATIENCE);

    const std::int64_t fin = mesure.rappel ? resultat["fin_ns"].get<std::int64_t>() : recu;
    resultat["debit"] = nombre / (static_cast<double>(fin - resultat["debut_ns"].get<std::int64_t>()) / 1e9);
    resultat.erase("debut_ns");
    resultat.erase("fin_ns");
    resultat["nombre"] = nombre;
    return resultat;
}

// ---- Figures

double mediane(std::vector<double> valeurs)
{
    std::sort(valeurs.begin(), valeurs.end());
    const std::size_t milieu = valeurs.size() / 2;
    return valeurs.size() % 2 == 1 ? valeurs[milieu] : (valeurs[milieu - 1] + valeurs[milieu]) / 2;
}

/// All runs, by measure and system, in the order of the rounds.
class Resultats
{
  public:
    void ajouter(const Mesure& mesure, const Systeme& systeme, const json& resultat)
    {
        _lignes[{mesure.nom, mesure.x, systeme.nom}].push_back(resultat);
    }

    std::vector<double> valeurs(const Mesure& mesure, const std::string& systeme,
                                const std::string& grandeur) const
    {
        std::vector<double> toutes;
        if (const auto lignes = _lignes.find({mesure.nom, mesure.x, systeme}); lignes != _lignes.end())
            for (const json& ligne : lignes->second)
                toutes.push_back(ligne.at(grandeur).get<double>());
        return toutes;
    }

    /// Median, and from least to most.
    std::string texte(const Mesure& mesure, const std::string& systeme, const std::string& grandeur,
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

    /// The library's figure over the other system's: the median of the rounds' ratios.
    std::optional<double> rapport(const Mesure& mesure, const std::string& systeme,
                                  const std::string& grandeur) const
    {
        const std::vector<double> notres = valeurs(mesure, FACADE, grandeur),
                                  siens = valeurs(mesure, systeme, grandeur);
        std::vector<double> rapports;
        for (std::size_t tour = 0; tour < std::min(notres.size(), siens.size()); ++tour)
            rapports.push_back(notres[tour] / siens[tour]);
        return rapports.empty() ? std::nullopt : std::optional(mediane(rapports));
    }

    std::string texteRapport(const Mesure& mesure, const std::string& systeme,
                             const std::string& grandeur) const
    {
        const auto valeur = rapport(mesure, systeme, grandeur);
        return valeur ? nombre(*valeur, 2) : "-";
    }

    static std::string nombre(double valeur, int decimales)
    {
        char texte[64];
        std::snprintf(texte, sizeof texte, "%.*f", decimales, valeur);
        return texte;
    }

  private:
    std::map<std::tuple<std::string, int, std::string>, std::vector<json>> _lignes;
};

void ecrireLigne(const Arguments& cellules)
{
    for (const std::string& cellule : cellules)
        std::cout << "| " << cellule << ' ';
    std::cout << "|\n";
}

void ecrireEntete(const std::string& titre, const Arguments& cellules)
{
    std::cout << "\n### " << titre << "\n\n";
    ecrireLigne(cellules);
    ecrireLigne(Arguments(cellules.size(), "---"));
}

void ecrireComparaison(const Resultats& resultats, const Mesure& mesure)
{
    Arguments entete = {"System", "k records/s", "client CPU, us/record", "rate, ours / it",
                        "CPU, ours / it"};
    if (mesure.rappel)
        entete.insert(entete.end(), {"p50, us", "p99, us", "p50, ours / it", "p99, ours / it"});
    ecrireEntete(mesure.titre, entete);
    for (const Systeme& systeme : systemes()) {
        if (resultats.valeurs(mesure, systeme.nom, "debit").empty())
            continue;
        Arguments ligne = {systeme.titre, resultats.texte(mesure, systeme.nom, "debit", 1000, 1),
                           resultats.texte(mesure, systeme.nom, "cpu_us", 1, 2),
                           resultats.texteRapport(mesure, systeme.nom, "debit"),
                           resultats.texteRapport(mesure, systeme.nom, "cpu_us")};
        if (mesure.rappel)
            ligne.insert(ligne.end(), {resultats.texte(mesure, systeme.nom, "p50_us", 1, 0),
                                       resultats.texte(mesure, systeme.nom, "p99_us", 1, 0),
                                       resultats.texteRapport(mesure, systeme.nom, "p50_us"),
                                       resultats.texteRapport(mesure, systeme.nom, "p99_us")});
        ecrireLigne(ligne);
    }
}

void ecrireMemoire(const Resultats& resultats, const Mesure& mesure)
{
    ecrireEntete(mesure.titre, {"Notifications", "after a tenth, MiB", "at the end, MiB", "peak, MiB"});
    ecrireLigne({resultats.texte(mesure, FACADE, "nombre", 1, 0),
                 resultats.texte(mesure, FACADE, "memoire_dixieme_ko", 1024, 1),
                 resultats.texte(mesure, FACADE, "memoire_fin_ko", 1024, 1),
                 resultats.texte(mesure, FACADE, "memoire_max_ko", 1024, 1)});
}

void ecrireCourbes(const Resultats& resultats, const std::vector<Mesure>& mesures)
{
    std::string courbe;
    for (const Mesure& mesure : mesures) {
        if (mesure.courbe.empty())
            continue;
        if (mesure.courbe != courbe)
            ecrireEntete("Against: " + mesure.titre, {mesure.titre, "libOXcdvCli, k records/s",
                                                      "client CPU, us", "omniORB ready, k records/s",
                                                      "client CPU, us", "rate, ours / it", "CPU, ours / it"});
        courbe = mesure.courbe;
        ecrireLigne({std::to_string(mesure.x), resultats.texte(mesure, FACADE, "debit", 1000, 1),
                     resultats.texte(mesure, FACADE, "cpu_us", 1, 2),
                     resultats.texte(mesure, ORB_PRET, "debit", 1000, 1),
                     resultats.texte(mesure, ORB_PRET, "cpu_us", 1, 2),
                     resultats.texteRapport(mesure, ORB_PRET, "debit"),
                     resultats.texteRapport(mesure, ORB_PRET, "cpu_us")});
    }
}

void ecrireObjectifs(const Resultats& resultats, const std::vector<Mesure>& mesures)
{
    ecrireEntete("Objectives", {"Ours to theirs", "wanted", "measured", "reached"});
    for (const Objectif& objectif : objectifs()) {
        const auto mesure = std::find_if(mesures.begin(), mesures.end(),
                                         [&](const Mesure& une) { return une.nom == objectif.mesure; });
        if (mesure == mesures.end())
            continue;
        const auto rapport = resultats.rapport(*mesure, objectif.contre, objectif.grandeur);
        if (!rapport)
            continue;
        const bool atteint = objectif.auPlus ? *rapport <= objectif.borne : *rapport >= objectif.borne;
        ecrireLigne({objectif.texte, (objectif.auPlus ? "<= " : ">= ") + Resultats::nombre(objectif.borne, 2),
                     Resultats::nombre(*rapport, 2), atteint ? "yes" : "no"});
    }
}

// ---- The program

struct Options
{
    int tours = 7;
    int nombre = 100000;
    int occupation = 15;
    bool court = false, sansCourbes = false, liste = false;
    Arguments systemes, mesures;
    std::string jsonl;
};

bool retenu(const Arguments& choix, const std::string& nom)
{
    return choix.empty() || std::find(choix.begin(), choix.end(), nom) != choix.end();
}

int comparer(const Options& options)
{
    std::vector<Systeme> presents;
    std::string absent;
    for (const Systeme& systeme : systemes()) {
        if (!retenu(options.systemes, systeme.nom))
            continue;
        if (estConstruit(systeme))
            presents.push_back(systeme);
        else if (std::exchange(absent, systeme.client) != systeme.client)
            std::cerr << "Skipped: " << systeme.client << " is not built (" << systeme.paquets << ")"
                      << std::endl;
    }
    std::vector<Mesure> choisies;
    for (const Mesure& mesure : mesures(options.occupation, !options.sansCourbes))
        if (retenu(options.mesures, mesure.nom))
            choisies.push_back(mesure);

    std::ofstream jsonl;
    if (!options.jsonl.empty()) {
        jsonl.open(options.jsonl);
        if (!jsonl)
            throw std::runtime_error(options.jsonl + " cannot be written");
    }

    constexpr char EFFACER[] = "\r\033[K";
    const bool surEcran = isatty(STDERR_FILENO) != 0;
    Resultats resultats;
    int echecs = 0;
    for (int tour = 1; tour <= options.tours; ++tour)
        for (const Mesure& mesure : choisies)
            for (const Systeme& systeme : presents) {
                if ((mesure.uneFois && tour > 1) || (mesure.rappel && !systeme.rappelle) ||
                    !retenu(mesure.seulement, systeme.nom))
                    continue;
                json ligne = {{"mesure", mesure.nom}, {"systeme", systeme.nom}, {"tour", tour}};
                if (!mesure.courbe.empty())
                    ligne["x"] = mesure.x;
                if (options.liste) {
                    std::cout << ligne << '\n';
                    continue;
                }
                const int nombre = std::max(1, static_cast<int>(options.nombre * mesure.part));
                if (surEcran)
                    std::cerr << EFFACER << "Round " << tour << " of " << options.tours << ": " << mesure.nom
                              << ' ' << (mesure.courbe.empty() ? "" : std::to_string(mesure.x) + ' ')
                              << systeme.nom << std::flush;
                try {
                    const json resultat = executer(mesure, systeme, nombre);
                    resultats.ajouter(mesure, systeme, resultat);
                    ligne.update(resultat);
                    jsonl << ligne << std::endl;
                } catch (const std::exception& erreur) {
                    std::cerr << (surEcran ? EFFACER : "") << "Failed: " << mesure.nom << ' ' << systeme.nom
                              << ", round " << tour << ": " << erreur.what() << std::endl;
                    ++echecs;
                }
            }
    if (options.liste)
        return EXIT_SUCCESS;

    if (surEcran)
        std::cerr << EFFACER;
    std::cout
        << "Medians of " << options.tours << " interleaved rounds of " << options.nombre
        << " records and less (least..most), " << std::thread::hardware_concurrency()
        << " cores, each client and each server a process of its own on the loopback.\n"
        << "Absolute figures depend on the machine and its load; only the ratios within one run count.\n";
    for (const Mesure& mesure : choisies)
        if (mesure.nom == MEMOIRE)
            ecrireMemoire(resultats, mesure);
        else if (mesure.courbe.empty())
            ecrireComparaison(resultats, mesure);
    ecrireObjectifs(resultats, choisies);
    ecrireCourbes(resultats, choisies);
    if (echecs > 0)
        std::cerr << echecs << " runs failed." << std::endl;
    return echecs == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App application(
        "Compares the library with the bare ORB and with other transports, interleaved in one run.");
    const auto* tours =
        application.add_option("--tours", options.tours, "rounds (7)")->check(CLI::PositiveNumber);
    const auto* nombre =
        application.add_option("--nombre", options.nombre, "records of the longest measures (100000)")
            ->check(CLI::PositiveNumber);
    application.add_flag("--court", options.court, "3 rounds of 10000 records: about two minutes");
    application.add_option("--occupation", options.occupation, "us a record, of the busy server (15)");
    application.add_option(
        "--systemes", options.systemes, "only these: " + [] {
            std::string noms;
            for (const Systeme& systeme : systemes())
                noms += (noms.empty() ? "" : " ") + systeme.nom;
            return noms;
        }());
    application.add_option(
        "--mesures", options.mesures,
        "only these: envoi envoi_occupe rappel_64 rappel_1 memoire champs longueur en-vol fils");
    application.add_flag("--sans-courbes", options.sansCourbes,
                         "no measures against size, flight and threads");
    application.add_option("--jsonl", options.jsonl,
                           "file for the figures of every run, one JSON object a line");
    application.add_flag("--liste", options.liste, "only say what would be run, one JSON object a line");
    CLI11_PARSE(application, argc, argv);
    if (options.court) {
        options.tours = tours->count() > 0 ? options.tours : 3;
        options.nombre = nombre->count() > 0 ? options.nombre : 10000;
    }
    signal(SIGPIPE, SIG_IGN); // a process that dies is seen by what it no longer says
    try {
        return comparer(options);
    } catch (const std::exception& erreur) {
        std::cerr << "comparer: " << erreur.what() << std::endl;
        return EXIT_FAILURE;
    }
}
