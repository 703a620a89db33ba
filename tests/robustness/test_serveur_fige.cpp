// The server stops answering without dying, and comes back later.
#include "CapteurTraces.h"
#include "SessionEprouvee.h"

#include <atomic>
#include <iostream>
#include <thread>

using essais::Appel;
using essais::Chronometre;
using essais::ServeurReel;
using essais::SurTrace;
using essais::vol;

namespace {

// A call that waits for its time-out ends shortly after it; the rest is for a machine that has other work.
constexpr double CALL_LIMIT = 1.0 + 2.0;

class ServeurFige : public essais::SessionEprouvee
{
  protected:
    using SessionEprouvee::SessionEprouvee;

    void figer(const std::string& nom)
    {
        serveur(nom).figer();
        _panne = Chronometre();
    }

    /// Lets the server of a former activation run again, until it has given this client up.
    void reveiller(const std::string& ancien)
    {
        serveur(ancien).signaler(SIGCONT);
        EXPECT_TRUE(serveur(ancien).attendreErreurs("parti"));
    }

    /// Runs the call, which must not last longer than a call may.
    template <class Appelable>
    orix::OXstatut borner(Appelable appelable)
    {
        const Chronometre duree;
        const orix::OXstatut statut = appelable();
        _pireAppel = std::max(_pireAppel, duree.secondes());
        EXPECT_LT(duree.secondes(), CALL_LIMIT);
        return statut;
    }

    double _pireAppel = 0;
};

/// Nobody declares a loss: what the calls themselves do is seen.
class ServeurFigeSansPing : public ServeurFige
{
  protected:
    ServeurFigeSansPing() : ServeurFige(reglagesVifs([](auto& r) { r.periodePing = std::chrono::hours(1); }))
    {}
};

} // namespace

TEST_F(ServeurFige, PerteDeclareePuisRetourDeLAncien)
{
    int tour = 0;
    repeter(
        "hang of the server", 4,
        [&](const std::string& actif) {
            figer(actif);
            // These wait for the old server, which will execute them when it is back, and tell nobody.
            for (int i = 0; i < 200; ++i, ++tour)
                envoyer(&OXcdvCliItf::cree_vol_complet, *vol("T" + std::to_string(tour)));
            attendrePerte();
        },
        [&](const std::string& ancien) {
            if (tour % 400 == 200) {
                reveiller(ancien);
            } else { // its farewell is for a connection that is no more
                serveur(ancien).signaler(SIGTERM);
                serveur(ancien).signaler(SIGCONT);
                EXPECT_EQ(serveur(ancien).attendreFin(), 0);
            }
            creer("S" + std::to_string(tour));
            relancer(ancien);
        });
}

TEST_F(ServeurFige, AucunAppelNeDepasseSonDelai)
{
    const std::string actif = activer();
    EXPECT_EQ(borner(&OXcdvCliItf::desactive), orix::OXS_OK);
    const auto active = [] { return OXcdvCliItf::active(essais::SERVICE); };
    {
        const SurTrace arret(NOYAU_REPOND, [&] { figer(actif); });
        EXPECT_EQ(borner(active), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_NE(appel.statut, orix::OXS_OK);
    }
    const std::string autre = activer();
    EXPECT_NE(autre, actif);
    figer(autre);
    int idOp = 0;
    const auto donnees = vol("V");
    EXPECT_EQ(borner([&] { return OXcdvCliItf::cree_vol_complet(donnees.get(), idOp); }), orix::OXS_OK);
    EXPECT_EQ(borner(&OXcdvCliItf::desactive), orix::OXS_OK);
    EXPECT_EQ(borner(active), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_EQ(borner(active), orix::OXS_CONNEXION_IMPOSSIBLE);

    // The first server answers at last an activation that nobody waits for any more, and learns it.
    reveiller(actif);
    reveiller(autre);
    activer();
    creer("W");
    std::cout << "calls of a client whose servers hang: " << _pireAppel << " s at worst" << std::endl;
}

TEST_F(ServeurFigeSansPing, EnvoisVersUnServeurQuiNePrendRien)
{
    constexpr int FILS = 4;
    constexpr int REFUS = 3; // of each thread
    ServeurReel& actif = serveur(activer());
    actif.figer();
    const std::string remplissage(20000, 'x');
    std::atomic<int> numero{0}, envoyes{0};
    std::vector<double> pires(FILS); // of each thread
    std::vector<std::thread> fils;
    for (double& pire : pires)
        fils.emplace_back([&] {
            for (int refus = 0; refus < REFUS;) {
                const auto grand = vol("F" + std::to_string(++numero));
                grand->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
                int idOp = 0;
                const Chronometre duree;
                const orix::OXstatut statut = OXcdvCliItf::cree_vol_complet(grand.get(), idOp);
                pire = std::max(pire, duree.secondes());
                if (statut == orix::OXS_OK) {
                    ++envoyes;
                } else {
                    EXPECT_EQ(statut, orix::OXS_ERREUR_CORBA);
                    ++refus;
                }
            }
        });
    for (std::thread& fil : fils)
        fil.join();
    const double pire = *std::max_element(pires.begin(), pires.end());
    EXPECT_LT(pire, CALL_LIMIT);
    std::cout << "sends to a server that takes nothing: " << envoyes << " taken in, then " << FILS * REFUS
              << " refused, " << pire << " s at worst" << std::endl;

    // Back, it serves again: at most what was on its way is lost.
    actif.signaler(SIGCONT);
    const auto dernier = vol("dernier");
    int idOp = 0;
    EXPECT_EQ(OXcdvCliItf::cree_vol_complet(dernier.get(), idOp), orix::OXS_OK);
    for (;;) {
        const Appel appel = _callbacks.attendre();
        ASSERT_EQ(appel.nom, "cree_vol_completCB");
        EXPECT_EQ(appel.statut, 0);
        if (appel.idOp == idOp)
            break;
    }
}
