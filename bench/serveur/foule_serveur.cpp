// What a client that consults waits for, among many: one that imports all the time, twenty that consult and
// change, and, half of the time, a listing read slowly and another one that is not read at all. Each client
// is a process, behind the session layer.
#include "../mesure.h"
#include "ServeurMesure.h"

#include "CdvSession.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <map>
#include <optional>
#include <random>

namespace {

using bench::exiger;
using nlohmann::json;
constexpr std::chrono::seconds PATIENCE{3600}; // a million records, on a slow disk
constexpr std::chrono::milliseconds PAUSE{20}; // of a client between two requests, half as much more or less
constexpr double RAPPORT_VOULU = 1.5;

struct Options
{
    int nombre = 1000000;
    int clients = 20;
    int tours = 4;
    int duree = 10; ///< s, of a phase
    int debitLent = 400;
    std::string serveur = OXCDV_CDV_SERVEUR;
    std::string base;
    std::string dossier = std::filesystem::temp_directory_path().string();
    std::string jsonl;
    std::string role; ///< of a client; empty: the driver
    std::string noyau;
    unsigned numero = 0;
};

cdv::Vol vol(unsigned numero)
{
    char identifiant[16];
    // Not in the order of the keys, as flights are not.
    std::snprintf(identifiant, sizeof identifiant, "V%08x", numero * 2654435761u);
    return std::move(cdv::Vol().ecrire(cdv::Champ::gidentifiant, identifiant));
}

// ---- A client: what the driver says comes as lines; its end is the client's

/// Waits at most for that long.
std::optional<std::string> commande(std::chrono::milliseconds attente)
{
    pollfd entree{STDIN_FILENO, POLLIN, 0};
    std::string ligne;
    if (poll(&entree, 1, static_cast<int>(attente.count())) == 0)
        return std::nullopt;
    return std::getline(std::cin, ligne) ? ligne : "FIN";
}

void consulter(cdv::Session& session, const Options& options)
{
    std::mt19937 hasard(options.numero);
    std::uniform_int_distribution<int> pause(static_cast<int>(PAUSE.count()) / 2,
                                             static_cast<int>(PAUSE.count()) * 3 / 2);
    std::vector<std::int64_t> durees; // us
    bench::dire("PRET");
    for (unsigned demande = 0;; ++demande) {
        const auto mot = commande(std::chrono::milliseconds(pause(hasard)));
        if (mot == "FIN")
            return;
        if (mot == "MESURE")
            durees.clear();
        if (mot == "DIRE")
            bench::dire(json(durees).dump());
        cdv::Vol cible = vol(hasard() % static_cast<unsigned>(options.nombre));
        const std::int64_t debut = bench::maintenant();
        const bool modifie = demande % 10 == 9;
        if (modifie)
            cible.ecrire(cdv::Champ::gparking, "B" + std::to_string(demande));
        const cdv::Resultat resultat = (modifie ? session.modifier(cible) : session.consulter(cible)).get();
        exiger(bool(resultat), "a request: " + resultat.texte());
        if (!modifie)
            durees.push_back((bench::maintenant() - debut) / 1000);
    }
}

void importer(cdv::Session& session, const Options& options)
{
    std::mutex mutex;
    std::condition_variable retour;
    int enVol = 0;
    unsigned crees = 0, refuses = 0;
    const auto creer = [&](unsigned numero, int places) {
        cdv::Vol nouveau = vol(numero);
        for (int champ = 1; champ <= 30; ++champ)
            nouveau.ecrire(static_cast<cdv::Champ>(champ), "ABCDEFGH");
        std::unique_lock<std::mutex> verrou(mutex);
        retour.wait(verrou, [&] { return enVol < places; });
        ++enVol;
        verrou.unlock();
        session.creer(nouveau, [&](const cdv::Resultat& resultat) {
            const std::lock_guard<std::mutex> pris(mutex);
            ++(resultat ? crees : refuses);
            --enVol;
            retour.notify_one();
        });
    };
    unsigned numero = 0;
    while (numero < static_cast<unsigned>(options.nombre))
        creer(numero++, 2000);
    bench::dire("PRET");
    for (unsigned avant = 0;; creer(numero++, 64)) {
        const auto mot = numero % 64 == 0 ? commande(std::chrono::milliseconds(0)) : std::nullopt;
        const std::lock_guard<std::mutex> verrou(mutex);
        exiger(refuses == 0, std::to_string(refuses) + " creations refused");
        if (mot == "FIN")
            break;
        if (mot == "MESURE")
            avant = crees;
        if (mot == "DIRE")
            bench::dire(json(crees - avant).dump());
    }
    session.fermer(); // nothing comes any more to what stands above
}

/// debit: records a second; 0: the first one alone.
void lister(cdv::Session& session, int debit)
{
    cdv::Flux flux = session.parcourir(cdv::Vol(), 1000);
    exiger(flux.suivant().has_value(), "nothing to list");
    bench::dire("PRET");
    std::int64_t lus = 0;
    const std::int64_t debut = bench::maintenant();
    while (!commande(std::chrono::milliseconds(debit > 0 ? 10 : -1)))
        for (; lus < (bench::maintenant() - debut) * debit / 1000000000; ++lus)
            if (!flux.suivant())
                throw std::runtime_error("the listing ended: " + flux.resultat().texte());
}

void etreClient(const Options& options)
{
    orix::Configuration configuration;
    configuration[orix::cle::routage]["cdv"] = {options.noyau};
    configuration[orix::cle::niveauTrace] = 0;
    const cdv::Processus processus(configuration);
    cdv::Options reglages;
    reglages.delaiRequete = std::chrono::minutes(2);
    cdv::Session session(reglages);
    if (options.role == "importer")
        importer(session, options);
    else if (options.role == "consulter")
        consulter(session, options);
    else
        lister(session, options.role == "lent" ? options.debitLent : 0);
}

// ---- The driver

/// What was seen in all the phases of one kind.
struct Bilan
{
    std::vector<std::int64_t> durees; // us
    std::int64_t crees = 0;
    double processeur = 0;                   // us, of the server
    long memoire = 0, fils = 0, journal = 0; // at most: KiB, threads, octets

