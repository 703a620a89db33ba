// The application misbehaves in its callbacks: it throws, calls back, blocks, stays.
#include "CapteurTraces.h"
#include "Porte.h"
#include "SessionReelle.h"

using namespace essais;
using namespace testing;

namespace {

using ApplicationFautive = essais::SessionReelle;

TEST_F(ApplicationFautive, ACallbackMayCallEverything)
{
    const auto redemanderActivation = [] { EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK); };
    const struct
    {
        const char* callback;
        std::function<void(const Appel&)> faire;
    } etapes[] = {
        {"activeCB", [](const Appel&) { envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V")); }},
        {"cree_vol_completCB",
         [&](const Appel&) {
             EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
             redemanderActivation();
         }},
        {"activeCB",
         [&](const Appel&) {
             for (int i = 0; i < 100; ++i) // their notifications are on their way during the end
                 envoyer(&OXcdvCliItf::consulte_vol_complet, *vol("V"));
             orix::detruireOXcdvCliItfAdaptateur();
         }},
    };
    std::size_t etape = 0;
    _callbacks.pendant = [&](const Appel& appel, OXvol_completData*) {
        if (etape < std::size(etapes)) {
            EXPECT_EQ(appel.nom, etapes[etape].callback);
            etapes[etape++].faire(appel);
        } else if (appel.nom == "activeCB" && appel.serveur == "cdv1") {
            EXPECT_THAT(demarrer(*orix::configuration()), StartsWith("OXS_NOYAU_DEJA_INITIALISE"));
            EXPECT_EQ(orix::terminer(), orix::OXS_NOK);
            EXPECT_EQ(OXcdvCliItf::lireVersion(), orix::OXversion(3, 0, 0, 0));
            _premier->signaler(SIGKILL);
        } else if (appel.nom == "deconnexionCB") {
            redemanderActivation();
        } else if (appel.nom == "activeCB") {
            envoyer(&OXcdvCliItf::supprime_vol_complet, *vol("V"));
        }
    };
    redemanderActivation();
    EXPECT_EQ(_callbacks.attendre().nom, "activeCB");
    EXPECT_EQ(_callbacks.attendre().nom, "cree_vol_completCB");
    EXPECT_EQ(_callbacks.attendre().nom, "activeCB"); // that destroyed the client
    redemanderActivation();
    EXPECT_EQ(_callbacks.attendre("activeCB").serveur, "cdv1");
    EXPECT_EQ(_callbacks.attendre("deconnexionCB").statut, orix::OXS_ECHEC_PING);
    EXPECT_EQ(_callbacks.attendre().serveur, "cdv2");
    const Appel suppression = _callbacks.attendre();
    EXPECT_EQ(suppression.nom, "supprime_vol_completCB");
    EXPECT_EQ(suppression.statut, 0);
}

/// A queue that is soon full: the ORB's thread waits too, while pings must not.
class FileCourte : public essais::SessionReelle
{
  protected:
    FileCourte() : SessionReelle(reglagesVifs([](auto& r) { r[orix::cle::capaciteFileCB] = 10; })) {}
};

TEST_F(FileCourte, ACallbackThatStaysKeepsNothingElseFromEndingAndBeginningAgain)
{
    essais::Porte porte;
    essais::FileAttente<std::string> passages; // callbacks by name, before they misbehave
    std::atomic<bool> retenir{true};
    _callbacks.pendant = [&](const Appel& appel, OXvol_completData*) {
        if (appel.nom == "activeCB" || !retenir)
            return;
        passages.poser(appel.nom);
        porte.passer();
    };
    activer();
    porte.fermerApres(0);
    constexpr int REQUETES = 100;
    const auto donnees = vol("V");
    for (int i = 0; i < REQUETES; ++i)
        envoyer(&OXcdvCliItf::consulte_vol_complet, *donnees);
    EXPECT_EQ(passages.prendre("rien"), "consulte_vol_completCB");

    {
        essais::CapteurTraces traces(orix::NTO_NOTABLE);
        EXPECT_EQ(orix::terminer(), orix::OXS_NOK);
        EXPECT_THAT(traces.prendreTextes(),
                    Contains(AllOf(StartsWith("100 Un callback applicatif ne se termine pas"),
                                   HasSubstr("Foncteur"))));
    }

    // The process goes on without the middleware.
    int idOp = -7;
    EXPECT_EQ(OXcdvCliItf::consulte_vol_complet(donnees.get(), idOp), orix::OXS_NOYAU_NON_INITIALISE);
    EXPECT_EQ(idOp, -7);
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_NOYAU_NON_INITIALISE);
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_NOYAU_NON_INITIALISE);
    EXPECT_EQ(orix::terminer(), orix::OXS_NOYAU_NON_INITIALISE);

    // It begins again, the old callback still inside; of those behind it none ever runs.
    ASSERT_EQ(demarrer(*orix::configuration()), "");
    retenir = false;
    activer();
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *donnees).statut, 0);
    porte.ouvrir();
    const Appel ancien = _callbacks.attendre();
    EXPECT_EQ(ancien.nom, "consulte_vol_completCB");
    EXPECT_EQ(demander(&OXcdvCliItf::supprime_vol_complet, *donnees).statut, 0);
    EXPECT_EQ(_callbacks.nombre(), 0u);
}

TEST_F(FileCourte, ActiveDeNouveauPendantQuUneNotificationAttend)
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
    serveur(actif).signaler(SIGKILL);
    while (OXcdvCliItf::lireVersion() !=
           orix::VERSION_NULLE) // the callback that tells of the loss is held too
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
    porte.ouvrir();
    EXPECT_EQ(_callbacks.attendre("deconnexionCB").statut, orix::OXS_ECHEC_PING);
    EXPECT_EQ(_callbacks.attendre("activeCB").statut, orix::OXS_OK);
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("apres")).statut, 0);
}

} // namespace
