#include "CapteurTraces.h"
#include "OXnoyau.h"
#include "ServeurEssai.h"
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/IExecutable.h"
#include "orix/interne/Livraison.h"
#include "orix/interne/OXroutage.h"
#include "orix/interne/RepondeurNoyau.h"
#include "orix/interne/SurveillantConnexions.h"

using namespace orix;
using essais::demarrer;
using std::chrono::milliseconds;
using namespace testing;

namespace {

/// An adapter that keeps what the kernel tells it.
class AdaptateurEspion : public IAdaptateurClient
{
  public:
    std::function<void(const std::string&)> pendant = [](const std::string&) {}; ///< run inside each event

    void activeCB(int statut, const char* serveur, const char* machine,
                  const orix_corba::NiveauReference& niveau, int numeroClient) override
    {
        _noter("activeCB " + std::to_string(statut) + " " + serveur + " " + machine + " " +
               std::to_string(niveau.majeur) + " " + std::to_string(numeroClient));
    }
    void notifierEchecActivation(OXstatut statut) override
    {
        _noter("echecActivation " + std::to_string(statut));
    }
    void notifierAutomateDeconnexionCB() override { _noter("automate"); }
    void notifierDeconnexionCB(int statut) override { _noter("deconnexion " + std::to_string(statut)); }
    void deconnexionCB(int) override {}
    int lireNumeroClient() override { return 42; }
    OXstatut active(const std::string&) override { return OXS_NOK; }
    OXstatut desactive() override { return OXS_NOK; }

    std::string attendre() { return _evenements.prendre("rien"); }
    std::size_t nombre() { return _evenements.nombre(); }
    /// Waits until it has been told of the loss of its server.
    void attendrePerte()
    {
        EXPECT_EQ(attendre(), "automate");
        EXPECT_EQ(attendre(), "deconnexion 21");
    }

  private:
    void _noter(const std::string& evenement)
    {
        pendant(evenement);
        _evenements.poser(evenement);
    }

    essais::FileAttente<std::string> _evenements;
};

class Appel : public IExecutable
{
  public:
    void executer() override {}
};

void rapide(Configuration& configuration)
{
    configuration[orix::cle::periodePing] = milliseconds(10);
    configuration[orix::cle::delaiPing] = std::chrono::minutes(1); // out of reach
}

class AvecNoyau : public testing::Test
{
  protected:
    void demarrerAvec(const std::function<void(Configuration&)>& changer)
    {
        Configuration configuration;
        changer(configuration);
        ASSERT_EQ(demarrer(configuration), "");
        ORBthread* const acces = oxNoyau()->lirePointAcces();
        _repondeur = new RepondeurNoyau(acces->lireORB(), acces->lirePOA_ORIX());
    }
    void TearDown() override
    {
        if (oxNoyau()->lireEtat() == NOYAU_INITIALISE) {
            EXPECT_EQ(terminer(), OXS_OK);
        }
    }

    using Transaction = OXnoyau::TransactionCreerReference<POA_orix_corba::AMI_NoyauHandler>;

    /// Sends a request of activation for the adapter, as it does itself; returns the reply handler.
    orix_corba::AMI_NoyauHandler_var demander(IAdaptateurClient& adaptateur)
    {
        Transaction transaction(_repondeur.in(), &adaptateur);
        orix_corba::AMI_NoyauHandler_var repondeur = transaction.prendreReference();
        const orix_corba::Noyau_var noyau = noyauServeur._this();
        noyau->sendc_activerService(repondeur, "cdv", orix_corba::SequenceNiveauReference(),
                                    orix_corba__Client::_nil(), "fil", "machine");
        transaction.valider();
        return repondeur;
    }
    void surveiller(IAdaptateurClient& adaptateur, const std::string& service = "cdv")
    {
        oxNoyau()->activerClient(service, &adaptateur);
        const orix_corba::Serveur_var reference = serveur._this();
        oxSurveillantConnexions()->ajouterSurveillanceServeur(service, reference, &adaptateur);
    }
    /// A loss that the adapter is told of ends its supervision.
    void desactiverALaPerte()
    {
        adaptateur.pendant = [](const std::string&) { oxNoyau()->desactiverClient("cdv"); };
    }
    essais::ServeurEssai noyauServeur{"cdv"};
    essais::ServiceEssai& serveur = noyauServeur.service;
    AdaptateurEspion adaptateur;
    PortableServer::Servant_var<RepondeurNoyau> _repondeur;
};

using Activation = AvecNoyau;
using Surveillance = AvecNoyau;

} // namespace

