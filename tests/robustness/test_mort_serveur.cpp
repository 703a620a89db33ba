// The server is killed under load. (At each moment of an activation and of its end: test_entrelacements.)
#include "Porte.h"
#include "SessionEprouvee.h"

using essais::Appel;
using essais::vol;

namespace {

class MortServeur : public essais::SessionEprouvee
{
  protected:
    using SessionEprouvee::SessionEprouvee;

    void tuer(const std::string& nom)
    {
        serveur(nom).signaler(SIGKILL);
        serveur(nom).attendreFin();
    }
};

class MortServeurFilePetite : public MortServeur
{
  protected:
    MortServeurFilePetite() : MortServeur(reglagesVifs([](auto& r) { r.capaciteFileCB = 10; })) {}
};

} // namespace

TEST_F(MortServeur, MilleRequetesEnAttente)
{
    constexpr int REQUETES = 1000;
    int tour = 0;
    repeter("death with 1000 requests outstanding", 6, [&](const std::string& actif) {
        serveur(actif).figer(); // all of them will be outstanding
        for (int i = 0; i < REQUETES; ++i)
            envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V" + std::to_string(tour * REQUETES + i)));
        const int avant = tour++ * REQUETES / 8; // notified before the death; none, the first time
        if (avant != 0)
            serveur(actif).signaler(SIGCONT);
        for (int i = 0; i < avant; ++i) {
            const Appel appel = _callbacks.attendre();
            ASSERT_EQ(appel.nom, "cree_vol_completCB");
            _crees.insert(appel.identifiant.value_or("?"));
        }
        tuer(actif);
        attendrePerte();
    });
}

TEST_F(MortServeurFilePetite, AuMilieuDUneListe)
{
    // More than every buffer on the way takes: the listing cannot end while the callbacks are held.
    constexpr int VOLS = 2000;
    constexpr int AVANT = 100;
    const std::string remplissage(20000, 'x');
    essais::Porte porte;
    _callbacks.pendant = [&](const Appel& appel, OXvol_completData*) {
        if (appel.nom == "liste_vol_completCB")
            porte.passer();
    };
    activer();
    for (int i = 0; i < VOLS; ++i) {
        const std::string identifiant = "L" + std::to_string(10000 + i);
        const auto grand = vol(identifiant);
        grand->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
        EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *grand).statut, 0);
        _crees.insert(identifiant);
    }
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);

    repeter("death in the middle of a listing", 4, [&](const std::string& actif) {
        porte.fermerApres(AVANT);
        const int idOp = envoyer(&OXcdvCliItf::liste_vol_complet, *vol("L*"));
        int recus = 0;
        const auto prendre = [&] {
            const Appel appel = _callbacks.attendre();
            if (appel.nom == "deconnexionCB") {
                EXPECT_EQ(appel.statut, orix::OXS_ECHEC_PING);
                return false;
            }
            EXPECT_EQ(appel.nom, "liste_vol_completCB");
            EXPECT_EQ(appel.idOp, idOp);
            EXPECT_EQ(appel.identifiant, "L" + std::to_string(10000 + recus++));
            return true;
        };
        while (recus < AVANT)
            ASSERT_TRUE(prendre());
        tuer(actif);
        porte.ouvrir();
        while (prendre()) {
        }
        EXPECT_LT(recus, VOLS);
    });
}

TEST_F(MortServeurFilePetite, ActiveDeNouveauPendantQuUneNotificationAttend)
{
    essais::Porte porte;
    _callbacks.pendant = [&](const Appel& appel, OXvol_completData*) {
        if (appel.nom == "cree_vol_completCB")
            porte.passer();
    };
    const std::string actif = activer();
    porte.fermerApres(1);
    for (int i = 0; i < 100; ++i)
        envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V" + std::to_string(i)));
    EXPECT_EQ(_callbacks.attendre().nom,
              "cree_vol_completCB"); // the queue is filling: the ORB's thread will wait for a place
    tuer(actif);
    while (OXcdvCliItf::lireVersion() !=
           orix::VERSION_NULLE) // the callback that tells of the loss is held too
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
    porte.ouvrir();
    EXPECT_EQ(_callbacks.attendre("deconnexionCB").statut, orix::OXS_ECHEC_PING);
    EXPECT_EQ(_callbacks.attendre("activeCB").statut, orix::OXS_OK);
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("apres")).statut, 0);
}
