#include "CapteurTraces.h"
#include "OXvol_completData.h"
#include "ServeurEssai.h"
#include "orix/OXchaine.h"
#include "orix/interne/Echec.h"
#include "orix/interne/TableInformationsConnexions.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <map>
#include <memory>
#include <thread>

using namespace orix;
using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Etat = OXcdvCliItfAdaptateur;

namespace {

/// The function's bare name, whether the line names it so or by its full signature.
std::string nomCourt(const LigneTrace& ligne)
{
    const std::string signature = ligne.fonction.substr(0, ligne.fonction.find('('));
    return signature.substr(signature.find_last_of(": ") + 1);
}

/// What the adapter traced: "level function: text", with "()" for a function named by its full signature.
std::vector<std::string> lignesAdaptateur(essais::CapteurTraces& traces, const std::string& fonction = "")
{
    std::vector<std::string> textes;
    for (const LigneTrace& ligne : traces.prendre()) {
        const bool complet = ligne.fonction.find('(') != std::string::npos;
        if (ligne.fichier == "OXcdvCliItfAdaptateur" && (fonction.empty() || nomCourt(ligne) == fonction))
            textes.push_back(std::to_string(ligne.niveau) + " " + nomCourt(ligne) + (complet ? "()" : "") +
                             ": " + ligne.message);
    }
    return textes;
}

/// Calls it with 0, 1, 2... until the servant is gone.
template <class Envoi>
void envoyerSansFin(Envoi envoyer)
{
    try {
        for (int i = 0;; ++i)
            envoyer(i);
    } catch (const CORBA::Exception&) {
    }
}

class Adaptateur : public essais::AvecNoyau
{
  protected:
    /// Keeps the answers of the first server back: what the kernel would deliver is the test's to give.
    void retenirReponses()
    {
        premier.avantReponse = [attente = _liberation.get_future().share()] { attente.wait(); };
    }
    void TearDown() override
    {
        _liberation.set_value();
        AvecNoyau::TearDown();
    }
    bool connexionEnregistree()
    {
        try {
            oxNoyau()->lireTableConnexions()->lireInformation("cdv");
            return true;
        } catch (const Echec& e) {
            EXPECT_EQ(OXS_SERVEUR_INEXISTANT, e.lireCode());
            return false;
        }
    }

  private:
    std::promise<void> _liberation;
};

class AdaptateurSansNoyau : public essais::AvecNoyau
{
  protected:
    void SetUp() override { callbacks.oublier(); }
};

TEST_F(AdaptateurSansNoyau, IsConstructedAllTheSameAndCompletedLater)
{
    essais::CapteurTraces traces;
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 OXcdvCliItfAdaptateur(): Entrée.", "700 _creerPOA(): Entrée.",
                            "100 _creerPOA: Exception non prévue.", "700 _creerPOA(): Sortie.",
                            "100 OXcdvCliItfAdaptateur: Exception Echec, code = 24 (OXS_NOT_INITIALIZED)"));
    EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, adaptateur.active("cdv"));
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 active(): Entrée.", "700 active: NomService = cdv",
                            "100 active: Le service ne peut pas être activé : OXS_NOYAU_NON_INITIALISE"));
    EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, adaptateur.desactive());
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 desactive(): Entrée.",
                            "100 desactive: Le service ne peut pas être desactivé : "
                            "OXS_NOYAU_NON_INITIALISE"));
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());

    demarrer();
    activer();
    EXPECT_FALSE(CORBA::is_nil(premier.notifications()));
}

