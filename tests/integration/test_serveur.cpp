#include "CapteurTraces.h"
#include "DossierTemporaire.h"
#include "EnvoiSansReponse.h"
#include "FileAttente.h"
#include "LiaisonORB.h"
#include "OXcdvClientVersServeurC.h"
#include "OXcdvServeurVersClientS.h"
#include "OXvol_completData.h"
#include "PanneMemoire.h"
#include "ServantAttendu.h"
#include "Serveur.h"
#include "ServeurReel.h"
#include "VolsEssai.h"

#include "orix/OXchaine.h"
#include "orix/Processus.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"

#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <iostream>
#include <new>
#include <optional>
#include <set>
#include <tuple>

using essais::DossierTemporaire;
using essais::Programme;
using essais::ServeurReel;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Vol = OXvol_completData_v3_0_0;
using Service = std::remove_pointer_t<orix_corba::OXcdv_v3_0_0_ClientVersServeur_ptr>;
constexpr std::chrono::seconds PATIENCE{60};

/// A record with nothing set but the identifier.
Vol vol(const std::string& identifiant)
{
    OXvol_completData rempli;
    rempli.ecrire_gidentifiant(OXdupliqueChaine(identifiant.c_str()));
    return rempli.construireObjetSpecifique_v3_0_0();
}

/// What a client received, a notification or the end that the server announced: its name, its result, the
/// identifier, the number of the operation.
using Recu = std::tuple<std::string, int, std::string, int>;
using Receptions = essais::FileAttente<Recu>;

class Notifications : public POA_orix_corba::OXcdv_v3_0_0_ServeurVersClient, public orix::orb::ServantAttendu
{
  public:
    explicit Notifications(Receptions& receptions) : _receptions(receptions) {}
    void cree_vol_complet(CORBA::Long resultat, const Vol& v, CORBA::Long idOp) override
    {
        _receptions.poser({"cree", resultat, v.m_gidentifiant.in(), idOp});
    }
    void modifie_vol_complet(CORBA::Long resultat, const Vol& v, CORBA::Long idOp) override
    {
        _receptions.poser({"modifie", resultat, v.m_gidentifiant.in(), idOp});
    }
    void supprime_vol_complet(CORBA::Long resultat, CORBA::Long idOp) override
    {
        _receptions.poser({"supprime", resultat, "", idOp});
    }
    void consulte_vol_complet(CORBA::Long resultat, const Vol& v, CORBA::Long idOp) override
    {
        _receptions.poser({"consulte", resultat, v.m_gidentifiant.in(), idOp});
    }
    void liste_vol_complet(const Vol& v, CORBA::Long idOp) override
    {
        _receptions.poser({"liste", 0, v.m_gidentifiant.in(), idOp});
    }
    void fin_liste_vol_complet(CORBA::Long resultat, CORBA::Long idOp) override
    {
        _receptions.poser({"fin_liste", resultat, "", idOp});
    }

  private:
    Receptions& _receptions;
};

class Face : public POA_orix_corba__Client, public orix::orb::ServantAttendu
{
  public:
    enum Reponse
    {
        PRESENT,
        DEFAILLANT,
        RENIE
    };

    explicit Face(Receptions& receptions) : _receptions(receptions) {}
    void testerConnexionClient(const char*, const char*, const char*, CORBA::Long) override
    {
        if (reponse == DEFAILLANT)
            throw CORBA::NO_RESOURCES();
        if (reponse == RENIE)
            throw orix_corba::ServeurDeconnecte();
        pings.poser(true);
    }
    void testerConnexionServeur(CORBA::Long) override {}
    void deconnexionCB(CORBA::Long raison) override { _receptions.poser({"deconnexion", raison, "", 0}); }

    std::atomic<Reponse> reponse{PRESENT};
    essais::FileAttente<bool> pings;

  private:
    Receptions& _receptions;
};

