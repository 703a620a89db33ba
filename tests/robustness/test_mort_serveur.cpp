// The server is killed at each moment of a client's life.
#include "CapteurTraces.h"
#include "EtatProcessus.h"
#include "Porte.h"
#include "SessionReelle.h"

#include <functional>
#include <iostream>
#include <set>
#include <thread>

using essais::Appel;
using essais::Chronometre;
using essais::Ressources;
using essais::ServeurReel;
using essais::SurTrace;
using essais::vol;

namespace {

constexpr const char* KERNEL_ANSWERS = "Connecté au noyau du serveur";      // active(), before it asks
constexpr const char* ABOUT_TO_LEAVE = "Déconnexion volontaire du service"; // desactive(), before it tells

class MortServeur : public essais::SessionReelle
{
  protected:
    using SessionReelle::SessionReelle;

    /// Called while the client is active on that server, with nothing outstanding. Kills it, and returns once
    /// the client may activate again.
    using Panne = std::function<void(ServeurReel& actif)>;

    /// Does it again and again, on each server in turn: after each, the client works on the other one, has
    /// lost nothing it was told of, and has not gathered threads or descriptors.
    void repeter(const char* nom, std::size_t fois, const Panne& panne)
    {
        Ressources reference;
        double pireDetection = 0;
        double pireReprise = 0;
        int perdus = 0;
        std::string actif = activerQuelquePart();
        for (std::size_t tour = 0; tour < fois; ++tour) {
            panne(serveur(actif));
            pireDetection = std::max(pireDetection, _mort.secondes());
            const std::string autre = activerQuelquePart();
            pireReprise = std::max(pireReprise, _mort.secondes());
            EXPECT_NE(autre, actif);

            const std::string identifiant = "apres-" + std::to_string(tour);
            const Appel creation = demander(&OXcdvCliItf::cree_vol_complet, *vol(identifiant));
            EXPECT_EQ(creation.nom, "cree_vol_completCB");
            EXPECT_EQ(creation.statut, 0);
            _crees.insert(identifiant);
            const std::vector<std::string> presents = lister(*vol("*"));
            std::vector<std::string> manquants;
            std::set_difference(_crees.begin(), _crees.end(), presents.begin(), presents.end(),
                                std::back_inserter(manquants));
            perdus += static_cast<int>(manquants.size());
            relancer(actif);
            if (tour == 0)
                reference = Ressources::attendreStables();
            actif = autre;
        }
        EXPECT_EQ(perdus, 0);
        EXPECT_EQ(_callbacks.nombre(), 0u);
        // A dead connection stays until the ORB next looks over its idle ones. A leak would be one each time.
        const Ressources fin = Ressources::attendreStables();
        EXPECT_LT(fin.fils, reference.fils + fois);
        EXPECT_LT(fin.descripteurs, reference.descripteurs + fois);
        std::cout << nom << ": " << fois << " times, " << perdus << " lost, known after " << pireDetection
                  << " s, active again after " << pireReprise << " s at worst; " << reference
                  << " after the first, " << fin << " after the last" << std::endl;
    }

    void tuer(ServeurReel& serveur)
    {
        _mort = Chronometre();
        serveur.signaler(SIGKILL);
        serveur.attendreFin();
    }

    /// Waits for the notice of the loss; the creations told of before it are kept.
    void attendrePerte()
    {
        for (;;) {
            const Appel appel = _callbacks.attendre();
            if (appel.nom == "cree_vol_completCB") {
                EXPECT_EQ(appel.statut, 0);
                _crees.insert(appel.identifiant.value_or("?"));
                continue;
            }
            EXPECT_EQ(appel.nom, "deconnexionCB");
            EXPECT_EQ(appel.statut, orix::OXS_ECHEC_PING);
            return;
        }
    }

    /// Sends until the death of the server is noticed by a send: the first one after it may still be taken
    /// in.
    void envoyerJusquAuRefus()
    {
        orix::OXstatut statut = orix::OXS_OK;
        for (int essai = 0; essai < 100 && statut == orix::OXS_OK; ++essai) {
            int idOp = 0;
            statut = OXcdvCliItf::consulte_vol_complet(vol("personne").get(), idOp);
        }
        EXPECT_EQ(statut, orix::OXS_ERREUR_CORBA);
    }