TEST_F(Adaptateur, ActivationAnnouncesTheClientAndConnects)
{
    essais::CapteurTraces traces;
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 OXcdvCliItfAdaptateur(): Entrée.", "700 _creerPOA(): Entrée.",
                            "700 _creerPOA: Type référence 0 = "
                            "IDL:orix_corba/OXcdv_v3_0_0_ServeurVersClient:1.0",
                            "700 _creerPOA(): Sortie.", "700 OXcdvCliItfAdaptateur(): Sortie."));

    activer();
    const std::string url = reglages.routage["cdv"][0];
    std::map<std::string, std::vector<std::string>> lignes;
    for (const LigneTrace& ligne : traces.prendre())
        lignes[nomCourt(ligne)].push_back(std::to_string(ligne.niveau) + " " + ligne.message);
    EXPECT_THAT(lignes["active"],
                ElementsAre("700 Entrée.", "700 NomService = cdv", "100 url du server: " + url,
                            StartsWith("700 temps ecoulé pour resoudre l'url: "),
                            StartsWith("700 temps ecoulé pour le narrow: "),
                            "100 Connecté au noyau du serveur " + url, "700 Demande d'activation en cours",
                            "700 Sortie."));
    EXPECT_THAT(
        lignes["creerReference"],
        ElementsAre(StartsWith("700 Création de l'identifiant CORBA = "),
                    "700 Le servant est activé avec l'identificateur auprès du POA ORIX.",
                    "700 Création de la référence.",
                    "700 Création de la référence d'objet qui sera passée dans les appels asynchrones "
                    "et qui contient l'identificateur de l'objet."));
    EXPECT_THAT(
        lignes["activeCB"],
        ElementsAre("700 Entrée.", "700 activeCB pour cdv, statut = 0 (OXS_OK)",
                    "100 Connexion enregistrée pour cdv avec serveur premier sur hote, numéro client 7, "
                    "version 3.0.0.0",
                    "700 Notification de l'activeCB à l'application.", "700 Sortie."));

    EXPECT_THAT(premier.textesRecus, ElementsAre("cdv", oxNoyau()->lirePointAcces()->lireNom(), "machine"));
    ASSERT_EQ(1u, premier.niveauxRecus.length());
    const orix_corba::NiveauReference& niveau = premier.niveauxRecus[0];
    EXPECT_EQ(OXversion(3, 0, 0, 0),
              OXversion(niveau.majeur, niveau.mineur, niveau.correctif, niveau.construction));
    EXPECT_FALSE(CORBA::is_nil(premier.notifications()));
    EXPECT_EQ(7, adaptateur.lireNumeroClient());
    const InformationsServeur connexion = oxNoyau()->lireTableConnexions()->lireInformation("cdv");
    EXPECT_EQ("premier", connexion.lireServeur());
    EXPECT_EQ("hote", connexion.lireMachine());

    traces.prendre();
    EXPECT_EQ(OXS_SERVICE_DEJA_ACTIVE, adaptateur.active("cdv"));
    EXPECT_EQ(1, traces.compter("Service déjà activé."));
    adaptateur.activeCB(OXS_NOK, "autre", "autre", niveau, 8);
    EXPECT_TRUE(adaptateur.estActive());
    EXPECT_EQ(7, adaptateur.lireNumeroClient());
    EXPECT_EQ(0u, callbacks.nombre());
}