/// What a server's kernel answered.
struct Activation
{
    CORBA::Long statut = -1;
    CORBA::String_var serveur;
    CORBA::String_var machine;
    orix_corba::NiveauReference_var niveau;
    CORBA::Long numero = -1;
};

/// A client that speaks the protocol itself.
class ClientBrut
{
  public:
    ClientBrut() = default;
    explicit ClientBrut(const std::string& url)
    {
        const CORBA::Object_var objet =
            orix::orb::resoudre(orix::oxNoyau()->lirePointAcces()->lireORB(), url, PATIENCE);
        _noyau = orix_corba::Noyau::_unchecked_narrow(objet);
        if (CORBA::is_nil(_noyau))
            throw std::runtime_error("no kernel at " + url);
    }
    ~ClientBrut()
    {
        const PortableServer::POA_ptr poa = orix::oxNoyau()->lirePointAcces()->lirePOA_Racine();
        const auto retirer = [&](auto& servant) {
            try {
                const PortableServer::ObjectId_var id = poa->servant_to_id(&servant);
                poa->deactivate_object(id);
            } catch (const PortableServer::POA::ServantNotActive&) {
                // no activation was asked for with references
            }
            EXPECT_TRUE(servant.attendreRetrait(PATIENCE));
        };
        retirer(_notifications);
        retirer(_face);
    }

    /// What it asks an activation with.
    struct Presentation
    {
        orix_corba::SequenceNiveauReference niveaux;
        orix_corba__Client_var face;
    };
    Presentation presenter(int majeur, bool avecReferences)
    {
        Presentation p;
        orix_corba::SequenceNiveauReference& niveaux = p.niveaux;
        niveaux.length(2);
        for (CORBA::ULong i = 0; i < 2; ++i) {
            niveaux[i].majeur = i == 0 ? 1 : majeur;
            niveaux[i].mineur = niveaux[i].correctif = niveaux[i].construction = 0;
        }
        if (avecReferences) {
            niveaux[1].reference = _notifications._this();
            p.face = _face._this();
        }
        return p;
    }
    /// noyau: a reference, or a servant.
    template <class Noyau>
    static void demander(Noyau& noyau, const std::string& service, const Presentation& p, Activation& a)
    {
        noyau.activerService(service.c_str(), p.niveaux, p.face.in(), "essai", "machine", a.statut,
                             a.serveur.out(), a.machine.out(), a.niveau.out(), a.numero);
    }
    Activation demander(const std::string& service, int majeur, bool avecReferences)
    {
        Activation a;
        demander(*_noyau.in(), service, presenter(majeur, avecReferences), a);
        return a;
    }
    ClientBrut& activer()
    {
        const Activation a = demander("cdv", 3, true);
        if (a.statut != orix::OXS_OK)
            throw std::runtime_error("activation refused");
        _numero = a.numero;
        _service = orix_corba::OXcdv_v3_0_0_ClientVersServeur::_unchecked_narrow(a.niveau->reference);
        return *this;
    }

    template <class Sendc>
    void envoyer(Sendc sendc, const char* operation, const Vol& v, int idOp)
    {
        const CORBA::Long op = idOp;
        orix::orb::envoyer(_service.in(), sendc, operation,
                           orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_nil(), v, op, _numero);
    }
    void creer(const std::string& identifiant, int idOp)
    {
        envoyer(&Service::sendc_cree_vol_complet, "cree_vol_complet", vol(identifiant), idOp);
    }
    void lister(int idOp)
    {
        envoyer(&Service::sendc_liste_vol_complet, "liste_vol_complet",
                OXvol_completData().construireObjetSpecifique_v3_0_0(), idOp);
    }

