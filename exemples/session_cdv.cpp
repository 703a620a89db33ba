// A complete application of the cdv service: it creates the flights of a CSV file, lists those of one
// operator, changes and consults one, survives the loss of its server, deletes one, and leaves.
//
//     session_cdv CONFIGURATION.toml FLIGHTS.csv [--operator AFR] [--kill-server PID]
//
// --kill-server: in the middle, send SIGKILL to that process (the first server), to show what happens next.
// Exit status: 0 when every answer was the expected one, 1 when one was not, 2 for a wrong command line or
// file.
#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "OXvol_completDataChamps.h"
#include "orix/OXchaine.h"
#include "orix/Processus.h"

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds PATIENCE{30};

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- What the callbacks leave for the main thread

struct Outcome
{
    int code = -1;                        ///< the server's
    std::string dump;                     ///< of a consulted record
    std::vector<std::string> identifiers; ///< of the records of a listing
    bool done = false;
};

// The callbacks run on the library's callback thread, possibly before the request call has returned its
// number: an outcome is filed under its number, whether or not anybody waits for it yet.
std::mutex s_mutex;
std::condition_variable s_news;
std::map<int, Outcome> s_outcomes;
int s_finished = 0;
int s_activation = -1;
int s_disconnection = -1;

template <class Change>
void note(Change change)
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    change();
    s_news.notify_all();
}

void finish(int idOp, int code)
{
    note([=] {
        Outcome& outcome = s_outcomes[idOp];
        outcome.code = code;
        outcome.done = true;
        ++s_finished;
    });
}

template <class Condition>
void await(const char* what, Condition condition)
{
    std::unique_lock<std::mutex> lock(s_mutex);
    if (!s_news.wait_for(lock, PATIENCE, condition))
        throw std::runtime_error(std::string("nothing came of ") + what);
}

Outcome awaitOutcome(const char* what, int idOp)
{
    await(what, [=] { return s_outcomes[idOp].done; });
    const std::lock_guard<std::mutex> lock(s_mutex);
    return s_outcomes[idOp];
}

} // namespace

// ---- The application's side of the service

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char* serveur, const char* machine)
{
    if (statut == orix::OXS_OK)
        std::cout << "Active on server " << serveur << " of machine " << machine << ".\n";
    note([=] { s_activation = statut; });
}

void OXcdvCliCB::deconnexionCB(orix::OXstatut statut)
{
    note([=] { s_disconnection = statut; });
}

void OXcdvCliCB::cree_vol_completCB(int nResuVarda, OXvol_completData*, int nIdOp)
{
    finish(nIdOp, nResuVarda);
}

void OXcdvCliCB::modifie_vol_completCB(int nResuVarda, OXvol_completData*, int nIdOp)
{
    finish(nIdOp, nResuVarda);
}

void OXcdvCliCB::supprime_vol_completCB(int nResuVarda, int nIdOp) { finish(nIdOp, nResuVarda); }

void OXcdvCliCB::consulte_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    std::ostringstream dump; // the record dies with this call: keep what is wanted of it
    if (nResuVarda == 0)
        dump << *vol;
    note([&] { s_outcomes[nIdOp].dump = dump.str(); });
    finish(nIdOp, nResuVarda);
}

void OXcdvCliCB::liste_vol_completCB(OXvol_completData* vol, int nIdOp)
{
    note([=] { s_outcomes[nIdOp].identifiers.emplace_back(vol->lire_gidentifiant()); });
}

void OXcdvCliCB::fin_liste_vol_completCB(int nResuVarda, int nIdOp) { finish(nIdOp, nResuVarda); }