TEST_F(Adaptateur, NothingButTheAnswerEndsAPendingActivation)
{
    retenirReponses();
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    const orix_corba::NiveauReference niveau{};
    essais::CapteurTraces traces;
    adaptateur.activeCB(OXS_OK, "s", "m", niveau, 8);
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 activeCB(): Entrée.",
                            "300 activeCB: Réception d'un activeCB alors que le client n'est pas dans l'état "
                            "\"DemandeActivation\""));
    ASSERT_EQ(OXS_OK, adaptateur.active("cdv"));
    ASSERT_EQ(Etat::DemandeActivation, adaptateur.lireEtat());
    traces.prendre();

    EXPECT_EQ(OXS_ACTIVATION_EN_COURS, adaptateur.active("cdv"));
    EXPECT_EQ(1, traces.compter("Impossible d'activer le service : activation en cours"));
    EXPECT_EQ(OXS_SERVICE_NON_ACTIVE, adaptateur.desactive());
    adaptateur.deconnexionCB(OXS_SERVICE_NON_ACTIVE);
    EXPECT_EQ(Etat::DemandeActivation, adaptateur.lireEtat());
    EXPECT_ANY_THROW(adaptateur.notifierAutomateDeconnexionCB());
    EXPECT_EQ(Etat::DemandeActivation, adaptateur.lireEtat());

    // A server of another version: the application hears nothing, and nothing else may be tried.
    traces.prendre();
    orix_corba::NiveauReference autre;
    autre.majeur = 3;
    autre.mineur = 1;
    autre.correctif = autre.construction = 0;
    adaptateur.activeCB(OXS_OK, "premier", "hote", autre, 9);
    EXPECT_THAT(
        lignesAdaptateur(traces),
        ElementsAre("700 activeCB(): Entrée.", "700 activeCB: activeCB pour cdv, statut = 0 (OXS_OK)",
                    "300 activeCB: Problème lors de l'enregistrement.serveur:premier version3.1.0.0"));
    EXPECT_EQ(OXS_ACTIVATION_EN_COURS, adaptateur.active("cdv"));
    EXPECT_EQ(0u, callbacks.nombre());

    adaptateur.notifierEchecActivation(OXS_REPLY_ERROR);
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
    const essais::Appel appel = callbacks.attendre();
    EXPECT_EQ("activeCB", appel.nom);
    EXPECT_EQ(OXS_REPLY_ERROR, appel.statut);
    EXPECT_EQ("", appel.serveur);
    EXPECT_EQ("", appel.machine);
}

TEST_F(Adaptateur, FailedAnswersAlternateBetweenTheTwoServers)
{
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    premier.statut = deuxieme.statut = OXS_CLIENT_ID_INVALIDE;
    for (const char* attendu : {"premier", "deuxieme", "premier"}) {
        ASSERT_EQ(OXS_OK, adaptateur.active("cdv"));
        const essais::Appel appel = callbacks.attendre();
        EXPECT_EQ("activeCB", appel.nom);
        EXPECT_EQ(OXS_CLIENT_ID_INVALIDE, appel.statut);
        EXPECT_EQ(attendu, appel.serveur);
        EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    }
    deuxieme.statut = OXS_OK;
    activer();
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
    // The choice outlives an orderly end.
    EXPECT_EQ(OXS_OK, adaptateur.desactive());
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
}

TEST_F(Adaptateur, ASingleServerIsKept)
{
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    premier.statut = OXS_NOK;
    essais::CapteurTraces traces;
    ASSERT_EQ(OXS_OK, adaptateur.active("seul"));
    EXPECT_EQ(OXS_NOK, callbacks.attendre("activeCB").statut);
    EXPECT_EQ(OXroutage::PremierServeur, adaptateur.lireServeurCourant());
    EXPECT_EQ(1, traces.compter("Pas de possibilité de basculement sur un autre serveur"));
}

TEST_F(Adaptateur, RequestThatCannotBeSentSwitches)
{
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    const std::string url = reglages.routage["absent"][0];
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_CONNEXION_IMPOSSIBLE, adaptateur.active("absent"));
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    const auto lignes = lignesAdaptateur(traces);
    EXPECT_THAT(std::vector<std::string>(lignes.end() - 6, lignes.end()),
                ElementsAre("300 active: Le Serveur: " + url + " est injoignable",
                            "300 active: Le serveur " + url + " est injoignable",
                            "700 basculerServeur(): Entrée.",
                            "700 basculerServeur: Basculement de serveur effectué correctement",
                            "700 basculerServeur(): Sortie.", "700 active(): Sortie."));
    activer("absent");
    EXPECT_EQ("deuxieme", oxNoyau()->lireTableConnexions()->lireInformation("absent").lireServeur());
    EXPECT_EQ(OXS_OK, adaptateur.desactive());

    traces.prendre();
    EXPECT_EQ(OXS_SERVEUR_INEXISTANT, adaptateur.active("inconnu"));
    EXPECT_EQ(1, traces.compter("Echec : code = 17 (OXS_SERVEUR_INEXISTANT)"));
}