    Service* service() { return _service.in(); }
    CORBA::Long numero() const { return _numero; }
    Face& face() { return _face; }
    void noter(const Recu& recu) { _receptions.poser(recu); }
    Recu attendre() { return _receptions.prendre({"rien", 0, "", 0}, PATIENCE); }
    /// The next ones; fewer when one does not come.
    std::vector<Recu> attendre(std::size_t nombre)
    {
        std::vector<Recu> recus;
        do
            recus.push_back(attendre());
        while (recus.size() < nombre && std::get<0>(recus.back()) != "rien");
        return recus;
    }
    std::size_t nombreRecus() { return _receptions.nombre(); }
    bool estConnu()
    {
        try {
            _service->testerConnexionServeur(_numero);
            return true;
        } catch (const orix_corba::ClientDeconnecte&) {
            return false;
        }
    }

  private:
    Receptions _receptions;
    Notifications _notifications{_receptions};
    Face _face{_receptions};
    orix_corba::Noyau_var _noyau;
    orix_corba::OXcdv_v3_0_0_ClientVersServeur_var _service;
    CORBA::Long _numero = 0;
};

std::string departDe(const ClientBrut& client)
{
    return "Client " + std::to_string(client.numero()) + " parti";
}

class TestServeur : public testing::Test
{
  protected:
    void SetUp() override
    {
        int argc = 0;
        std::string message;
        ASSERT_EQ(orix::OXS_OK, orix::initialiser(argc, nullptr, orix::Configuration(), &message)) << message;
    }
    void TearDown() override { EXPECT_EQ(orix::OXS_OK, orix::terminer()); }

    DossierTemporaire _dossier;
    std::string _base = _dossier.fichier("vols.db");
};

} // namespace

TEST(ProgrammeServeur, UnRefusTientEnUneLigneEtLeStatut2)
{
    const DossierTemporaire dossier;
    const std::string base = dossier.fichier("vols.db");
    const std::string abimee = dossier.fichier("abimee.db");
    std::ofstream(abimee) << std::string(8192, 'x');
    const std::string configuration = dossier.fichier("fausse.toml");
    std::ofstream(configuration) << "[orb]\ndelai_appel_ms = \"longtemps\"\n";
    const ServeurReel occupant(base);

    const struct
    {
        std::vector<std::string> arguments;
        std::string dit;
    } cas[] = {
        {{"--base", base, "--inconnue"}, "--inconnue"},
        {{}, "--base"},
        {{"--base", base, "--port", "70000"}, "70000"},
        {{"--base", base, "--port", std::to_string(occupant.port())}, std::to_string(occupant.port())},
        {{"--base", abimee, "--port", "0"}, "ce n'est pas une base de vols"},
        {{"--base", dossier.fichier("absent/vols.db"), "--port", "0"}, "absent/vols.db"},
        {{"--base", base, "--port", "0", "--configuration", configuration}, "delai_appel_ms"},
    };
    for (const auto& [arguments, dit] : cas) {
        Programme programme(essais::cheminServeur(), arguments);
        EXPECT_EQ(2, programme.attendreFin()) << dit;
        const std::string erreurs = programme.erreurs();
        EXPECT_THAT(erreurs, HasSubstr(dit));
        EXPECT_EQ(erreurs.size() - 1, erreurs.find('\n')) << erreurs;
        EXPECT_EQ("", programme.sortie());
    }

    Programme aide(essais::cheminServeur(), {"--help"});
    EXPECT_EQ(0, aide.attendreFin());
    EXPECT_THAT(aide.sortie(), HasSubstr("--periode-ping"));
    EXPECT_THAT(aide.sortie(), HasSubstr("4  échec de la base"));
    EXPECT_EQ("", aide.erreurs());
}