    double centile(double proportion) ///< ms
    {
        exiger(!durees.empty(), "no consultation at all");
        const auto rang = static_cast<std::size_t>(proportion * static_cast<double>(durees.size() - 1));
        std::nth_element(durees.begin(), durees.begin() + static_cast<std::ptrdiff_t>(rang), durees.end());
        return static_cast<double>(durees[rang]) / 1000;
    }
};

class Foule
{
  public:
    explicit Foule(const Options& options)
        : _options(options),
          _dossier(options.dossier),
          _serveur(options.serveur, options.base.empty() ? _dossier.base() : options.base)
    {
        _clients.push_back(_client("importer")); // first of all: the records
        for (int i = 0; i < options.clients; ++i)
            _clients.push_back(_client("consulter"));
    }

    Bilan sans, avec;

    void mesurer()
    {
        for (int tour = 0; tour < _options.tours; ++tour) {
            _phase(sans);
            const auto lent = _client("lent"), arrete = _client("arrete");
            _phase(avec);
        }
    }

  private:
    std::unique_ptr<bench::Processus> _client(const std::string& role)
    {
        auto client = std::make_unique<bench::Processus>(std::vector<std::string>{
            "/proc/self/exe", "--role", role, "--noyau", _serveur.noyau(), "--nombre",
            std::to_string(_options.nombre), "--numero", std::to_string(_clients.size())});
        client->attendre("PRET", PATIENCE);
        return client;
    }
    void _phase(Bilan& bilan)
    {
        _serveur.usage().oublierMaximum();
        bilan.processeur -= _serveur.usage().processeur();
        for (const auto& client : _clients)
            client->dire("MESURE");
        const auto fin = std::chrono::steady_clock::now() + std::chrono::seconds(_options.duree);
        while (std::chrono::steady_clock::now() < fin) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100)); // between two looks
            bilan.fils = std::max(bilan.fils, _serveur.usage().fils());
            std::error_code absent;
            const auto journal = std::filesystem::file_size(_dossier.base() + "-wal", absent);
            bilan.journal = std::max(bilan.journal, absent ? 0 : static_cast<long>(journal));
        }
        bilan.processeur += _serveur.usage().processeur();
        bilan.memoire = std::max(bilan.memoire, _serveur.usage().maximum());
        for (const auto& client : _clients) {
            client->dire("DIRE");
            const json dit = json::parse(client->lire(PATIENCE));
            if (dit.is_number())
                bilan.crees += dit.get<std::int64_t>();
            else
                for (const std::int64_t duree : dit)
                    bilan.durees.push_back(duree);
        }
    }

    const Options& _options;
    const bench::DossierBase _dossier;
    const bench::Serveur _serveur;
    std::vector<std::unique_ptr<bench::Processus>> _clients;
};