TEST_F(Adaptateur, ASendThatFailsWithdrawsTheActivation)
{
    retenirReponses();
    Etat& adaptateur = *oxcdvCliItfAdaptateur();
    {
        // After the automaton moved, in the middle of the sending.
        const essais::SurTrace panne(
            "Demande d'activation en cours", [] { throw CORBA::TRANSIENT(); }, NTO_DETAIL);
        EXPECT_EQ(OXS_ERREUR_CORBA, adaptateur.active("cdv"));
    }
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
    // The parameters went: the answer of that one finds nobody.
    activer();
    EXPECT_EQ(0u, callbacks.nombre());
}

TEST_F(Adaptateur, DeactivationTellsTheServerAndNotTheApplication)
{
    Etat& adaptateur = activer();
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_OK, adaptateur.desactive());
    EXPECT_THAT(lignesAdaptateur(traces, "desactive"),
                ElementsAre("700 desactive(): Entrée.",
                            "100 desactive: Déconnexion volontaire du service cdv.",
                            "700 desactive(): Sortie."));
    EXPECT_EQ((essais::Message{"desactiveCB", 0, 7, ""}), premier.service.attendre());
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    EXPECT_FALSE(connexionEnregistree());

    traces.prendre();
    EXPECT_EQ(OXS_SERVICE_NON_ACTIVE, adaptateur.desactive());
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 desactive(): Entrée.", "700 verifierActivation(): Entrée.",
                            "300 verifierActivation: Le service cdv n'est pas activé.",
                            "100 desactive: Exception Echec sur demande de désactivation, code = 23 "
                            "(OXS_SERVICE_NON_ACTIVE)"));
    EXPECT_EQ(0u, callbacks.nombre());
    activer();
}

TEST_F(Adaptateur, DeactivationInterruptedByADeadServerStaysActive)
{
    Etat& adaptateur = activer();
    premier.service.retirer();
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_SERVICE_DEJA_DESACTIVE, adaptateur.desactive());
    EXPECT_EQ(1, traces.compter("Service deja desactive."));
    EXPECT_TRUE(adaptateur.estActive());
    EXPECT_FALSE(connexionEnregistree());

    // What the kernel does about it a little later.
    adaptateur.notifierAutomateDeconnexionCB();
    adaptateur.notifierDeconnexionCB(OXS_ECHEC_PING);
    EXPECT_EQ(OXS_ECHEC_PING, callbacks.attendre("deconnexionCB").statut);
    activer();
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
}

TEST_F(Adaptateur, OrderlyDisconnectionByTheServer)
{
    Etat& adaptateur = activer();
    essais::CapteurTraces traces;
    premier.client->deconnexionCB(OXS_SERVICE_NON_ACTIVE);
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    EXPECT_EQ(OXroutage::PremierServeur, adaptateur.lireServeurCourant());
    EXPECT_FALSE(connexionEnregistree());
    EXPECT_EQ(0, traces.compter("Déconnexion anormale du service cdv"));
    EXPECT_EQ(OXS_SERVICE_NON_ACTIVE, callbacks.attendre("deconnexionCB").statut);

    // A second one finds nobody connected.
    traces.prendre();
    premier.client->deconnexionCB(OXS_NOK);
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 deconnexionCB(): Entrée.", "700 verifierActivation(): Entrée.",
                            "300 verifierActivation: Réception d'un \"deconnexionCB\" sans être activé.",
                            "300 deconnexionCB: Code exception = 23 (OXS_SERVICE_NON_ACTIVE)",
                            "700 deconnexionCB(): Sortie."));
    EXPECT_EQ(0u, callbacks.nombre());
}