// -------------------------------------------------------------------------------------------------------
// activation

TEST_F(Activation, LaReponseEstDonneeUneFois)
{
    demarrerAvec([](auto&) {});
    essais::CapteurTraces traces(NTO_REFUS);
    orix_corba::AMI_NoyauHandler_var repondeur;
    std::promise<void> demande;
    const auto repeter = [&] {
        repondeur->activerService(OXS_OK, "encore", "m", orix_corba::NiveauReference(), 1);
    };
    adaptateur.pendant = [&](const std::string&) {
        demande.get_future().wait();
        repeter(); // while the first answer is being delivered
    };
    repondeur = demander(adaptateur);
    demande.set_value();
    EXPECT_EQ(adaptateur.attendre(), "activeCB 0 cdv hote 3 7");
    oxNoyau()->enregistrerParametres(new ParametresActivationService(&adaptateur)); // the delivery is over
    // The object leaves its adapter once the answer that is inside has returned.
    for (bool present = true; present;)
        try {
            repeter();
            std::this_thread::yield();
        } catch (const CORBA::OBJECT_NOT_EXIST&) {
            present = false;
        }
    EXPECT_EQ(adaptateur.nombre(), 0u);
    adaptateur.pendant = [](const std::string&) {};
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(adaptateur.attendre(), "echecActivation 24"); // of the one that was registered
    EXPECT_THAT(traces.prendreTextes(),
                Contains("300 Réponse ignorée : la demande d'activation 1 n'est plus en "
                         "attente"));
}

TEST_F(Activation, UnEchecDuTransportSeDistingueDesAutres)
{
    demarrerAvec([](auto&) {});
    const std::pair<std::function<void()>, const char*> echecs[] = {
        {[] { throw CORBA::TRANSIENT(); }, "echecActivation 14"},
        {[] { throw CORBA::NO_IMPLEMENT(); }, "echecActivation 22"}};
    for (const auto& [echec, attendu] : echecs) {
        noyauServeur.avantReponse = echec;
        demander(adaptateur);
        EXPECT_EQ(adaptateur.attendre(), attendu);
    }
}

TEST_F(Activation, OublieeElleNeDitRienEtLArretLeDit)
{
    demarrerAvec([](auto&) {});
    std::promise<void> liberation;
    noyauServeur.avantReponse = [suite = liberation.get_future().share()] { suite.wait(); };
    AdaptateurEspion autre, dernier;
    demander(adaptateur);
    oxNoyau()->oublierAdaptateur(&adaptateur);
    // Numbers follow one another: that of the request is the next one.
    const int precedent = oxNoyau()->enregistrerParametres(new ParametresActivationService(&autre));
    oxNoyau()->supprimerParametres(precedent);
    demander(autre);
    oxNoyau()->supprimerParametres(precedent + 1);
    {
        const Transaction abandonnee(_repondeur.in(), &dernier); // neither sent nor validated
    }
    demander(dernier);
    liberation.set_value();
    EXPECT_EQ(dernier.attendre(), "activeCB 0 cdv hote 3 7");
    oxNoyau()->enregistrerParametres(new ParametresActivationService(&dernier));
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(dernier.attendre(), "echecActivation 24");
    EXPECT_EQ(adaptateur.nombre() + autre.nombre() + dernier.nombre(), 0u);
}

TEST_F(Activation, OublierAttendLaLivraisonEnCoursDAutrui)
{
    demarrerAvec([](auto&) {});
    std::promise<void> entree, liberation;
    std::atomic<bool> livree{false};
    adaptateur.pendant = [&](const std::string&) {
        entree.set_value();
        liberation.get_future().wait();
        livree = true;
    };
    demander(adaptateur);
    entree.get_future().wait();
    auto oubli = std::async(std::launch::async, [&] {
        oxNoyau()->oublierAdaptateur(&adaptateur);
        return livree.load();
    });
    auto suivante = std::async(std::launch::async, [&] {
        oxNoyau()->enregistrerParametres(new ParametresActivationService(&adaptateur));
        return livree.load();
    });
    liberation.set_value();
    EXPECT_TRUE(oubli.get());
    EXPECT_TRUE(suivante.get());
    adaptateur.pendant = [](const std::string&) {}; // the stop of the kernel will tell that one of its end
}