namespace {

// ---- Flights from a CSV file

/// One flight: text fields by their name without "m_g". The value of an unset field is absent.
using Flight = std::map<std::string, std::string>;

using Writer = void (OXvol_completData::*)(char*);

/// The writer of each text field, by the field's name without "m_g".
const std::map<std::string, Writer>& writers()
{
    static const std::map<std::string, Writer> byName = [] {
        std::map<std::string, Writer> writers;
#define TEXT_FIELD(nom) writers[std::string(#nom).substr(1)] = &OXvol_completData::ecrire_##nom;
#define OTHER_FIELD(nom)
        OXVOL_COMPLET_CHAMPS(TEXT_FIELD, OTHER_FIELD)
#undef TEXT_FIELD
#undef OTHER_FIELD
        return writers;
    }();
    return byName;
}

std::vector<std::string> cells(const std::string& line)
{
    std::vector<std::string> result;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');)
        result.push_back(cell);
    return result;
}

std::vector<Flight> readFlights(const std::string& file)
{
    std::ifstream stream(file);
    std::string line;
    if (!std::getline(stream, line))
        throw std::invalid_argument(file +
                                    ": cannot be read, or is empty; a CSV file with a header is expected");
    const std::vector<std::string> header = cells(line);
    for (const std::string& name : header)
        if (writers().count(name) == 0)
            throw std::invalid_argument(file + ":1: '" + name + "' is not a text field of the flight record");

    std::vector<Flight> flights;
    for (int number = 2; std::getline(stream, line); ++number) {
        const std::vector<std::string> values = cells(line);
        if (values.size() > header.size())
            throw std::invalid_argument(file + ":" + std::to_string(number) +
                                        ": more cells than the header has");
        Flight flight;
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!values[i].empty())
                flight[header[i]] = values[i];
        flights.push_back(flight);
    }
    return flights;
}

/// The record takes over each value: it wants strings of its own, allocated as OXdupliqueChaine does.
void fill(OXvol_completData& record, const Flight& flight)
{
    for (const auto& [name, value] : flight)
        (record.*writers().at(name))(OXdupliqueChaine(value.c_str()));
}

// ---- The session

using Request = orix::OXstatut (*)(OXvol_completData*, int&);

int send(Request request, const Flight& flight)
{
    OXvol_completData record;
    fill(record, flight);
    int idOp = 0;
    const orix::OXstatut status = request(&record, idOp);
    if (status != orix::OXS_OK)
        throw std::runtime_error(std::string("a request was refused with ") + orix::texteStatut(status));
    return idOp;
}

void expect(bool condition, const std::string& what)
{
    if (!condition)
        throw std::runtime_error(what);
}

/// Activates, on the other server when the current one does not answer.
void activate()
{
    char service[] = "cdv";
    const auto end = Clock::now() + PATIENCE;
    for (;;) {
        note([] { s_activation = -1; });
        const orix::OXstatut status = OXcdvCliItf::active(service);
        if (status == orix::OXS_OK) {
            await("the activation", [] { return s_activation != -1; });
            if (s_activation == orix::OXS_OK)
                return;
        } else if (status != orix::OXS_CONNEXION_IMPOSSIBLE && status != orix::OXS_ERREUR_CORBA) {
            throw std::runtime_error(std::string("the activation was refused with ") +
                                     orix::texteStatut(status));
        }
        expect(Clock::now() < end, "no server answers");
        std::cout << "The server does not answer: the other one is tried.\n";
    }
}

void createAll(const std::vector<Flight>& flights)
{
    const auto start = Clock::now();
    std::vector<int> numbers;
    numbers.reserve(flights.size());
    for (const Flight& flight : flights)
        numbers.push_back(send(&OXcdvCliItf::cree_vol_complet, flight));
    await("the creations", [&] { return s_finished >= static_cast<int>(flights.size()); });
    const double seconds = secondsSince(start);
    for (const int number : numbers)
        expect(awaitOutcome("a creation", number).code == 0, "a creation was not done");
    std::cout << "Created " << flights.size() << " flights in " << seconds << " s ("
              << std::lround(static_cast<double>(flights.size()) / seconds)
              << " records/s), each acknowledged.\n";
}

std::vector<std::string> list(const Flight& example)
{
    const Outcome outcome = awaitOutcome("the listing", send(&OXcdvCliItf::liste_vol_complet, example));
    expect(outcome.code == 0, "the listing was not done");
    return outcome.identifiers;
}

