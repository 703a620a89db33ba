// The unit test of an application of the session layer: no server, no socket, no waiting for time to pass.
//
// Exit status: 0 when all is as it should be; what is not is said.
#include "CdvEssais.h"
#include "CdvSession.h"

#include <chrono>
#include <iostream>
#include <string>

namespace {

using namespace std::chrono_literals;
using Etat = cdv::Resultat::Etat;
using Fate = cdv::ServiceMemoire::Sort;

/// What is tested: gives a flight its stand, and once more when nobody knows whether it has it.
std::string assign(cdv::Session& session, const std::string& flight, const std::string& stand)
{
    const cdv::Vol change{{"identifiant", flight}, {"parking", stand}};
    cdv::Resultat result = session.modifier(change).get();
    if (result.etat == Etat::perdu && session.attendreActive(30s))
        result = session.modifier(change).get();
    return result.texte();
}

int failures = 0;

void expect(const std::string& what, const std::string& seen, const std::string& wanted)
{
    if (seen == wanted)
        return;
    std::cerr << what << ": " << seen << ", and not: " << wanted << '\n';
    ++failures;
}

} // namespace

int main()
{
    cdv::ServiceMemoire service(cdv::ServiceMemoire::Temps::virtuel); // before the session, which ends first
    service.poser({{"identifiant", "X"}, {"indicatif", "AFR012"}});
    cdv::Session session{cdv::Options{}};

    expect("a change", assign(session, "X", "B12"), "done");
    expect("the stand", std::string(service.lire("X")->lire_ou("parking", "?")), "B12");
    expect("no such flight", assign(session, "Y", "B12"), "refused by the server: no such record (code 2)");

    service.avancer(1min);                            // a connection that has lasted is made again at once
    service.prochaine(Fate::perdue(/*faite*/ false)); // lost before the server had the request
    expect("after a loss", assign(session, "X", "C03"), "done");
    expect("the stand", std::string(service.lire("X")->lire_ou("parking", "?")), "C03");

    service.prochaine(Fate::enAttente()); // no answer
    std::future<cdv::Resultat> late = session.consulter("X");
    service.avancer(10s); // at once: time is virtual
    expect("a server that says nothing", late.get().texte(), "no answer in time");
    return failures == 0 ? 0 : 1;
}