TEST_F(TestServeur, UneActivationImpossibleEstRefuseeAvecSonStatut)
{
    const ServeurReel serveur(_base, {"--nom", "premier", "--machine", "tour"});
    ClientBrut client(serveur.url());
    const auto verifier = [](const Activation& a, orix::OXstatut statut) {
        EXPECT_EQ(statut, a.statut);
        EXPECT_EQ(0, a.numero);
        EXPECT_STREQ("premier", a.serveur);
        EXPECT_TRUE(CORBA::is_nil(a.niveau->reference));
    };
    verifier(client.demander("vdc", 3, true), orix::OXS_SERVEUR_INEXISTANT);
    verifier(client.demander("cdv", 2, true), orix::OXS_PROTOCOLE_INCOMPATIBLE);
    verifier(client.demander("cdv", 3, false), orix::OXS_PARAMETRE_INVALIDE);

    const Activation a = client.demander("cdv", 3, true);
    EXPECT_EQ(orix::OXS_OK, a.statut);
    EXPECT_LT(0, a.numero);
    EXPECT_STREQ("premier", a.serveur);
    EXPECT_STREQ("tour", a.machine);
    EXPECT_EQ(3, a.niveau->majeur);
}

TEST_F(TestServeur, LesNotificationsSuiventLOrdreDesDemandes)
{
    const ServeurReel serveur(_base);
    ClientBrut client(serveur.url());
    client.activer();

    constexpr int NOMBRE = 2000;
    std::vector<Recu> attendus;
    for (int i = 1; i <= NOMBRE; ++i) {
        const std::string identifiant = std::to_string(100000 + i);
        client.creer(identifiant, i);
        attendus.push_back({"cree", 0, identifiant, i});
    }
    const auto envoyer = [&](const char* nom, auto sendc, const char* operation,
                             const std::string& identifiant, int resultat) {
        const int idOp = static_cast<int>(attendus.size()) + 1;
        client.envoyer(sendc, operation, vol(identifiant), idOp);
        attendus.push_back({nom, resultat, std::string(nom) == "supprime" ? "" : identifiant, idOp});
    };
    envoyer("cree", &Service::sendc_cree_vol_complet, "cree_vol_complet", "100001", 1);
    envoyer("modifie", &Service::sendc_modifie_vol_complet, "modifie_vol_complet", "100001", 0);
    envoyer("consulte", &Service::sendc_consulte_vol_complet, "consulte_vol_complet", "absent", 2);
    envoyer("consulte", &Service::sendc_consulte_vol_complet, "consulte_vol_complet", "", 3);
    client.lister(7);
    for (int i = 1; i <= NOMBRE; ++i)
        attendus.push_back({"liste", 0, std::to_string(100000 + i), 7});
    attendus.push_back({"fin_liste", 0, "", 7});
    envoyer("supprime", &Service::sendc_supprime_vol_complet, "supprime_vol_complet", "100001", 0);
    envoyer("supprime", &Service::sendc_supprime_vol_complet, "supprime_vol_complet", "100001", 2);

    EXPECT_EQ(attendus, client.attendre(attendus.size()));
}

TEST_F(TestServeur, UnNumeroInconnuEstDeconnecte)
{
    const ServeurReel serveur(_base);
    ClientBrut client(serveur.url());
    client.activer();
    EXPECT_THROW(client.service()->cree_vol_complet(vol("AF1"), 1, client.numero() + 1),
                 orix_corba::ClientDeconnecte);
    client.service()->desactiveCB(client.numero() + 1); // nobody: no harm

    EXPECT_TRUE(client.estConnu());
    client.service()->cree_vol_complet(vol("AF2"), 2, client.numero());
    EXPECT_EQ(client.attendre(), Recu("cree", 0, "AF2", 2));
    client.service()->desactiveCB(client.numero());
    EXPECT_FALSE(client.estConnu());
}

TEST_F(TestServeur, UneDemandeNotifieeSurvitAUneMortBrutale)
{
    std::set<std::string> notifies;
    {
        ServeurReel serveur(_base);
        ClientBrut client(serveur.url());
        client.activer();
        for (int i = 0; i < 5000; ++i)
            client.creer("AF" + std::to_string(i), i);
        std::vector<Recu> recus = client.attendre(500);
        serveur.signaler(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, serveur.attendreFin());
        while (client.nombreRecus() > 0)
            recus.push_back(client.attendre());
        for (const Recu& recu : recus)
            notifies.insert(std::get<2>(recu));
    }
    ASSERT_LE(500u, notifies.size());

    const ServeurReel serveur(_base);
    ClientBrut client(serveur.url());
    client.activer().lister(1);
    Recu recu = client.attendre();
    for (; std::get<0>(recu) == "liste"; recu = client.attendre())
        notifies.erase(std::get<2>(recu));
    EXPECT_EQ(recu, Recu("fin_liste", 0, "", 1));
    EXPECT_THAT(notifies, IsEmpty());
}

