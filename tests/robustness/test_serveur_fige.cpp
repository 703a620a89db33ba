// The server stops answering without dying, and comes back later.
#include "CapteurTraces.h"
#include "EtatProcessus.h"
#include "SessionReelle.h"

#include <iostream>
#include <thread>

using essais::Appel;
using essais::Chronometre;
using essais::Ressources;
using essais::ServeurReel;
using essais::SurTrace;
using essais::vol;

namespace {

constexpr const char* KERNEL_ANSWERS = "Connecté au noyau du serveur"; // active(), before it asks

// A call that waits for its time-out ends shortly after it; the rest is for a machine that has other work.
constexpr double CALL_LIMIT = 1.0 + 2.0;

class ServeurFige : public essais::SessionReelle
{
  protected:
    using SessionReelle::SessionReelle;

    void attendrePerte()
    {
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "deconnexionCB");
        EXPECT_EQ(appel.statut, orix::OXS_ECHEC_PING);
    }

    /// Lets the server of a former activation run again, until it has given this client up.
    static void reveiller(ServeurReel& ancien)
    {
        ancien.signaler(SIGCONT);
        EXPECT_TRUE(ancien.attendreErreurs("parti"));
    }

    /// The client is active and at peace: its next request is answered, and nothing else comes.
    void verifierService(const std::string& identifiant)
    {
        const Appel creation = demander(&OXcdvCliItf::cree_vol_complet, *vol(identifiant));
        EXPECT_EQ(creation.nom, "cree_vol_completCB");
        EXPECT_EQ(creation.statut, 0);
        EXPECT_EQ(_callbacks.nombre(), 0u);
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

orix::Configuration sansPing()
{
    orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
    reglages.periodePing = std::chrono::hours(1);
    return reglages;
}

/// Nobody declares a loss: what the calls themselves do is seen.
class ServeurFigeSansPing : public ServeurFige
{
  protected:
    ServeurFigeSansPing() : ServeurFige(sansPing()) {}
};

} // namespace

TEST_F(ServeurFige, PerteDeclareePuisRetourDeLAncien)
{
    constexpr std::size_t FOIS = 4;
    double pireDetection = 0;
    double pireReprise = 0;
    Ressources reference;
    std::string actif = activer();
    for (std::size_t tour = 0; tour < FOIS; ++tour) {
        ServeurReel& ancien = serveur(actif);
        ancien.figer();
        const Chronometre arret;
        // These wait for the old server, which will execute them when it is back, and tell nobody.
        for (int i = 0; i < 200; ++i)
            envoyer(&OXcdvCliItf::cree_vol_complet, *vol("T" + std::to_string(200 * tour + i)));
        attendrePerte();
        pireDetection = std::max(pireDetection, arret.secondes());
        const std::string nouveau = activer();
        pireReprise = std::max(pireReprise, arret.secondes());
        EXPECT_NE(nouveau, actif);
        reveiller(ancien);
        verifierService("S" + std::to_string(tour));
        relancer(actif);
        if (tour == 0)
            reference = Ressources::attendreStables();
        actif = nouveau;
    }
    // A dead connection stays until the ORB next looks over its idle ones. A leak would be one each time.
    const Ressources fin = Ressources::attendreStables();
    EXPECT_LT(fin.fils, reference.fils + FOIS);
    EXPECT_LT(fin.descripteurs, reference.descripteurs + FOIS);
    std::cout << "hang of the server: " << FOIS << " times, known after " << pireDetection
              << " s, active again after " << pireReprise << " s at worst; " << reference
              << " after the first, " << fin << " after the last" << std::endl;
}

TEST_F(ServeurFige, AncienServeurArreteApresLaReprise)
{
    std::string actif = activer();
    for (int tour = 0; tour < 3; ++tour) {
        ServeurReel& ancien = serveur(actif);
        ancien.figer();
        attendrePerte();
        const std::string nouveau = activer();
        // Its farewell is for a connection that is no more.
        ancien.signaler(SIGTERM);
        ancien.signaler(SIGCONT);
        EXPECT_EQ(ancien.attendreFin(), 0);
        verifierService("S" + std::to_string(tour));
        relancer(actif);
        actif = nouveau;
    }
}

TEST_F(ServeurFige, AucunAppelNeDepasseSonDelai)
{
    const std::string actif = activer();
    ServeurReel& fige = serveur(actif);
    EXPECT_EQ(borner(&OXcdvCliItf::desactive), orix::OXS_OK);
    const auto active = [] { return OXcdvCliItf::active(essais::SERVICE); };
    {
        const SurTrace arret(KERNEL_ANSWERS, [&] { fige.figer(); });
        EXPECT_EQ(borner(active), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_NE(appel.statut, orix::OXS_OK);
    }
    const std::string autre = activer();
    EXPECT_NE(autre, actif);
    serveur(autre).figer();
    int idOp = 0;
    const auto donnees = vol("V");
    EXPECT_EQ(borner([&] { return OXcdvCliItf::cree_vol_complet(donnees.get(), idOp); }), orix::OXS_OK);
    EXPECT_EQ(borner(&OXcdvCliItf::desactive), orix::OXS_OK);
    EXPECT_EQ(borner(active), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_EQ(borner(active), orix::OXS_CONNEXION_IMPOSSIBLE);

    // The first server answers at last an activation that nobody waits for any more, and learns it.
    reveiller(fige);
    reveiller(serveur(autre));
    activer();
    verifierService("W");
    std::cout << "calls of a client whose servers hang: " << _pireAppel << " s at worst" << std::endl;
}

TEST_F(ServeurFigeSansPing, ArretCourtSansPerte)
{
    constexpr int REQUETES = 1000;
    ServeurReel& actif = serveur(activer());
    actif.figer();
    std::vector<int> numeros;
    for (int i = 0; i < REQUETES; ++i)
        numeros.push_back(envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V" + std::to_string(i))));
    actif.signaler(SIGCONT);
    for (const int numero : numeros) {
        const Appel appel = _callbacks.attendre();
        ASSERT_EQ(appel.nom, "cree_vol_completCB");
        ASSERT_EQ(appel.idOp, numero);
        ASSERT_EQ(appel.statut, 0);
    }
    EXPECT_EQ(_callbacks.nombre(), 0u);
}

TEST_F(ServeurFigeSansPing, EnvoisVersUnServeurQuiNePrendRien)
{
    constexpr int FILS = 4;
    constexpr int REFUS = 3; // of each thread
    ServeurReel& actif = serveur(activer());
    actif.figer();
    const std::string remplissage(20000, 'x');
    struct Releve
    {
        int envoyes = 0;
        double pire = 0;
    };
    std::vector<Releve> releves(FILS);
    std::vector<std::thread> fils;
    for (int f = 0; f < FILS; ++f)
        fils.emplace_back([&remplissage, &releve = releves[static_cast<std::size_t>(f)], f] {
            for (int refus = 0; refus < REFUS;) {
                const auto grand = vol("F" + std::to_string(f) + "-" + std::to_string(releve.envoyes));
                grand->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
                int idOp = 0;
                const Chronometre duree;
                const orix::OXstatut statut = OXcdvCliItf::cree_vol_complet(grand.get(), idOp);
                releve.pire = std::max(releve.pire, duree.secondes());
                if (statut == orix::OXS_OK) {
                    ++releve.envoyes;
                } else {
                    EXPECT_EQ(statut, orix::OXS_ERREUR_CORBA);
                    ++refus;
                }
            }
        });
    for (std::thread& fil : fils)
        fil.join();
    int envoyes = 0;
    double pire = 0;
    for (const Releve& releve : releves) {
        envoyes += releve.envoyes;
        pire = std::max(pire, releve.pire);
    }
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
