// Runs the library and its peers, each with a client and a server process of its own, one after another in
// every round, and compares them. Says in the table what it measured, and in JSON lines every single run.
#include "Execution.h"
#include "Tableaux.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <thread>

namespace {

using namespace comparaison;
using nlohmann::json;

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

std::vector<Systeme> choisirSystemes(const Arguments& choix)
{
    std::vector<Systeme> presents;
    std::string absent;
    for (const Systeme& systeme : systemes()) {
        if (!retenu(choix, systeme.nom))
            continue;
        if (estConstruit(systeme))
            presents.push_back(systeme);
        else if (std::exchange(absent, systeme.client) != systeme.client)
            std::cerr << "Skipped: " << systeme.client << " is not built (" << systeme.paquets << ")"
                      << std::endl;
    }
    return presents;
}

std::vector<Mesure> choisirMesures(const Options& options)
{
    std::vector<Mesure> choisies;
    for (const Mesure& mesure : mesures(options.occupation, !options.sansCourbes))
        if (retenu(options.mesures, mesure.nom))
            choisies.push_back(mesure);
    return choisies;
}

/// One run of many: what, of whom, in which round.
struct Passage
{
    const Mesure& mesure;
    const Systeme& systeme;
    int tour;

    /// How its line of JSON begins.
    json ligne() const
    {
        json debut = {{"mesure", mesure.nom}, {"systeme", systeme.nom}, {"tour", tour}};
        if (!mesure.courbe.empty())
            debut["x"] = mesure.x;
        return debut;
    }
};

/// All of them, interleaved: every round has each measure of each system that takes part in it.
std::vector<Passage> passages(const std::vector<Mesure>& mesures, const std::vector<Systeme>& systemes,
                              int tours)
{
    std::vector<Passage> tous;
    for (int tour = 1; tour <= tours; ++tour)
        for (const Mesure& mesure : mesures)
            for (const Systeme& systeme : systemes)
                if ((!mesure.uneFois || tour == 1) && (!mesure.rappel || systeme.rappelle) &&
                    retenu(mesure.seulement, systeme.nom))
                    tous.push_back({mesure, systeme, tour});
    return tous;
}

/// Says where it is on a screen, in one line that it takes back.
class Avancement
{
  public:
    explicit Avancement(int tours) : _tours(tours) {}

    void dire(const Passage& passage) const
    {
        const Mesure& mesure = passage.mesure;
        if (_surEcran)
            std::cerr << EFFACER << "Round " << passage.tour << " of " << _tours << ": " << mesure.nom << ' '
                      << (mesure.courbe.empty() ? "" : std::to_string(mesure.x) + ' ') << passage.systeme.nom
                      << std::flush;
    }
    void effacer() const
    {
        if (_surEcran)
            std::cerr << EFFACER;
    }

  private:
    static constexpr char EFFACER[] = "\r\033[K";
    const int _tours;
    const bool _surEcran = isatty(STDERR_FILENO) != 0;
};

int comparer(const Options& options)
{
    const std::vector<Systeme> presents = choisirSystemes(options.systemes);
    const std::vector<Mesure> choisies = choisirMesures(options);
    const std::vector<Passage> tous = passages(choisies, presents, options.tours);
    if (options.liste) {
        for (const Passage& passage : tous)
            std::cout << passage.ligne() << '\n';
        return EXIT_SUCCESS;
    }

    std::ofstream jsonl;
    if (!options.jsonl.empty()) {
        jsonl.open(options.jsonl);
        if (!jsonl)
            throw std::runtime_error(options.jsonl + " cannot be written");
    }

    const Avancement avancement(options.tours);
    Resultats resultats;
    int echecs = 0;
    for (const Passage& passage : tous) {
        const auto& [mesure, systeme, tour] = passage;
        avancement.dire(passage);
        try {
            const json resultat =
                executer(mesure, systeme, std::max(1, static_cast<int>(options.nombre * mesure.part)));
            resultats.ajouter(mesure, systeme, resultat);
            json ligne = passage.ligne();
            ligne.update(resultat);
            jsonl << ligne << std::endl;
        } catch (const std::exception& erreur) {
            avancement.effacer();
            std::cerr << "Failed: " << mesure.nom << ' ' << systeme.nom << ", round " << tour << ": "
                      << erreur.what() << std::endl;
            ++echecs;
        }
    }
    avancement.effacer();
    std::cout
        << "Medians of " << options.tours << " interleaved rounds of " << options.nombre
        << " records and less (least..most), " << std::thread::hardware_concurrency()
        << " cores, each client and each server a process of its own on the loopback.\n"
        << "Absolute figures depend on the machine and its load; only the ratios within one run count.\n";
    ecrireTableaux(resultats, choisies);
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
    application.add_option("--mesures", options.mesures,
                           "only these: envoi envoi_occupe rappel_64 rappel_1 en-vol, each also with _charge "
                           "(a process a processor spins "
                           "beside it); memoire champs longueur fils");
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