TEST_F(TestServeur, LArretAcheveLesDemandesPuisPrevientLesClients)
{
    ServeurReel serveur(_base);
    ClientBrut client(serveur.url());
    ClientBrut autre(serveur.url());
    client.activer();
    autre.activer();
    std::vector<Recu> attendus;
    for (int i = 0; i < 2000; ++i) {
        client.creer(std::to_string(i), i);
        attendus.push_back({"cree", 0, std::to_string(i), i});
    }
    ASSERT_TRUE(client.estConnu()); // answered behind them: the server has them all
    serveur.signaler(SIGTERM);
    attendus.push_back({"deconnexion", orix::OXS_SERVICE_NON_ACTIVE, "", 0});
    EXPECT_EQ(attendus, client.attendre(attendus.size()));
    EXPECT_EQ(autre.attendre(), attendus.back());
    EXPECT_EQ(0, serveur.attendreFin());
}

TEST_F(TestServeur, UnClientDefaillantOuQuiRenieEstAbandonneSansGenerLesAutres)
{
    ServeurReel serveur(_base, {"--periode-ping", "50", "--delai-ping", "50"});
    ClientBrut present(serveur.url());
    ClientBrut defaillant(serveur.url());
    ClientBrut renie(serveur.url());
    for (ClientBrut* client : {&present, &defaillant, &renie})
        client->activer();
    EXPECT_TRUE(renie.estConnu()); // a sign of life: it holds the server as its own
    defaillant.face().reponse = Face::DEFAILLANT;
    renie.face().reponse = Face::RENIE;
    EXPECT_TRUE(serveur.attendreErreurs(departDe(defaillant))) << serveur.erreurs();
    EXPECT_TRUE(serveur.attendreErreurs(departDe(renie))) << serveur.erreurs();
    EXPECT_FALSE(defaillant.estConnu());
    EXPECT_FALSE(renie.estConnu());

    EXPECT_TRUE(present.estConnu());
    present.creer("AF1", 1);
    EXPECT_EQ(present.attendre(), Recu("cree", 0, "AF1", 1));
}

/// The client process of the next test: activates, asks for everything, and freezes.
TEST_F(TestServeur, DISABLED_ProcessusQuiSeFige)
{
    const char* url = std::getenv("OXCDV_URL_SERVEUR");
    ASSERT_NE(nullptr, url);
    ClientBrut client(url);
    client.activer();
    std::cout << "numero " << client.numero() << " actif" << std::endl;
    client.lister(1);
    raise(SIGSTOP);
}

TEST_F(TestServeur, UnProcessusFigeEstAbandonneSansArreterLesAutres)
{
    constexpr int BEAUCOUP = 20000; // more than the connection and the server's queue hold together
    const auto figer = [](ServeurReel& serveur) {
        setenv("OXCDV_URL_SERVEUR", serveur.url().c_str(), 1);
        Programme fige("/proc/self/exe",
                       {"--gtest_also_run_disabled_tests", "--gtest_filter=*.DISABLED_ProcessusQuiSeFige"});
        ASSERT_TRUE(fige.attendreSortie(" actif\n")) << fige.sortie() << fige.erreurs();
        const std::string sortie = fige.sortie();
        const int numero = std::stoi(sortie.substr(sortie.rfind("numero ") + 7));

        ClientBrut autre(serveur.url());
        autre.activer().creer("AF", 1);
        EXPECT_TRUE(serveur.attendreErreurs("Client " + std::to_string(numero) + " parti"))
            << serveur.erreurs();
        EXPECT_EQ(autre.attendre(), Recu("cree", 0, "AF", 1));
        autre.service()->supprime_vol_complet(vol("AF"), 2, autre.numero());
        EXPECT_EQ(autre.attendre(), Recu("supprime", 0, "", 2));
        serveur.signaler(SIGTERM);
        EXPECT_EQ(0, serveur.attendreFin());
    };
    ServeurReel attentif(_base, {"--periode-ping", "100", "--delai-ping", "100"});
    figer(attentif);

    ServeurReel sansPing(_base, {"--periode-ping", "3600000"});
    {
        ClientBrut client(sansPing.url());
        client.activer();
        for (int i = 0; i < BEAUCOUP; ++i)
            client.creer(std::to_string(i), i);
        ASSERT_NE(client.attendre(BEAUCOUP).back(), Recu("rien", 0, "", 0));
        client.service()->desactiveCB(client.numero());
    }
    figer(sansPing);
}