TEST_F(Activation, UneLivraisonSansFinNeRetientPasLArret)
{
    demarrerAvec([](auto& c) { c[orix::cle::delaiAppel] = milliseconds(20); });
    std::promise<void> entree, liberation;
    std::thread occupe([&] {
        const Livraison livraison(&adaptateur);
        entree.set_value();
        liberation.get_future().wait();
    });
    entree.get_future().wait();
    AdaptateurEspion connecte;
    oxNoyau()->activerClient("cdv", &adaptateur);
    oxNoyau()->activerClient("autre", &connecte);
    EXPECT_EQ(terminer(), OXS_NOK);
    liberation.set_value();
    occupe.join();
    EXPECT_EQ(adaptateur.nombre(), 0u);
    EXPECT_EQ(connecte.attendre(), "automate");
}

TEST_F(Activation, PendantUneLivraisonLeNoyauRepondEtNulNAttend)
{
    demarrerAvec([](auto& c) { c[orix::cle::capaciteFileCB] = 1; });
    std::promise<void> faite;
    adaptateur.pendant = [&](const std::string&) {
        EXPECT_EQ(terminer(), OXS_NOK);
        for (int i = 0; i < 10; ++i) // a full queue must not stop the kernel
            objetCB()->posterExecutable(1, "cdv", new Appel);
        oxNoyau()->supprimerParametres(
            oxNoyau()->enregistrerParametres(new ParametresActivationService(&adaptateur)));
        oxNoyau()->oublierAdaptateur(&adaptateur);
        faite.set_value();
        throw std::runtime_error("panne");
    };
    essais::CapteurTraces traces(NTO_NOTABLE);
    demander(adaptateur);
    faite.get_future().wait();
    AdaptateurEspion autre;
    demander(autre);
    EXPECT_EQ(autre.attendre(), "activeCB 0 cdv hote 3 7");
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_THAT(traces.prendreTextes(),
                Contains("100 Exception non prévue lors de la notification d'une activation : panne"));
}

// ------------------------------------------------------------------------------------------------------
// supervision

TEST_F(Surveillance, CeQueLeServeurEnvoieLeProuveVivant)
{
    demarrerAvec(rapide);
    std::atomic<int> pings{0};
    serveur.ping = [&](int) {
        if (++pings <= 10) // not under the name of the supervision, but of the client
            objetCB()->posterExecutable(1, "cdv", new Appel);
        throw CORBA::TRANSIENT();
    };
    desactiverALaPerte();
    oxNoyau()->activerClient("cdv", &adaptateur);
    const orix_corba::Serveur_var reference = serveur._this();
    oxSurveillantConnexions()->ajouterSurveillanceServeur("cdv_essai", reference, &adaptateur);
    EXPECT_EQ(adaptateur.attendre(), "automate");
    EXPECT_EQ(pings, 12);
}

TEST_F(Surveillance, LAdaptateurQuiRefuseNEstPasRappele)
{
    demarrerAvec(rapide);
    AdaptateurEspion autre;
    std::promise<void> refus;
    adaptateur.pendant = [&](const std::string&) {
        oxNoyau()->desactiverClient("cdv");
        refus.set_value();
        throw Echec(OXS_SERVICE_NON_ACTIVE);
    };
    serveur.ping = [](int) { throw orix_corba::ClientDeconnecte(); };
    surveiller(adaptateur);
    refus.get_future().wait();
    surveiller(autre, "autre"); // the monitor goes on
    autre.attendrePerte();
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(adaptateur.nombre(), 0u);
}

TEST_F(Surveillance, UneDesactivationInterrompueSeTermineEnPerte)
{
    demarrerAvec(rapide);
    AdaptateurEspion revenu;
    surveiller(revenu, "revenu");
    surveiller(adaptateur);
    oxSurveillantConnexions()->supprimerSurveillanceServeur("revenu");
    oxNoyau()->desactiverClient("revenu");
    oxNoyau()->activerClient("revenu", &revenu); // a new activation, which nothing has interrupted
    oxSurveillantConnexions()->supprimerSurveillanceServeur("cdv");
    adaptateur.attendrePerte();
    EXPECT_EQ(revenu.nombre(), 0u);
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(adaptateur.nombre(), 0u);
    EXPECT_EQ(revenu.attendre(), "automate"); // the connections end with the kernel
    EXPECT_EQ(revenu.nombre(), 0u);
}

// -------------------------------------------------------------------------------------------------------
// start and stop

