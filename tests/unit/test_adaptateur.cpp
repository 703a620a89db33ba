// The adapter, the facade and the servants: what they trace, return and tell, as transcripts; and how they
// end.
#include "CapteurTraces.h"
#include "Masque.h"
#include "OXcdvCliItf.h"
#include "OXcdvClientVersServeurHandlerImplementation.h"
#include "OXcdvServeurVersClientImplementation.h"
#include "ServeurEssai.h"
#include "Transcription.h"
#include "orix/OXchaine.h"
#include "orix/interne/Echec.h"
#include "orix/interne/TableInformationsConnexions.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using namespace orix;
using testing::ElementsAre;
using Etat = OXcdvCliItfAdaptateur;

namespace {

class Adaptateur : public essais::AvecNoyau
{
  protected:
    /// The middleware with other settings.
    void redemarrer(const std::function<void(Configuration&)>& changer)
    {
        changer(reglages);
        orix::terminer();
        demarrer();
    }
};

/// Writes down what the adapter does: the lines that it traces, the calling thread's first, what its
/// functions return, what the application is told, and where that leaves the client.
class Transcription : public essais::AvecNoyau
{
  protected:
    Transcription() { reglages[orix::cle::niveauTrace] = NTO_AUCUN; }
    // The first scene is without kernel.
    void SetUp() override { callbacks.oublier(); }
    void TearDown() override
    {
        _liberation.set_value();
        AvecNoyau::TearDown();
    }

    void scene(const std::string& titre, const std::function<void(Etat&)>& jouer)
    {
        texte += "\n# " + titre + "\n";
        std::string autresFils;
        {
            const essais::EcouteTraces ecoute([&, ici = std::this_thread::get_id()](const LigneTrace& ligne) {
                if (ligne.fichier.rfind("OXcdv", 0) != 0 && ligne.fichier != "OXnoyau")
                    return;
                (ici == std::this_thread::get_id() ? texte : autresFils) += _transcrire(ligne);
                panne(ligne);
            });
            Etat& adaptateur = *oxcdvCliItfAdaptateur();
            jouer(adaptateur);
            if (oxNoyau()->lireEtat() == NOYAU_INITIALISE)
                attendreLivraison();
        }
        texte += autresFils;
        _finir(*oxcdvCliItfAdaptateur());
    }
    void rendre(OXstatut statut) { texte += std::string("-> ") + texteStatut(statut) + "\n"; }
    void attendreCallback()
    {
        const essais::Appel appel = callbacks.attendre();
        _dits += "application: " + appel.nom + " " + texteStatut(static_cast<OXstatut>(appel.statut)) +
                 " \"" + appel.serveur + "\" \"" + appel.machine + "\"\n";
    }
    /// Keeps the answers of the servers back: what the kernel would deliver is the test's to give.
    void retenirReponses()
    {
        premier.avantReponse = deuxieme.avantReponse = [attente = _attente] { attente.wait(); };
    }
    static orix_corba::NiveauReference niveau(int mineur) { return {3, mineur, 0, 0, {}}; }

    std::string texte;
    std::function<void(const LigneTrace&)> panne = [](const LigneTrace&) {}; ///< may fail at a line

  private:
    static std::string _transcrire(const LigneTrace& ligne)
    {
        std::string signature = ligne.fonction; // whole: what is traced for the application
        if (ligne.fichier == "OXcdvCliItfAdaptateur" || ligne.fichier == "OXnoyau")
            signature = essais::nomFonction(ligne) + (signature.find('(') == std::string::npos ? "" : "()");
        std::string resultat = std::to_string(ligne.niveau) + " " + signature + ": " + ligne.message + "\n";
        for (const char* variable : {"127.0.0.1:\\d+", "(resoudre l'url|le narrow): [^\n]+", "CORBA = \\d+"})
            resultat = essais::masquer(resultat, variable);
        return resultat;
    }
    void _finir(const Etat& adaptateur)
    {
        texte += std::exchange(_dits, "");
        EXPECT_EQ(0u, callbacks.nombre());
        const char* const etats[] = {"inactive", "pending", "active"};
        texte += std::string("client: ") + etats[adaptateur.lireEtat()] + ", server " +
                 std::to_string(adaptateur.lireServeurCourant());
        for (const auto& [service, urls] : reglages[orix::cle::routage])
            try {
                const auto connexion = oxNoyau()->lireTableConnexions()->lireInformation(service);
                texte += ", " + service + " connected to " + connexion.lireServeur();
            } catch (const Echec&) {
                // There is no such connection.
            }
        texte += "\n";
    }