namespace {

/// The server's parts in this process, whose memory the test makes lack. What the ORB would call on threads
/// of its own is called on the test's.
class MemoireServeur : public TestServeur
{
  protected:
    void SetUp() override
    {
        TestServeur::SetUp();
        _magasin.emplace(_base);
        _travailleur.emplace(*_magasin, _requetes, _clients);
        _service = new serveur::Service(_clients, _requetes);
        _front =
            new serveur::FrontNoyau({"s", "m"}, _clients, orix_corba::OXcdv_v3_0_0_ClientVersServeur::_nil(),
                                    /*ailleurs*/ true);
    }
    void TearDown() override
    {
        _travailleur.reset();
        _clients.arreter(PATIENCE);
        TestServeur::TearDown();
    }

    int activer(ClientBrut& client)
    {
        Activation a;
        ClientBrut::demander(*_front.in(), "cdv", client.presenter(3, true), a);
        EXPECT_EQ(orix::OXS_OK, a.statut);
        return a.numero;
    }

    /// One request of each kind; their answers, but for the records of the listing. The last one says that
    /// the client was let go, when it was.
    std::vector<Recu> demanderTout(ClientBrut& client, int numero)
    {
        const essais::SurTrace parti("Client " + std::to_string(numero) + " parti", [&] {
            client.noter({"parti", 0, "", 0});
        });
        try {
            _service->cree_vol_complet(_plein, 1, numero);
            _service->modifie_vol_complet(_plein, 2, numero);
            _service->consulte_vol_complet(_plein, 3, numero);
            _service->liste_vol_complet(vol("g*"), 4, numero);
            _service->supprime_vol_complet(_plein, 5, numero);
        } catch (const orix_corba::ClientDeconnecte&) {
            // Let go already, before the last of them.
        }
        std::vector<Recu> recus;
        for (Recu recu = client.attendre();; recu = client.attendre()) {
            const std::string& nom = std::get<0>(recu);
            if (nom != "liste")
                recus.push_back(recu);
            if (nom == "supprime" || nom == "parti" || nom == "rien")
                return recus;
        }
    }

    const Vol _plein = essais::volComplet()->construireObjetSpecifique_v3_0_0();
    std::optional<serveur::Magasin> _magasin;
    serveur::FileRequetes _requetes{100};
    serveur::Clients _clients{serveur::Clients::Reglages{}};
    std::optional<serveur::Travailleur> _travailleur;
    PortableServer::Servant_var<serveur::Service> _service;
    PortableServer::Servant_var<serveur::FrontNoyau> _front;
};

} // namespace

