// The server's parts in this process: what they do when memory lacks, and how many clients they take.
#include "CapteurTraces.h"
#include "ClientBrut.h"
#include "DossierTemporaire.h"
#include "MagasinSqlite.h"
#include "PanneMemoire.h"
#include "Serveur.h"
#include "VolsEssai.h"

#include "orix/interne/Echec.h"

using namespace essais;

namespace {

/// Runs the action with n = 1, 2... until it says that no failure came; returns how many did.
int jusquASansPanne(const std::function<bool(int n)>& action)
{
    int n = 1;
    while (action(n) && !testing::Test::HasFailure())
        ++n;
    return n - 1;
}

/// The server's parts in this process, whose memory the test makes lack. What the ORB would call on threads
/// of its own is called on the test's.
class MemoireServeur : public testing::Test
{
  protected:
    void SetUp() override
    {
        int argc = 0;
        ASSERT_EQ(orix::OXS_OK, orix::initialiser(argc, nullptr, orix::Configuration()));
        _magasin.emplace(_dossier.fichier("vols.db"));
        _executeurs.emplace(*_magasin, _aiguillage, _mesures);
        _service = new serveur::Service(_clients, _aiguillage, _droits);
        _front = new serveur::FrontNoyau({"s", "m"}, _clients, _droits, _mesures,
                                         orix_corba::OXcdv_v3_0_0_ClientVersServeur::_nil(),
                                         /*ailleurs*/ true);
    }
    void TearDown() override
    {
        _clients.arreter(PATIENCE);
        _executeurs.reset();
        EXPECT_EQ(orix::OXS_OK, orix::terminer());
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
        const SurTrace parti("Client " + std::to_string(numero) + " parti", [&] {
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

    const Vol _plein = volComplet()->construireObjetSpecifique_v3_0_0();
    DossierTemporaire _dossier;
    std::optional<serveur::MagasinSqlite> _magasin;
    serveur::Mesures _mesures;
    serveur::Aiguillage _aiguillage;
    const serveur::Droits _droits{orix::Configuration()};
    serveur::Clients _clients{serveur::Clients::Reglages{}, _aiguillage, _mesures};
    std::optional<serveur::Executeurs> _executeurs;
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
    const std::pair<const char*, bool> FILS[] = {
        {"cdv-executions", true}, {"cdv-lectures", true}, {"cdv-envois", false}}; // whether it takes memory
    for (const auto& [fil, enPrend] : FILS) {
        const int pannes = jusquASansPanne([&, fil = fil](int n) {
            ClientBrut client;
            ClientBrut autre;
            const int numero = activer(client);
            const int numeroAutre = activer(autre);
            std::vector<Recu> recus;
            bool survenue = false;
            {
                const PanneMemoire panne(fil, n);
                recus = demanderTout(client, numero);
                survenue = panne.survenue();
            }
            // Of a client that was let go, nothing but the beginning.
            const bool parti = recus.back() == Recu("parti", 0, "", 0);
            if (parti)
                recus.pop_back();
            EXPECT_EQ(recus.size() == attendus.size(), !parti);
            for (std::size_t i = 0; i < recus.size(); ++i) {
                EXPECT_EQ(std::get<0>(recus[i]), std::get<0>(attendus[i]));
                EXPECT_EQ(std::get<3>(recus[i]), std::get<3>(attendus[i]));
            }
            _service->supprime_vol_complet(_plein, 0, numeroAutre); // what the other may have left there
            autre.attendre();
            EXPECT_EQ(demanderTout(autre, numeroAutre), attendus) << "failure " << n;
            _service->desactiveCB(numero);
            _service->desactiveCB(numeroAutre);
            return survenue;
        });
        EXPECT_EQ(pannes > 0, enPrend) << fil;
    }
}

TEST_F(MemoireServeur, ElleManqueAUneActivationOuALArriveeDUneDemandeQuiEchoueASonTour)
{
    ClientBrut client;
    const ClientBrut::Presentation presentation = client.presenter(3, true);
    EXPECT_GT(jusquASansPanne([&](int n) {
                  Activation a;
                  const PanneMemoire panne(n, PanneMemoire::HorsORB);
                  try {
                      ClientBrut::demander(*_front.in(), "cdv", presentation, a);
                  } catch (const std::bad_alloc&) {
                      // The ORB answers with an exception of the system.
                  }
                  const bool survenue = panne.survenue();
                  const SansPanne portee;
                  EXPECT_EQ(_clients.tous().size(), a.statut == orix::OXS_OK ? 1u : 0u);
                  EXPECT_THAT(a.statut, testing::AnyOf(-1, int(orix::OXS_OK),
                                                       int(orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE)));
                  _clients.abandonner(a.numero, serveur::Depart::desactivation);
                  return survenue;
              }),
              4);
    const int numero = activer(client);
    EXPECT_GT(jusquASansPanne([&](int n) {
                  bool survenue = false;
                  {
                      const PanneMemoire panne(n, PanneMemoire::HorsORB);
                      _service->consulte_vol_complet(_plein, 1, numero);
                      survenue = panne.survenue();
                  }
                  const int resultat = std::get<1>(client.attendre());
                  // A line has one request in reserve.
                  EXPECT_TRUE(resultat == serveur::INTROUVABLE ||
                              (survenue && resultat == serveur::ECHEC_MAGASIN));
                  return survenue;
              }),
              1);
}

TEST_F(MemoireServeur, ElleManqueAuxPingsQuiContinuent)
{
    constexpr int PANNES = 15; // more than a first round and a later one allocate
    EXPECT_EQ(jusquASansPanne([&](int n) {
                  ClientBrut client;
                  const int numero = activer(client);
                  const PanneMemoire panne("cdv-pings", n);
                  const serveur::Pings pings({std::chrono::milliseconds(5), PATIENCE}, {"s", "m"}, _clients);
                  do
                      EXPECT_TRUE(client.face().pings.prendre(false, PATIENCE));
                  while (!panne.survenue() && !HasFailure());
                  EXPECT_TRUE(client.face().pings.prendre(false, PATIENCE));
                  _service->desactiveCB(numero);
                  return n < PANNES;
              }),
              PANNES - 1);
}

namespace {

class Clients : public testing::Test
{
  protected:
    ~Clients() override
    {
        for (const auto& client : _clients.tous())
            _clients.abandonner(client->identite().numero, serveur::Depart::desactivation);
    }

    /// The number; 0 when it is refused.
    int ajouter(const char* appelant, bool repond = false)
    {
        try {
            const int numero = _clients.ajouter("nom", "machine", appelant,
                                                orix_corba::OXcdv_v3_0_0_ServeurVersClient::_nil(),
                                                orix_corba__Client::_nil());
            if (repond)
                _clients.trouver(numero)->confirmer();
            return numero;
        } catch (const orix::Echec& echec) {
            EXPECT_EQ(echec.lireCode(), orix::OXS_NOK);
            return 0;
        }
    }
    bool estLa(int numero) { return _clients.trouver(numero) != nullptr; }

    static serveur::Clients::Reglages reglages()
    {
        serveur::Clients::Reglages r;
        r.parAdresse = 2;
        r.nombreMax = 4;
        return r;
    }
    serveur::Mesures _mesures;
    serveur::Aiguillage _aiguillage;
    serveur::Clients _clients{reglages(), _aiguillage, _mesures};
};

} // namespace

// Whoever reaches the kernel may activate itself: places are bounded, and for those who answer.
TEST_F(Clients, LesPlacesSontACeuxQuiRepondent)
{
    const int muet = ajouter("ici/alpha");
    const int present = ajouter("ici/beta", true);
    EXPECT_NE(muet, present);

    // Of one address, whatever the certificates: the one that has not answered makes place.
    const int autre = ajouter("ici/gamma", true);
    EXPECT_FALSE(estLa(muet));
    EXPECT_TRUE(estLa(present) && estLa(autre));
    EXPECT_EQ(ajouter("ici/delta"), 0);
    EXPECT_NE(ajouter("icietla", true), 0);

    // Of all addresses: the oldest such one does.
    const int ancien = ajouter("la");
    const int nouveau = ajouter("ailleurs", true);
    EXPECT_FALSE(estLa(ancien));
    EXPECT_TRUE(estLa(nouveau));
    EXPECT_EQ(ajouter("la"), 0);

    _clients.abandonner(present, serveur::Depart::desactivation);
    EXPECT_NE(ajouter("la"), 0);
    EXPECT_EQ(_clients.tous().size(), 4u);
}

TEST(Droits, UnNomEstPermisParLaListeDuDroitEtParElleSeule)
{
    orix::Configuration configuration;
    serveur::Droits droits(configuration);
    EXPECT_TRUE(droits.permet(serveur::Droit::ecriture, "local")); // everything, to everybody
    configuration[orix::cle::accesLecture] = {"tour-?", "piste*"};
    configuration[orix::cle::accesEcriture] = {};
    droits.lire(configuration);
    for (const char* nomme : {"local/tour-1", "::1/tour-1", "local/piste", "local/piste/7"}) {
        EXPECT_TRUE(droits.permet(serveur::Droit::lecture, nomme)) << nomme;
        EXPECT_FALSE(droits.permet(serveur::Droit::ecriture, nomme)) << nomme;
    }
    for (const char* autre :
         {"local/tour-12", "local/Tour-1", "local/", "local", "piste", "local/ma tour-1"}) {
        EXPECT_FALSE(droits.permet(serveur::Droit::lecture, autre)) << autre;
        EXPECT_TRUE(droits.permet(serveur::Droit::activation, autre)) << autre;
    }
}