    std::string _dits;
    std::promise<void> _liberation;
    std::shared_future<void> _attente = _liberation.get_future().share();
};

TEST_F(Transcription, OfTheAdapter)
{
    const auto active = [this](const char* service) {
        return [this, service](Etat& a) { rendre(a.active(service)); };
    };
    const auto connecter = [this](const char* service) {
        return [this, service](Etat& a) {
            rendre(a.active(service));
            attendreCallback();
        };
    };
    const auto desactive = [this](Etat& a) { rendre(a.desactive()); };
    const auto annoncer = [this](essais::ServeurEssai& serveur, OXstatut raison) {
        return [this, &serveur, raison](Etat&) {
            serveur.client->deconnexionCB(raison);
            attendreCallback();
        };
    };
    scene("construction and calls without kernel", [&](Etat& a) {
        rendre(a.active("cdv"));
        rendre(a.desactive());
    });
    demarrer();
    detruireOXcdvCliItfAdaptateur();
    scene("construction, activation", connecter("cdv"));
    scene("a second activation", active("cdv"));
    scene("an answer that nobody waits for",
          [&](Etat& a) { a.activeCB(OXS_NOK, "autre", "autre", niveau(0), 8); });
    scene("pings", [&](Etat&) {
        premier.client->testerConnexionClient("cdv", "premier", "hote", 7);
        EXPECT_THROW(premier.client->testerConnexionClient("cdv", "premier", "hote", 8),
                     orix_corba::ServeurDeconnecte);
        premier.client->testerConnexionServeur(7);
    });
    scene("deactivation", desactive);
    scene("a second deactivation, a notice and a ping of somebody inactive", [&](Etat& a) {
        rendre(a.desactive());
        a.deconnexionCB(OXS_NOK);
        EXPECT_THROW(a.testerConnexionClient("", "", "", 7), orix_corba::ServeurDeconnecte);
    });
    activer();
    scene("orderly notice", annoncer(premier, OXS_SERVICE_NON_ACTIVE));
    activer();
    scene("notice of a failure", annoncer(premier, OXS_NOK));
    deuxieme.statut = OXS_CLIENT_ID_INVALIDE;
    scene("refused activation", connecter("cdv"));
    premier.statut = OXS_NOK;
    scene("refused activation of a service with one server", connecter("seul"));
    premier.statut = deuxieme.statut = OXS_OK;
    scene("server that cannot be reached", active("absent"));
    scene("its second server", connecter("absent"));
    scene("loss that the automaton was not told of", [&](Etat& a) {
        a.notifierDeconnexionCB(OXS_ECHEC_PING);
        attendreCallback();
    });
    scene("the end of that", [](Etat& a) { a.notifierAutomateDeconnexionCB(); });
    activer();
    scene("deactivation that cannot be told", [&](Etat&) {
        premier.service.retirer();
        rendre(oxcdvCliItfAdaptateur()->desactive());
    });
    scene("what the kernel does about it a little later", [&](Etat& a) {
        a.notifierAutomateDeconnexionCB();
        a.notifierDeconnexionCB(OXS_ECHEC_PING);
        attendreCallback();
    });
    scene("unknown service", active("inconnu"));
    retenirReponses();
    panne = [](const LigneTrace& ligne) {
        if (ligne.message == "Demande d'activation en cours") // the automaton has moved
            throw CORBA::TRANSIENT();
    };
    scene("send that fails", active("cdv"));
    panne = [](const LigneTrace&) {};
    scene("pending activation, that nothing but its answer ends", [&](Etat& a) {
        rendre(a.active("cdv"));
        rendre(a.active("cdv"));
        rendre(a.desactive());
        a.deconnexionCB(OXS_SERVICE_NON_ACTIVE);
        EXPECT_ANY_THROW(a.notifierAutomateDeconnexionCB());
    });
    scene("server of another version", [&](Etat& a) { a.activeCB(OXS_OK, "premier", "hote", niveau(1), 9); });
    scene("failure of the activation", [&](Etat& a) {
        a.notifierEchecActivation(OXS_REPLY_ERROR);
        attendreCallback();
    });
    essais::comparerTranscription("unit/adaptateur.txt", texte);
}

using Requete = OXstatut (*)(OXvol_completData*, int&) noexcept;
const Requete REQUETES[] = {&OXcdvCliItf::cree_vol_complet, &OXcdvCliItf::modifie_vol_complet,
                            &OXcdvCliItf::supprime_vol_complet, &OXcdvCliItf::consulte_vol_complet,
                            &OXcdvCliItf::liste_vol_complet};

using Servant = POA_OXcdv_v3_0_0_ServeurVersClientImplementation;
using VolFilaire = OXvol_completData_v3_0_0;
constexpr int RESULTAT = 3;
constexpr int ID_OP = 51;
void (*const NOTIFICATIONS[])(Servant&, const VolFilaire&) = {
    [](auto& s, auto& v) { s.cree_vol_complet(RESULTAT, v, ID_OP); },
    [](auto& s, auto& v) { s.modifie_vol_complet(RESULTAT, v, ID_OP); },
    [](auto& s, auto&) { s.supprime_vol_complet(RESULTAT, ID_OP); },
    [](auto& s, auto& v) { s.consulte_vol_complet(RESULTAT, v, ID_OP); },
    [](auto& s, auto& v) { s.liste_vol_complet(v, ID_OP); },
    [](auto& s, auto&) { s.fin_liste_vol_complet(RESULTAT, ID_OP); }};

using Repondeur = POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation;
void (*const REPONSES[])(Repondeur&) = {
    [](auto& r) { r.cree_vol_complet(), r.cree_vol_complet_excep(nullptr); },
    [](auto& r) { r.modifie_vol_complet(), r.modifie_vol_complet_excep(nullptr); },
    [](auto& r) { r.supprime_vol_complet(), r.supprime_vol_complet_excep(nullptr); },
    [](auto& r) { r.consulte_vol_complet(), r.consulte_vol_complet_excep(nullptr); },
    [](auto& r) { r.liste_vol_complet(), r.liste_vol_complet_excep(nullptr); }};

/// The messages of the application and of the server, through the facade and the servants.
class TranscriptionMessages : public Transcription
{
  protected:
    TranscriptionMessages()
    {
        vol.ecrire_gidentifiant(OXdupliqueChaine("VOL-1"));
        filaire = vol.construireObjetSpecifique_v3_0_0();
        premier.numeroClient = 42;
    }
    void demander(const Requete requete, OXvol_completData* donnees)
    {
        int idOp = -5;
        rendre(requete(donnees, idOp));
        if (idOp != -5)
            texte += idOp > _dernier ? "a new number\n" : "an old number\n";
        _dernier = std::max(_dernier, idOp);
    }
    void demanderTout()
    {
        for (const Requete requete : REQUETES)
            demander(requete, &vol);
    }
    /// What the server received.
    void attendreServeur()
    {
        const auto [operation, idOp, idClient, identifiant] = premier.service.attendre();
        texte += "server: " + operation + " " + identifiant + " of client " + std::to_string(idClient) +
                 (idOp == _dernier ? "\n" : ", of another number\n");
    }
    void notifierTout()
    {
        for (const auto notifier : NOTIFICATIONS)
            notifier(servant, filaire);
    }
    void lireVersions()
    {
        std::ostringstream versions; // in this order: both trace
        versions << "version " << OXcdvCliItf::lireVersion() << ", "
                 << OXcdvCliItf::lireVersionsConnues().size() << " known\n";
        texte += versions.str();
    }
    void toutAppeler()
    {
        demanderTout();
        rendre(OXcdvCliItf::active(service));
        rendre(OXcdvCliItf::desactive());
        lireVersions();
    }