    Chronometre _mort;
    std::set<std::string> _crees; ///< those whose creation was notified
};

orix::Configuration avecPeriodePing(std::chrono::milliseconds periode)
{
    orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
    reglages.periodePing = periode;
    return reglages;
}

/// Leaves a client the time to do something before the monitor declares the loss.
class MortServeurPingsLents : public MortServeur
{
  protected:
    MortServeurPingsLents() : MortServeur(avecPeriodePing(std::chrono::seconds(2))) {}
};

orix::Configuration avecFileCB(std::size_t capacite)
{
    orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
    reglages.capaciteFileCB = capacite;
    return reglages;
}

class MortServeurFilePetite : public MortServeur
{
  protected:
    MortServeurFilePetite() : MortServeur(avecFileCB(10)) {}
};

} // namespace

TEST_F(MortServeur, AvantActive)
{
    repeter("death before active", 6, [this](ServeurReel& actif) {
        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
        tuer(actif);
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);
    });
}

TEST_F(MortServeur, PendantActiveAvantLaDemande)
{
    repeter("death inside active", 6, [this](ServeurReel& actif) {
        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
        const SurTrace mort(KERNEL_ANSWERS, [&] { tuer(actif); });
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_EQ(appel.statut, orix::OXS_CONNEXION_IMPOSSIBLE);
    });
}

TEST_F(MortServeur, EntreActiveEtActiveCB)
{
    repeter("death between active and activeCB", 6, [this](ServeurReel& actif) {
        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
        {
            const SurTrace arret(KERNEL_ANSWERS, [&] { actif.figer(); });
            EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
        }
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_ACTIVATION_EN_COURS);
        tuer(actif);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_EQ(appel.statut, orix::OXS_CONNEXION_IMPOSSIBLE);
    });
}

TEST_F(MortServeur, MilleRequetesEnAttente)
{
    constexpr int REQUETES = 1000;
    int tour = 0;
    repeter("death with 1000 requests outstanding", 6, [&](ServeurReel& actif) {
        actif.figer(); // all of them will be outstanding
        for (int i = 0; i < REQUETES; ++i)
            envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V" + std::to_string(tour * REQUETES + i)));
        const int avant = tour++ * REQUETES / 8; // notified before the death; none, the first time
        if (avant != 0)
            actif.signaler(SIGCONT);
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

    repeter("death in the middle of a listing", 4, [&](ServeurReel& actif) {
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
    ServeurReel& actif = serveur(activer());
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

TEST_F(MortServeur, PendantDesactive)
{
    int tour = 0;
    repeter("death inside desactive", 6, [&](ServeurReel& actif) {
        orix::OXstatut statut = orix::OXS_NOK;
        if (++tour % 2 == 0) { // before the server is told
            const SurTrace mort(ABOUT_TO_LEAVE, [&] { tuer(actif); });
            statut = OXcdvCliItf::desactive();
        } else { // after
            actif.figer();
            statut = OXcdvCliItf::desactive();
            tuer(actif);
            EXPECT_EQ(statut, orix::OXS_OK);
        }
        if (statut != orix::OXS_OK) {
            // The second: the monitor was faster, and has just taken the connection away.
            EXPECT_TRUE(statut == orix::OXS_SERVICE_DEJA_DESACTIVE || statut == orix::OXS_SERVEUR_INEXISTANT)
                << statut;
            attendrePerte();
            return;
        }
        // The message was taken in: this end is a voluntary one, without callback.
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);
    });
}

TEST_F(MortServeurPingsLents, DesactiveNePeutLeDire)
{
    repeter("desactive cannot tell the dead server", 3, [this](ServeurReel& actif) {
        tuer(actif);
        envoyerJusquAuRefus();
        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_SERVICE_DEJA_DESACTIVE);
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_SERVICE_DEJA_ACTIVE);
        attendrePerte();
    });
}
