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
#include <fstream>
#include <future>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>
#include <utility>

using namespace orix;
using testing::ElementsAre;
using Etat = OXcdvCliItfAdaptateur;

namespace {

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

using Adaptateur = essais::AvecNoyau;

/// Writes down what the adapter does: the lines that it traces, the calling thread's first, what its
/// functions return, what the application is told, and where that leaves the client.
class Transcription : public essais::AvecNoyau
{
  protected:
    Transcription() { reglages.niveauTrace = NTO_AUCUN; }
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
                if (ligne.fichier != "OXcdvCliItfAdaptateur" && ligne.fichier != "OXnoyau")
                    return;
                (ici == std::this_thread::get_id() ? texte : autresFils) += _transcrire(ligne);
                if (ligne.message == panneA)
                    throw CORBA::TRANSIENT();
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
    static orix_corba::NiveauReference niveau(int mineur)
    {
        orix_corba::NiveauReference niveau;
        niveau.majeur = 3;
        niveau.mineur = mineur;
        niveau.correctif = niveau.construction = 0;
        return niveau;
    }

    std::string texte;
    std::string panneA; ///< message of the line at which the ORB fails

  private:
    static std::string _transcrire(const LigneTrace& ligne)
    {
        const std::size_t parenthese = ligne.fonction.find('(');
        const std::string signature = ligne.fonction.substr(0, parenthese);
        std::string resultat = std::to_string(ligne.niveau) + " " +
                               signature.substr(signature.find_last_of(": ") + 1) +
                               (parenthese == std::string::npos ? "" : "()") + ": " + ligne.message + "\n";
        for (const char* variable : {"127.0.0.1:\\d+", "(resoudre l'url|le narrow): [^\n]+", "CORBA = \\d+"})
            resultat = std::regex_replace(resultat, std::regex(variable), "...");
        return resultat;
    }
    void _finir(const Etat& adaptateur)
    {
        texte += std::exchange(_dits, "");
        EXPECT_EQ(0u, callbacks.nombre());
        const char* const etats[] = {"inactive", "pending", "active"};
        texte += std::string("client: ") + etats[adaptateur.lireEtat()] + ", server " +
                 std::to_string(adaptateur.lireServeurCourant());
        for (const auto& [service, urls] : reglages.routage)
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

TEST_F(Transcription, IsTheOneExpected)
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
    panneA = "Demande d'activation en cours"; // the automaton has moved
    scene("send that fails", active("cdv"));
    panneA.clear();
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
    std::ostringstream attendu;
    attendu << std::ifstream(OXCDV_SOURCES "/tests/unit/adaptateur.txt").rdbuf();
    EXPECT_EQ(attendu.str(), texte);
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