void listOperator(const std::vector<Flight>& flights, const std::string& airline)
{
    std::set<std::string> expected;
    for (const Flight& flight : flights)
        if (const auto field = flight.find("exploitant_1"); field != flight.end() && field->second == airline)
            expected.insert(flight.at("identifiant"));
    const std::vector<std::string> found = list({{"exploitant_1", airline}});
    expect(std::set<std::string>(found.begin(), found.end()) == expected && found.size() == expected.size(),
           "the listing of " + airline + " is not what was created");
    std::cout << "Listed the " << found.size() << " flights of operator " << airline << ", as created.\n";
}

void modifyAndConsult(const Flight& flight)
{
    const std::string& id = flight.at("identifiant");
    const Flight change{{"identifiant", id}, {"parking", "Z99"}};
    expect(awaitOutcome("the change", send(&OXcdvCliItf::modifie_vol_complet, change)).code == 0,
           "the change was not done");
    const Outcome consulted =
        awaitOutcome("the consultation", send(&OXcdvCliItf::consulte_vol_complet, {{"identifiant", id}}));
    expect(consulted.code == 0 && consulted.dump.find("m_gparking v3.0.0 : <Z99>") != std::string::npos,
           "the consulted flight does not have its new stand");
    std::cout << "Moved flight " << id << " to stand Z99. Consulted, it reads:\n" << consulted.dump;
}

void loseServer(pid_t server)
{
    std::cout << "Killing the first server (process " << server << ")." << std::endl;
    const auto death = Clock::now();
    expect(kill(server, SIGKILL) == 0, "the server could not be killed");
    await("the loss of the server", [] { return s_disconnection != -1; });
    std::cout << "Loss detected after " << secondsSince(death) << " s (" << orix::texteStatut(s_disconnection)
              << ").\n";
    activate();
    std::cout << "Active again " << secondsSince(death) << " s after the server's death.\n";
}

void run(const std::vector<Flight>& flights, const std::string& airline, pid_t serverToKill)
{
    activate();
    createAll(flights);
    listOperator(flights, airline);
    modifyAndConsult(flights.front());

    if (serverToKill > 0)
        loseServer(serverToKill);

    const auto start = Clock::now();
    const std::size_t found = list({{"identifiant", "*"}}).size();
    expect(found == flights.size(),
           std::to_string(found) + " records found, not " + std::to_string(flights.size()));
    std::cout << "Found all " << found << " records in " << secondsSince(start) << " s.\n";

    const Flight key{{"identifiant", flights.back().at("identifiant")}};
    expect(awaitOutcome("the deletion", send(&OXcdvCliItf::supprime_vol_complet, key)).code == 0,
           "the deletion was not done");
    expect(awaitOutcome("the consultation", send(&OXcdvCliItf::consulte_vol_complet, key)).code == 2,
           "the deleted flight is still there");
    std::cout << "Deleted flight " << key.at("identifiant") << ": it is gone.\n";

    expect(OXcdvCliItf::desactive() == orix::OXS_OK, "the deactivation failed");
    std::cout << "Deactivated.\n";
}

} // namespace

int main(int argc, char** argv)
{
    std::string airline = "AFR";
    pid_t serverToKill = 0;
    std::vector<std::string> files;
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string argument = argv[i];
            if (argument == "--operator" && i + 1 < argc)
                airline = argv[++i];
            else if (argument == "--kill-server" && i + 1 < argc)
                serverToKill = std::stoi(argv[++i]);
            else
                files.push_back(argument);
        }
        if (files.size() != 2)
            throw std::invalid_argument(
                "usage: session_cdv CONFIGURATION.toml FLIGHTS.csv [--operator CODE] [--kill-server PID]");
        const std::vector<Flight> flights = readFlights(files[1]);
        expect(!flights.empty(), files[1] + " holds no flight");

        std::string message;
        if (orix::initialiser(argc, argv, files[0], &message) != orix::OXS_OK)
            throw std::invalid_argument(message);

        int status = 0;
        try {
            run(flights, airline, serverToKill);
        } catch (const std::exception& failure) {
            std::cerr << "session_cdv: " << failure.what() << '\n';
            status = 1;
        }
        orix::detruireOXcdvCliItfAdaptateur(); // before the middleware that it stands on
        orix::terminer();
        return status;
    } catch (const std::exception& failure) {
        std::cerr << "session_cdv: " << failure.what() << '\n';
        return 2;
    }
}