TEST_F(MemoireServeur, ElleManqueAUnFilEtChaqueDemandeASaReponse)
{
    const std::string id = "gidentifiant";
    const std::vector<Recu> attendus{{"cree", 0, id, 1},
                                     {"modifie", 0, id, 2},
                                     {"consulte", 0, id, 3},
                                     {"fin_liste", 0, "", 4},
                                     {"supprime", 0, "", 5}};
    for (const char* fil : {"cdv-executions", "cdv-envois"}) {
        int pannes = 0;
        int echecs = 0;
        for (bool survenue = true; survenue && !HasFailure();) {
            ClientBrut client;
            ClientBrut autre;
            const int numero = activer(client);
            const int numeroAutre = activer(autre);
            std::vector<Recu> recus;
            {
                const essais::PanneMemoireFils panne(fil, ++pannes);
                recus = demanderTout(client, numero);
                survenue = panne.survenue();
            }
            // Of a client that was let go, nothing but the beginning.
            const bool parti = recus.back() == Recu("parti", 0, "", 0);
            if (parti)
                recus.pop_back();
            ASSERT_EQ(recus.size() == attendus.size(), !parti);
            for (std::size_t i = 0; i < recus.size(); ++i) {
                const int resultat = std::get<1>(recus[i]);
                echecs += resultat == serveur::ECHEC_MAGASIN;
                EXPECT_EQ(std::get<0>(recus[i]), std::get<0>(attendus[i]));
                EXPECT_EQ(std::get<3>(recus[i]), std::get<3>(attendus[i]));
            }
            EXPECT_EQ(demanderTout(autre, numeroAutre), attendus) << "failure " << pannes;
            _service->desactiveCB(numero);
            _service->desactiveCB(numeroAutre);
        }
        std::cout << fil << ": " << pannes - 1 << " allocations, " << echecs << " requests failed\n";
        EXPECT_GT(pannes, 1);
    }
}

TEST_F(MemoireServeur, ElleManqueAUneActivation)
{
    ClientBrut client;
    const ClientBrut::Presentation presentation = client.presenter(3, true);
    int pannes = 0;
    for (bool survenue = true; survenue && !HasFailure();) {
        Activation a;
        {
            const essais::PanneMemoire panne(++pannes, essais::PanneMemoire::HorsORB);
            try {
                ClientBrut::demander(*_front.in(), "cdv", presentation, a);
            } catch (const std::bad_alloc&) {
                // The ORB answers with an exception of the system.
            }
            survenue = panne.survenue();
        }
        EXPECT_EQ(_clients.tous().size(), a.statut == orix::OXS_OK ? 1u : 0u);
        EXPECT_THAT(a.statut,
                    testing::AnyOf(-1, int(orix::OXS_OK), int(orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE)));
        _clients.abandonner(a.numero, "essai");
    }
    EXPECT_GT(pannes, 5);
}

TEST_F(MemoireServeur, ElleManqueALArriveeDUneDemandeQuiEchoueASonTour)
{
    ClientBrut client;
    const int numero = activer(client);
    int echecs = 0;
    for (bool survenue = true; survenue && !HasFailure();) {
        {
            const essais::PanneMemoire panne(echecs + 1, essais::PanneMemoire::HorsORB);
            _service->consulte_vol_complet(_plein, 1, numero);
            survenue = panne.survenue();
        }
        const Recu recu = client.attendre();
        EXPECT_EQ(std::get<1>(recu), survenue ? serveur::ECHEC_MAGASIN : serveur::INTROUVABLE);
        echecs += survenue;
    }
    EXPECT_GT(echecs, 1);
}

TEST_F(MemoireServeur, ElleManqueAuxPingsQuiContinuent)
{
    constexpr int PANNES = 15; // more than a first round and a later one allocate
    for (int n = 1; n <= PANNES && !HasFailure(); ++n) {
        ClientBrut client;
        const int numero = activer(client);
        const essais::PanneMemoireFils panne("cdv-pings", n);
        const serveur::Pings pings({std::chrono::milliseconds(5), PATIENCE}, {"s", "m"}, _clients);
        do
            EXPECT_TRUE(client.face().pings.prendre(false, PATIENCE));
        while (!panne.survenue() && !HasFailure());
        EXPECT_TRUE(client.face().pings.prendre(false, PATIENCE));
        _service->desactiveCB(numero);
    }
}