TEST(Processus, RecommenceAutantDeFoisQuIlFaut)
{
    std::string programme = "essai", option = "-ORBtraceLevel", niveau = "1", autre = "autre";
    for (int cycle = 0; cycle < 5; ++cycle) {
        char* argv[] = {&programme[0], &option[0], &niveau[0], &autre[0], nullptr};
        int argc = 4;
        EXPECT_EQ(oxNoyau()->lireEtat(), NOYAU_NON_INITIALISE);
        EXPECT_EQ(terminer(), OXS_NOYAU_NON_INITIALISE);
        EXPECT_THROW(oxNoyau()->enregistrerParametres(new ParametresActivationService(nullptr)), Echec);
        Configuration configuration;
        configuration[orix::cle::routage]["cdv"] = {"corbaloc:iiop:h" + std::to_string(cycle) + ":1/Noyau"};
        ASSERT_EQ(initialiser(argc, argv, configuration), OXS_OK);
        EXPECT_EQ(argc, 2); // the ORB took its option
        EXPECT_STREQ(argv[1], "autre");
        EXPECT_EQ(oxNoyau()->lireEtat(), NOYAU_INITIALISE);
        EXPECT_THAT(demarrer(Configuration()), StartsWith("OXS_NOYAU_DEJA_INITIALISE"));
        EXPECT_EQ(oxRoutage()->lireNombreServeurs("cdv"), 1);
        EXPECT_EQ(oxRoutage()->lireNombreServeurs("inconnu"), 0);
        EXPECT_EQ(oxRoutage()->lireURLnoyau("cdv", OXroutage::PremierServeur),
                  "corbaloc:iiop:h" + std::to_string(cycle) + ":1/Noyau");
        EXPECT_THROW(oxRoutage()->lireURLnoyau("cdv", OXroutage::DeuxiemeServeur), Echec);
        EXPECT_EQ(terminer(), OXS_OK);
    }
}

TEST(Processus, UnDemarrageManqueNeLaisseRien)
{
    Configuration configuration;
    configuration[orix::cle::fichierTrace] = "/dev/null/trace.log";
    EXPECT_THAT(
        demarrer(configuration),
        StartsWith(
            "OXS_MAUVAISE_CONF: [trace] fichier: got \"/dev/null/trace.log\", expected a file that can be "
            "written ("));

    configuration = {};
    configuration[orix::cle::pointsAcces] = {"192.0.2.1:1"}; // an address that no machine has
    EXPECT_THAT(
        demarrer(configuration),
        StartsWith(
            "OXS_MAUVAISE_CONF: [orb] points_acces: got \"192.0.2.1:1\", expected endpoints that can be "
            "opened ("));

    std::string programme = "essai", option = "-ORBinconnue", niveau = "1";
    char* argv[] = {&programme[0], &option[0], &niveau[0], nullptr};
    int argc = 3;
    std::string message;
    EXPECT_EQ(initialiser(argc, argv, Configuration(), &message), OXS_ERREUR_CORBA);
    EXPECT_THAT(message, HasSubstr("CORBA"));

    EXPECT_EQ(oxNoyau()->lireEtat(), NOYAU_NON_INITIALISE);
    EXPECT_EQ(demarrer(Configuration()), "");
    EXPECT_EQ(terminer(), OXS_OK);
}

TEST(Processus, UneRequeteQuiNeRevientPasNeRetientPasLArret)
{
    Configuration configuration;
    configuration[orix::cle::delaiAppel] = milliseconds(20);
    configuration[orix::cle::delaiConnexion] = milliseconds(20);
    ASSERT_EQ(demarrer(configuration), "");
    std::promise<void> entree, liberation;
    essais::ServeurEssai serveur("cdv");
    serveur.sansReference = true; // none can be made once its ORB is ending
    serveur.avantReponse = [&] {
        entree.set_value();
        liberation.get_future().wait();
    };
    const orix_corba::Noyau_var noyau = serveur._this();
    std::thread requete([&] {
        CORBA::Long statut, numero;
        CORBA::String_var nom, machine;
        orix_corba::NiveauReference_var niveau;
        noyau->activerService("cdv", orix_corba::SequenceNiveauReference(), orix_corba__Client::_nil(), "",
                              "", statut, nom, machine, niveau, numero);
    });
    entree.get_future().wait();
    essais::CapteurTraces traces(NTO_NOTABLE);
    EXPECT_EQ(terminer(), OXS_NOK);
    EXPECT_THAT(traces.prendreTextes(),
                Contains("100 Arrêt incomplet, n'est plus attendu : requêtes reçues"));
    EXPECT_EQ(demarrer(Configuration()),
              texteStatut(OXS_ERREUR_CORBA) +
                  std::string(": the ORB of the previous run has not ended yet: a request is still inside"));
    liberation.set_value();
    requete.join();
    while (!demarrer(Configuration()).empty())
        std::this_thread::yield();
    EXPECT_EQ(terminer(), OXS_OK);
}
