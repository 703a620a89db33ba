// A session whose only server stops right after each activation, and comes back.
#include "Arrets.h"
#include "CdvSession.h"

using namespace std::chrono_literals;

TEST(SessionArrets, TrouveLeServeurRevenu)
{
    essais::ServeurIntermittent serveur;
    orix::Configuration configuration;
    configuration[orix::cle::routage]["cdv"] = {serveur.url()};
    configuration[orix::cle::periodePing] = 20ms;
    int argc = 0;
    cdv::Processus processus(argc, nullptr, configuration);
    cdv::Options options;
    options.delaiReprise = options.delaiRepriseMax = 1ms;
    const int tours = essais::nombreTours(50);
    for (int tour = 0; tour < tours; ++tour) {
        SCOPED_TRACE(tour);
        cdv::Session session;
        session.ouvrir(options);
        serveur.arreterBientot();
        serveur.attendreFin();
        serveur.revenir();
        // The session may still believe in the old connection; what it is asked then says so, and the next
        // try works.
        const auto fin = std::chrono::steady_clock::now() + 20s;
        auto etat = cdv::Resultat::Etat::nonEnvoye;
        while (etat != cdv::Resultat::Etat::refuse && std::chrono::steady_clock::now() < fin) {
            session.attendreActive(1s);
            etat = session.consulter(cdv::Vol().ecrire("identifiant", "personne")).get().etat;
        }
        ASSERT_EQ(cdv::Resultat::Etat::refuse, etat) << "no server for the session";
    }
}
