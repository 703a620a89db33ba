// The server stops answering without dying, and comes back later.
#include "CapteurTraces.h"
#include "SessionEprouvee.h"

#include <atomic>
#include <thread>

using essais::Appel;
using essais::ServeurReel;
using essais::SurTrace;
using essais::vol;

namespace {

class ServeurFige : public essais::SessionEprouvee
{
  protected:
    using SessionEprouvee::SessionEprouvee;

    /// Lets the server of a former activation run again, until it has given this client up.
    void reveiller(const std::string& ancien)
    {
        serveur(ancien).signaler(SIGCONT);
        EXPECT_TRUE(serveur(ancien).attendreErreurs("parti"));
    }
};

/// Nobody declares a loss: what the calls themselves do is seen.
class ServeurFigeSansPing : public ServeurFige
{
  protected:
    ServeurFigeSansPing()
        : ServeurFige(reglagesVifs([](auto& r) { r[orix::cle::periodePing] = std::chrono::hours(1); }))
    {}
};

} // namespace

TEST_F(ServeurFige, PerteDeclareePuisRetourDeLAncien)
{
    int tour = 0;
    repeter(
        "hang of the server", 4,
        [&](const std::string& actif) {
            serveur(actif).figer();
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

/// Every call comes back, though the server does not: one that does not is a test that hangs.
TEST_F(ServeurFige, AucunAppelNeResteBloque)
{
    const std::string actif = activer();
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    {
        const SurTrace arret(NOYAU_REPOND, [&] { serveur(actif).figer(); });
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_NE(appel.statut, orix::OXS_OK);
    }
    const std::string autre = activer();
    EXPECT_NE(autre, actif);
    serveur(autre).figer();
    envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V"));
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    for (int essai = 0; essai < 2; ++essai)
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);

    // The first server answers at last an activation that nobody waits for any more, and learns it.
    reveiller(actif);
    reveiller(autre);
    activer();
    creer("W");
}

TEST_F(ServeurFigeSansPing, EnvoisVersUnServeurQuiNePrendRien)
{
    constexpr int FILS = 4;
    constexpr int REFUS = 3; // of each thread
    ServeurReel& actif = serveur(activer());
    actif.figer();
    const std::string remplissage(20000, 'x');
    std::atomic<int> numero{0};
    std::vector<std::thread> fils;
    for (int fil = 0; fil < FILS; ++fil)
        fils.emplace_back([&] {
            for (int refus = 0; refus < REFUS;) {
                const auto grand = vol("F" + std::to_string(++numero));
                grand->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
                int idOp = 0;
                const orix::OXstatut statut = OXcdvCliItf::cree_vol_complet(grand.get(), idOp);
                refus += statut != orix::OXS_OK;
                EXPECT_TRUE(statut == orix::OXS_OK || statut == orix::OXS_ERREUR_CORBA) << statut;
            }
        });
    for (std::thread& fil : fils)
        fil.join();

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
