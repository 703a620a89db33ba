// An application of the session layer: it gives the flights of one operator to the stands named, in turn.
//
//     parkings CONFIGURATION.toml OPERATOR STAND...
//
// Exit status: 0 when every flight has its stand, 1 when one may not have it, 2 for a wrong command line.
#include "CdvSession.h"

#include <exception>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Etat = cdv::Resultat::Etat;

/// A change that was asked for, and its result when there is one.
struct Assignment
{
    cdv::Vol change;
    std::future<cdv::Resultat> result;
};

void tell(const cdv::Evenement& event)
{
    std::clog << "Session: " << cdv::texteEtat(event.etat);
    if (event.etat == cdv::EtatSession::active)
        std::clog << " on server " << event.serveur << " of machine " << event.machine;
    std::clog << '\n';
}

/// Asks for all the changes, and waits for none: they travel together.
std::vector<Assignment> assign(cdv::Session& session, const std::string& airline,
                               const std::vector<std::string>& stands)
{
    cdv::Vol example; // the fields that are set must match
    example.ecrire(cdv::Champ::gexploitant_1, airline);

    std::vector<Assignment> assignments;
    cdv::Flux flights = session.parcourir(example);
    for (const cdv::Vol& flight : flights) {
        cdv::Vol change; // the fields that are set are overwritten
        change.ecrire(cdv::Champ::gidentifiant, *flight.lire(cdv::Champ::gidentifiant));
        change.ecrire(cdv::Champ::gparking, stands[assignments.size() % stands.size()]);
        std::future<cdv::Resultat> result = session.modifier(change);
        assignments.push_back({std::move(change), std::move(result)});
    }
    if (!flights.resultat())
        throw std::runtime_error("the listing ended early: " + flights.resultat().texte());
    return assignments;
}

/// Nothing is sent twice behind the application's back. This change gives the same end when it is repeated,
/// so one whose outcome is not known is simply made again, once the session has a server.
cdv::Resultat outcome(cdv::Session& session, Assignment& assignment)
{
    cdv::Resultat result = assignment.result.get();
    if ((result.etat == Etat::perdu || result.etat == Etat::delai || result.etat == Etat::nonEnvoye) &&
        session.attendreActive(std::chrono::seconds(30)))
        result = session.modifier(assignment.change).get();
    return result;
}

int run(cdv::Session& session, const std::string& airline, const std::vector<std::string>& stands)
{
    std::vector<Assignment> assignments = assign(session, airline, stands);
    std::size_t done = 0;
    for (Assignment& assignment : assignments) {
        const cdv::Resultat result = outcome(session, assignment);
        if (result)
            ++done;
        else
            std::cerr << *assignment.change.lire(cdv::Champ::gidentifiant) << ": " << result.texte() << '\n';
    }
    std::cout << done << " of " << assignments.size() << " flights of " << airline << " have their stand.\n";
    return done == assignments.size() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc < 4) {
        std::cerr << "usage: parkings CONFIGURATION.toml OPERATOR STAND...\n";
        return 2;
    }
    cdv::Processus process(argc, argv, argv[1]); // before the session, which ends first
    cdv::Options options;
    options.observateur = tell;
    cdv::Session session(options); // waits for a server that accepts
    return run(session, argv[2], {argv + 3, argv + argc});
} catch (const std::exception& failure) { // no configuration, no server, a listing cut short
    std::cerr << "parkings: " << failure.what() << '\n';
    return 1;
}