TEST_F(Adaptateur, AbnormalDisconnectionsSwitchAndRemoveTheConnectionOnce)
{
    Etat& adaptateur = activer();
    essais::CapteurTraces traces;
    premier.client->deconnexionCB(OXS_NOK);
    EXPECT_EQ(Etat::Desactive, adaptateur.lireEtat());
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
    EXPECT_EQ(OXS_NOK, callbacks.attendre("deconnexionCB").statut);
    EXPECT_EQ(1, traces.compter("Impossible de supprimer la connexion du service cdv."));
    EXPECT_THAT(lignesAdaptateur(traces, "deconnexionCB"),
                ElementsAre("700 deconnexionCB(): Entrée.", "100 deconnexionCB: Desactivation du client cdv",
                            "100 deconnexionCB: Déconnexion du service cdv", "700 deconnexionCB(): Sortie."));

    // Lost by the kernel, the automaton not told: reported, and the application told all the same.
    activer();
    traces.prendre();
    adaptateur.notifierDeconnexionCB(OXS_ECHEC_PING);
    EXPECT_THAT(lignesAdaptateur(traces),
                ElementsAre("700 notifierDeconnexionCB(): Entrée.",
                            "100 notifierDeconnexionCB: Déconnexion anormale du service cdv",
                            "700 basculerServeur(): Entrée.",
                            "100 basculerServeur: Non Validé (_automate.lireSommetCourant() == Desactive)",
                            "700 basculerServeur: Basculement de serveur effectué correctement",
                            "700 basculerServeur(): Sortie.", "700 notifierDeconnexionCB(): Sortie."));
    EXPECT_FALSE(connexionEnregistree());
    EXPECT_EQ(OXS_ECHEC_PING, callbacks.attendre("deconnexionCB").statut);
}

TEST_F(Adaptateur, CORBAExceptionInADisconnectionEndsTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto deconnecter = [this] {
        Etat& adaptateur = activer();
        const essais::EcouteTraces ecoute([](const LigneTrace& ligne) {
            if (ligne.message == "Desactivation du client cdv")
                throw CORBA::TRANSIENT();
            if (ligne.message.find("Exception CORBA : ") == 0 && ligne.niveau == NTO_NOTABLE)
                fputs("reported; ", stderr);
        });
        adaptateur.deconnexionCB(OXS_SERVICE_NON_ACTIVE);
    };
    EXPECT_DEATH(deconnecter(), "reported; .*orix::Echec");
}

TEST_F(Adaptateur, AnswersPingsOfItsOwnServerOnly)
{
    Etat& adaptateur = activer();
    essais::CapteurTraces traces;
    EXPECT_NO_THROW(premier.client->testerConnexionClient("cdv", "premier", "hote", 7));
    EXPECT_THROW(premier.client->testerConnexionClient("cdv", "premier", "hote", 8),
                 orix_corba::ServeurDeconnecte);
    EXPECT_EQ(1, traces.compter("Client 8non trouvé."));
    premier.client->testerConnexionServeur(7);
    EXPECT_EQ(1, traces.compter("Ne doit pas être appelé"));

    EXPECT_EQ(OXS_OK, adaptateur.desactive());
    traces.prendre();
    EXPECT_THROW(premier.client->testerConnexionClient("cdv", "premier", "hote", 7),
                 orix_corba::ServeurDeconnecte);
    EXPECT_THAT(
        lignesAdaptateur(traces),
        ElementsAre("700 verifierActivation(): Entrée.",
                    "300 verifierActivation: Opération non permise car le client n'est pas activé.",
                    "100 testerConnexionClient: Exception Echec, code = 23 (OXS_SERVICE_NON_ACTIVE)"));
}

TEST_F(Adaptateur, EndsWhileNotificationsArriveAndBeginsAgain)
{
    for (int tour = 0; tour < 10; ++tour) {
        activer();
        const OXvol_completData_v3_0_0 vol = OXvol_completData().construireObjetSpecifique_v3_0_0();
        std::promise<void> lance;
        std::thread serveur([&, notifications = premier.notifications()] {
            envoyerSansFin([&](int i) {
                notifications->liste_vol_complet(vol, i);
                if (i == 0)
                    lance.set_value();
            });
        });
        lance.get_future().wait();
        detruireOXcdvCliItfAdaptateur();
        serveur.join();
        EXPECT_EQ(nullptr, Singleton<OXcdvCliItfAdaptateur>::lireExistante());
        EXPECT_EQ((essais::Message{"desactiveCB", 0, 7, ""}), premier.service.attendre());
    }
    EXPECT_EQ(OXroutage::PremierServeur, oxcdvCliItfAdaptateur()->lireServeurCourant());
    detruireOXcdvCliItfAdaptateur();
    detruireOXcdvCliItfAdaptateur();
}