json ligne(const std::string& nom, Bilan& bilan, const Options& options)
{
    const double secondes = options.tours * options.duree;
    return {{"mesure", nom},
            {"vols", options.nombre},
            {"consultations", static_cast<double>(bilan.durees.size()) / secondes},
            {"creations", static_cast<double>(bilan.crees) / secondes},
            {"p50_ms", bilan.centile(0.5)},
            {"p99_ms", bilan.centile(0.99)},
            {"processeur", bilan.processeur / 1e6 / secondes},
            {"memoire_max_ko", bilan.memoire},
            {"journal_max", bilan.journal},
            {"fils_max", bilan.fils}};
}

void mesurer(const Options& options)
{
    Foule foule(options);
    foule.mesurer();
    const std::vector<json> lignes{ligne("without listings", foule.sans, options),
                                   ligne("with a slow and a stalled listing", foule.avec, options)};
    std::ofstream jsonl(options.jsonl);
    std::printf(
        "### The reference server, many clients\n\n"
        "%s, %d records and more: one client imports, 64 creations in flight, %d consult at random (every "
        "tenth request is a change), each\npausing %d ms between two; a listing of all is read at %d "
        "records/s, another one not at all. %d phases of %d s of each kind, interleaved.\n\n"
        "| Phases | consultations/s | p50, ms | p99, ms | imported/s | server: processors | MiB at most | "
        "log, MiB | "
        "threads |\n| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n",
        options.base.empty() ? "SQLite" : "PostgreSQL", options.nombre, options.clients,
        static_cast<int>(PAUSE.count()), options.debitLent, options.tours, options.duree);
    for (const json& l : lignes) {
        jsonl << l << std::endl;
        std::printf("| %s | %.0f | %.2f | %.2f | %.0f | %.2f | %.1f | %.1f | %ld |\n",
                    l["mesure"].get<std::string>().c_str(), l["consultations"].get<double>(),
                    l["p50_ms"].get<double>(), l["p99_ms"].get<double>(), l["creations"].get<double>(),
                    l["processeur"].get<double>(), l["memoire_max_ko"].get<double>() / 1024,
                    l["journal_max"].get<double>() / 1048576, l["fils_max"].get<long>());
    }
    for (const char* centile : {"p50", "p99"}) {
        const std::string cle = std::string(centile) + "_ms";
        const double rapport = lignes[1][cle].get<double>() / lignes[0][cle].get<double>();
        std::printf("%s%s with the listings / without: %.2f (wanted <= %.1f: %s)",
                    centile[1] == '5' ? "\n" : "; ", centile, rapport, RAPPORT_VOULU,
                    rapport <= RAPPORT_VOULU ? "yes" : "no");
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App application(
        "Measures what consultations of cdv-serveur wait for, among many clients, with and without "
        "listings that are read slowly or not at all.");
    application.add_option("--nombre", options.nombre, "records (1000000)")
        ->check(CLI::Range(1000, 100000000));
    application.add_option("--clients", options.clients, "that consult and change (20)")
        ->check(CLI::Range(1, 190));
    application.add_option("--tours", options.tours, "phases of each kind (4)")->check(CLI::PositiveNumber);
    application.add_option("--duree", options.duree, "s of a phase (10)")->check(CLI::PositiveNumber);
    application.add_option("--serveur", options.serveur, "the program to measure (the one of this build)");
    application.add_option(
        "--base", options.base,
        "an empty database of PostgreSQL, postgresql://... (a file of SQLite's in --dossier)");
    application.add_option("--dossier", options.dossier,
                           "where the database is made and removed: on a disk, not in memory (the system's "
                           "temporary folder)");
    application.add_option("--jsonl", options.jsonl, "file for the figures, one JSON object a line");
    application.add_option("--role", options.role)->group("");
    application.add_option("--noyau", options.noyau)->group("");
    application.add_option("--numero", options.numero)->group("");
    CLI11_PARSE(application, argc, argv);
    signal(SIGPIPE, SIG_IGN); // who dies is seen by what it no longer says
    try {
        options.role.empty() ? mesurer(options) : etreClient(options);
        return EXIT_SUCCESS;
    } catch (const std::exception& erreur) {
        std::cerr << "foule_serveur: " << options.role << ' ' << erreur.what() << std::endl;
    }
    return EXIT_FAILURE;
}