    OXvol_completData vol;
    VolFilaire filaire;
    Servant servant; // called as the ORB would
    char service[4] = "cdv";

  private:
    int _dernier = 0;
};

TEST_F(TranscriptionMessages, OfTheMessages)
{
    const std::pair<const char*, std::function<void()>> PANNES[] = {
        {"Echec", [] { throw Echec(OXS_MAUVAISE_CONF); }},
        {"exception of the ORB", [] { throw CORBA::TRANSIENT(); }},
        {"lack of memory", [] { throw std::bad_alloc(); }},
        {"other exception", [] { throw std::runtime_error("?"); }},
        {"something thrown", [] { throw 1; }}};
    const auto faire = [](auto action) { return [action](Etat&) { action(); }; };
    const auto tomber = [this](const std::function<void()>& lever, const std::string& fichier,
                               const std::string& message) {
        panne = [=](const LigneTrace& ligne) {
            if (ligne.fichier == fichier && ligne.message.find(message) == 0)
                lever();
        };
    };
    scene("everything without kernel", faire([&] { toutAppeler(); }));
    notifierTout();
    demarrer();
    detruireOXcdvCliItfAdaptateur();
    notifierTout();
    EXPECT_EQ(nullptr, Singleton<OXcdvCliItfAdaptateur>::lireExistante()) << "brought into being";
    scene("requests and notifications of somebody inactive", faire([&] { demanderTout(), notifierTout(); }));
    activer();
    scene("requests", faire([&] {
              for (const Requete requete : REQUETES) {
                  demander(requete, &vol);
                  attendreServeur();
              }
          }));
    scene("notifications", faire([&] {
              for (const auto notifier : NOTIFICATIONS) {
                  notifier(servant, filaire);
                  const essais::Appel appel = callbacks.attendre();
                  texte += "application: " + appel.nom + " " + std::to_string(appel.statut) + " " +
                           std::to_string(appel.idOp) + " " + appel.identifiant.value_or("-") + "\n";
              }
          }));
    scene("a null record, a null name, versions", faire([&] {
              demander(REQUETES[0], nullptr);
              rendre(OXcdvCliItf::active(nullptr));
              lireVersions();
          }));
    for (const auto& [quoi, lever] : PANNES) {
        tomber(lever, "OXcdvCliItfAdaptateur", "Entrée.");
        scene(std::string("facade, ") + quoi, faire([&] { toutAppeler(); }));
        tomber(lever, "OXcdvServeurVersClientImplementation", "Creation de l'objet");
        scene(std::string("notification, ") + quoi, faire([&] { notifierTout(); }));
        tomber(lever, "OXcdvClientVersServeurHandlerImplementation", "Réponse AMI");
        Repondeur repondeur;
        scene(std::string("reply, ") + quoi, faire([&] { REPONSES[0](repondeur); }));
    }
    tomber([] { throw std::bad_alloc(); }, "OXcdvCliItf", "");
    scene("the facade's own traces fail", faire([&] { demander(REQUETES[0], &vol); }));
    panne = [](const LigneTrace&) {};
    scene("replies", faire([] {
              Repondeur repondeur;
              for (const auto repondre : REPONSES)
                  repondre(repondeur);
          }));
    premier.service.retirer();
    scene("a server that is not there any more", faire([&] { demander(REQUETES[0], &vol); }));
    detruireOXcdvCliItfAdaptateur();
    premier.sansReference = true;
    activer();
    scene("a server without reference", faire([&] {
              demanderTout();
              rendre(OXcdvCliItf::desactive());
          }));
    essais::comparerTranscription("unit/messages.txt", texte);
}

/// What the server learns of its client.
TEST_F(Adaptateur, AnnouncesTheClient)
{
    Etat& adaptateur = activer();
    EXPECT_THAT(premier.textesRecus, ElementsAre("cdv", oxNoyau()->lirePointAcces()->lireNom(), "machine"));
    ASSERT_EQ(1u, premier.niveauxRecus.length());
    const orix_corba::NiveauReference& niveau = premier.niveauxRecus[0];
    EXPECT_EQ(OXversion(3, 0, 0, 0),
              OXversion(niveau.majeur, niveau.mineur, niveau.correctif, niveau.construction));
    EXPECT_EQ(7, adaptateur.lireNumeroClient());
    EXPECT_EQ(OXS_OK, adaptateur.desactive());
    EXPECT_EQ((essais::Message{"desactiveCB", 0, 7, ""}), premier.service.attendre());
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

TEST_F(Adaptateur, GivesUpAServerOfAnotherVersionAsOneThatDoesNotAnswer)
{
    redemarrer([](auto& r) { r[orix::cle::delaiActivation] = std::chrono::milliseconds(300); });
    premier.version.mineur = 1;
    OXcdvCliItfAdaptateur& adaptateur = *oxcdvCliItfAdaptateur();
    EXPECT_EQ(OXS_OK, adaptateur.active("cdv"));
    const essais::Appel appel = callbacks.attendre();
    EXPECT_EQ("activeCB", appel.nom);
    EXPECT_EQ(OXS_REPLY_ERROR, appel.statut);
    attendreLivraison();
    activer(); // on the other server
    EXPECT_EQ(OXroutage::DeuxiemeServeur, adaptateur.lireServeurCourant());
}

TEST_F(Adaptateur, EndsWhileANotificationWaitsForAPlaceInTheQueue)
{
    redemarrer([](auto& r) { r[orix::cle::capaciteFileCB] = 1; });
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
        try {
            for (int i = 0;; ++i)
                notifications->fin_liste_vol_complet(0, i);
        } catch (const CORBA::Exception&) {
            // The servant is gone.
        }
    });
    etapes->occupe.get_future().wait();
    detruireOXcdvCliItfAdaptateur();
    serveur.join();
    etapes->liberation.set_value();
    EXPECT_EQ(0, callbacks.attendre("fin_liste_vol_completCB").idOp);
    EXPECT_EQ(nullptr, Singleton<OXcdvCliItfAdaptateur>::lireExistante());
    EXPECT_EQ((essais::Message{"desactiveCB", 0, 7, ""}), premier.service.attendre());
    EXPECT_EQ(OXroutage::PremierServeur, oxcdvCliItfAdaptateur()->lireServeurCourant());
    detruireOXcdvCliItfAdaptateur();
    detruireOXcdvCliItfAdaptateur();
}

/// The client ends while a notification is inside, and stays there longer than a call may last.
TEST_F(Adaptateur, TheServantOfOneThatStaysIsNotPulledFromUnderIt)
{
    redemarrer([](auto& r) { r[orix::cle::delaiAppel] = std::chrono::milliseconds(50); });
    {
#ifdef __SANITIZE_ADDRESS__
        const __lsan::ScopedDisabler abandon; // what is made here is left on purpose
#endif
        oxcdvCliItfAdaptateur();
    }
    activer();
    std::vector<std::string> textes;
    const essais::EcouteTraces ecoute(
        [&](const LigneTrace& ligne) {
            textes.push_back(ligne.message);
            if (ligne.message.find("Creation de l'objet") == 0)
                detruireOXcdvCliItfAdaptateur();
        },
        NTO_NOTABLE);
    premier.notifications()->fin_liste_vol_complet(RESULTAT, ID_OP); // in this process: on this thread
    EXPECT_THAT(textes,
                testing::Contains("Une notification n'est pas terminée : son servant est abandonné."));
    EXPECT_EQ("fin_liste_vol_completCB", callbacks.attendre().nom);
}

} // namespace