TEST_F(Adaptateur, EndsWhileAnActivationIsPending)
{
    retenirReponses();
    ASSERT_EQ(OXS_OK, oxcdvCliItfAdaptateur()->active("cdv"));
    detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(Etat::Desactive, oxcdvCliItfAdaptateur()->lireEtat());
}

TEST_F(Adaptateur, OutlivesARestartOfTheKernel)
{
    Etat& adaptateur = activer();
    ASSERT_EQ(OXS_OK, terminer());
    EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, adaptateur.desactive());
    demarrer();
    EXPECT_EQ(&adaptateur, &activer());
    premier.notifications()->fin_liste_vol_complet(0, 12);
    EXPECT_EQ(12, callbacks.attendre("fin_liste_vol_completCB").idOp);
    EXPECT_NO_THROW(premier.client->testerConnexionClient("cdv", "premier", "hote", 7));
    EXPECT_EQ(OXS_OK, adaptateur.desactive());
}

class AdaptateurServeurMuet : public essais::AvecNoyau
{
  protected:
    AdaptateurServeurMuet()
    {
        sockaddr_in adresse{};
        adresse.sin_family = AF_INET;
        adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t taille = sizeof adresse;
        auto* const generique = reinterpret_cast<sockaddr*>(&adresse);
        EXPECT_EQ(0, bind(_prise, generique, taille));
        EXPECT_EQ(0, listen(_prise, 8)); // the system takes the connections in, and nobody answers
        EXPECT_EQ(0, getsockname(_prise, generique, &taille));
        reglages.routage["muet"] = {"corbaloc:iiop:127.0.0.1:" + std::to_string(ntohs(adresse.sin_port)) +
                                    "/Noyau"};
        reglages.delaiConnexion = std::chrono::milliseconds(100);
        reglages.delaiAppel = std::chrono::minutes(10); // longer than this test may take
    }
    ~AdaptateurServeurMuet() override { close(_prise); }

  private:
    const int _prise = socket(AF_INET, SOCK_STREAM, 0);
};

TEST_F(AdaptateurServeurMuet, IsKnownAfterTheConnectionTimeOut)
{
    EXPECT_EQ(OXS_CONNEXION_IMPOSSIBLE, oxcdvCliItfAdaptateur()->active("muet"));
}

class AdaptateurFileCourte : public essais::AvecNoyau
{
  protected:
    AdaptateurFileCourte() { reglages.capaciteFileCB = 1; }
};

TEST_F(AdaptateurFileCourte, EndsWhileANotificationWaitsForAPlaceInTheQueue)
{
    activer();
    struct Etapes
    {
        std::promise<void> occupe, liberation;
        std::atomic<bool> premiere{true};
    };
    const auto etapes = std::make_shared<Etapes>(); // callbacks still run after the end of this test
    callbacks.pendant = [etapes](const essais::Appel&, OXvol_completData*) {
        if (etapes->premiere.exchange(false)) {
            etapes->occupe.set_value();
            etapes->liberation.get_future().wait();
        }
    };
    std::thread serveur([notifications = premier.notifications()] {
        envoyerSansFin([&](int i) { notifications->fin_liste_vol_complet(0, i); });
    });
    etapes->occupe.get_future().wait();
    detruireOXcdvCliItfAdaptateur();
    serveur.join();
    etapes->liberation.set_value();
    EXPECT_EQ(0, callbacks.attendre("fin_liste_vol_completCB").idOp);
}

} // namespace
