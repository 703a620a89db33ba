// Every event at every step of every operation of the adapter.
#include "Entrelacement.h"
#include "EtatProcessus.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "Porte.h"
#include "ServeurEssai.h"
#include "orix/Echec.h"
#include "orix/TableInformationsConnexions.h"

#include <gmock/gmock.h>

#include <atomic>
#include <iostream>
#include <set>

using namespace orix;
using essais::attendreRepos;
using testing::AnyOf;
using Adaptateur = OXcdvCliItfAdaptateur;

namespace {

char SERVICE[] = "cdv";
constexpr OXstatut REFUS = OXS_CLIENT_ID_INVALIDE;
constexpr auto PERIODE = std::chrono::milliseconds(5);
constexpr auto PATIENCE = std::chrono::seconds(10); // less than the delays of the settings

/// What the application did and was told since the beginning of a case.
struct Compte
{
    bool connecte = false; ///< at the beginning
    int demandes = 0;      ///< active() that announced an answer
    int reponses = 0;      ///< activeCB
    int connexions = 0;    ///< those of them that accept
    int pertes = 0;        ///< deconnexionCB
    int departs = 0;       ///< desactive() that succeeded
    int bascules = 0;      ///< what makes the client turn to the other server
    bool interrompu = false;
    std::vector<std::string> anomalies;
};

class Entrelacements;
using Acte = void (Entrelacements::*)();

enum class Depart
{
    Desactive,
    Demande, ///< the server keeps the answer back
    Active
};

struct Operation
{
    const char* nom;
    Depart depart;
    Acte acte;
    const char* ouverture; ///< function whose first line tells the thread that does it; empty: the caller's
    enum Fin
    {
        Dite,       ///< the application is told of every end
        Relance,    ///< a restart: of its own doing, without a word
        Destruction ///< likewise, pending activations included; no call of the application may be inside
    } fin = Dite;
};

struct Evenement
{
    const char* nom;
    Acte acte;
    bool application = false; ///< it is a call of the application
};

/// A client between two servers to which everything can happen at any moment.
class Entrelacements : public essais::AvecNoyau, public testing::WithParamInterface<Operation>
{
  public:
    // What may happen, on any thread.
    void active()
    {
        const OXstatut statut = OXcdvCliItf::active(SERVICE);
        const std::lock_guard<std::mutex> verrou(_mutex);
        _attendu("active", statut,
                 {OXS_OK, OXS_ACTIVATION_EN_COURS, OXS_SERVICE_DEJA_ACTIVE, OXS_NOYAU_NON_INITIALISE,
                  OXS_ERREUR_CORBA});
        if (statut == OXS_OK)
            ++_compte.demandes;
        else if (statut != OXS_ACTIVATION_EN_COURS && statut != OXS_SERVICE_DEJA_ACTIVE &&
                 statut != OXS_NOYAU_NON_INITIALISE)
            ++_compte.bascules;
    }
    void desactive()
    {
        const OXstatut statut = OXcdvCliItf::desactive();
        const std::lock_guard<std::mutex> verrou(_mutex);
        _attendu("desactive", statut,
                 {OXS_OK, OXS_SERVICE_NON_ACTIVE, OXS_SERVICE_DEJA_DESACTIVE, OXS_NOYAU_NON_INITIALISE});
        _compte.departs += statut == OXS_OK;
        _compte.interrompu = _compte.interrompu || statut == OXS_SERVICE_DEJA_DESACTIVE;
    }
    void demander()
    {
        int idOp = 0;
        OXvol_completData vol;
        const OXstatut statut = OXcdvCliItf::cree_vol_complet(&vol, idOp);
        const std::lock_guard<std::mutex> verrou(_mutex);
        _attendu("request", statut,
                 {OXS_OK, OXS_SERVICE_NON_ACTIVE, OXS_ERREUR_CORBA, OXS_NOYAU_NON_INITIALISE});
    }
    void accepter() { _repondre(OXS_OK); }
    void refuser() { _repondre(REFUS); }
    void annoncerFin() { _annoncer(OXS_SERVICE_NON_ACTIVE); }
    void annoncerPanne() { _annoncer(OXS_NOK); }
    /// The server does not hold the client any more, and says so to the next ping.
    void oublierClient()
    {
        const int avant = _pingsRefuses;
        _inscrit = 0;
        // Whoever is supervised is pinged once a period.
        const auto fin = std::chrono::steady_clock::now() + 4 * PERIODE;
        while (_pingsRefuses == avant && std::chrono::steady_clock::now() < fin)
            std::this_thread::yield();
    }
    void tuerServeur()
    {
        _inscrit = 0;
        for (auto* serveur : {&premier, &deuxieme})
            try {
                serveur->service.retirer();
            } catch (const CORBA::Exception&) {
                // It is not there, or its ORB is not.
            }
    }
    void arreterServeur()
    {
        annoncerFin();
        tuerServeur();
    }
    void detruire() { detruireOXcdvCliItfAdaptateur(); }
    void relancer()
    {
        EXPECT_EQ(OXS_OK, terminer());
        demarrer();
    }

  protected:
    Entrelacements()
    {
        reglages.niveauTrace = NTO_AUCUN;
        reglages.periodePing = PERIODE;
        // Whatever is waited for must come, before the patience ends.
        reglages.delaiPing = reglages.delaiAppel = reglages.delaiActivation = std::chrono::seconds(20);
        for (auto* serveur : {&premier, &deuxieme}) {
            serveur->avantReponse = [this, serveur] { _inscrire(*serveur); };
            serveur->service.ping = [this](int numero) {
                if (numero == _inscrit)
                    return;
                ++_pingsRefuses;
                throw orix_corba::ClientDeconnecte();
            };
        }
    }
    void SetUp() override
    {
        AvecNoyau::SetUp();
        callbacks.garder = false;
        callbacks.pendant = [this](const essais::Appel& appel, OXvol_completData*) { _noter(appel); };
    }

    /// One case; false when the operation has no such step.
    bool eprouver(const Operation& operation, const Evenement& evenement, int point)
    {
        _preparer(operation.depart);
        essais::Entrelacement entrelacement(operation.ouverture, point,
                                            [this, &evenement] { (this->*evenement.acte)(); });
        (this->*operation.acte)();
        if (*operation.ouverture != '\0')
            attendreRepos();
        const std::string lieu = entrelacement.attendre();
        SCOPED_TRACE(std::string(operation.nom) + ", " + evenement.nom + " at step " + std::to_string(point) +
                     ", " + lieu);
        _verifier(operation);
        return !lieu.empty();
    }

    /// How many expectations have failed so far.
    static int echecs()
    {
        return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    }
    void oublierTout()
    {
        _porte.ouvrir();
        detruire();
        attendreRepos();
    }

  private:
    bool _attendre(const std::function<bool()>& condition)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        return _nouvelle.wait_for(verrou, PATIENCE, condition);
    }
    /// With the lock held.
    void _attendu(const std::string& quoi, OXstatut statut, std::set<OXstatut> permis)
    {
        if (permis.count(statut) == 0)
            _compte.anomalies.push_back(quoi + ": " + texteStatut(statut));
    }
    void _noter(const essais::Appel& appel)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto statut = static_cast<OXstatut>(appel.statut);
        if (appel.nom == "activeCB") {
            ++_compte.reponses;
            _compte.connexions += statut == OXS_OK;
            _compte.bascules += statut != OXS_OK;
            _ouverte = _ouverte || statut == OXS_OK;
            _attendu("activeCB", statut, {OXS_OK, REFUS, OXS_NOYAU_NON_INITIALISE});
            if (statut == OXS_NOYAU_NON_INITIALISE)
                _porte.ouvrir(); // the end of the ORB waits for the requests that are inside
        } else if (appel.nom == "deconnexionCB") {
            ++_compte.pertes;
            _compte.bascules += statut != OXS_SERVICE_NON_ACTIVE;
            _attendu("deconnexionCB", statut, {OXS_SERVICE_NON_ACTIVE, OXS_NOK, OXS_ECHEC_PING});
            if (!std::exchange(_ouverte, false))
                _compte.anomalies.push_back("a loss before its connection");
        }
        _nouvelle.notify_all();
    }
    void _inscrire(essais::ServeurEssai& serveur)
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            _client = serveur.client;
        }
        _porte.passer();
        serveur.statut = _reponse;
        serveur.numeroClient = ++_dernierNumero;
        if (serveur.statut == OXS_OK)
            _inscrit = serveur.numeroClient;
    }
    void _repondre(OXstatut statut)
    {
        _reponse = statut;
        _porte.ouvrir();
    }
    void _annoncer(OXstatut raison)
    {
        orix_corba__Client_var client;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            client = _client;
        }
        try {
            if (!CORBA::is_nil(client))
                client->deconnexionCB(raison);
        } catch (const CORBA::Exception&) {
            // The client has gone.
        }
    }

    /// A new account.
    void _recommencer(bool connecte, int demandes)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _compte = Compte();
        _compte.connecte = _ouverte = connecte;
        _compte.demandes = demandes;
    }
    void _preparer(Depart depart)
    {
        _recommencer(false, 0);
        _reponse = OXS_OK;
        if (depart == Depart::Demande)
            _porte.fermerApres(0);
        if (depart != Depart::Desactive)
            active();
        if (depart == Depart::Active) {
            EXPECT_TRUE(_attendre([this] { return _compte.connexions != 0; }));
            attendreLivraison();
        }
        _porte.fermerApres(0);
        attendreRepos();
        _recommencer(depart == Depart::Active, depart == Depart::Demande);
        _serveurAvant = oxcdvCliItfAdaptateur()->lireServeurCourant();
    }

    bool _estEnregistree()
    {
        try {
            const bool premierServeur =
                oxcdvCliItfAdaptateur()->lireServeurCourant() == OXroutage::PremierServeur;
            EXPECT_EQ(premierServeur ? "premier" : "deuxieme",
                      oxNoyau()->lireTableConnexions()->lireInformation(SERVICE).lireServeur());
            return true;
        } catch (const Echec&) {
            return false;
        }
    }

    void _verifier(const Operation& operation)
    {
        _porte.ouvrir();
        const auto dit = [&] {
            return operation.fin == Operation::Destruction || _compte.reponses == _compte.demandes;
        };
        EXPECT_TRUE(_attendre(dit)) << "active() announced an activeCB that does not come";
        attendreLivraison();
        Adaptateur& adaptateur = *oxcdvCliItfAdaptateur();
        // A dead server is a loss, and so is an interrupted departure.
        if (adaptateur.estActive() && (_inscrit == 0 || _compte.interrompu)) {
            EXPECT_TRUE(_attendre([&] { return _compte.pertes != 0; })) << "the loss is not told";
            attendreLivraison();
        }
        attendreRepos();

        const bool active = adaptateur.estActive();
        EXPECT_NE(Adaptateur::DemandeActivation, adaptateur.lireEtat());
        EXPECT_EQ(active, _estEnregistree());
        Compte compte;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            compte = _compte;
        }
        EXPECT_THAT(compte.anomalies, testing::IsEmpty());
        const int silencieuses =
            compte.connecte + compte.connexions - compte.pertes - compte.departs - active;
        EXPECT_THAT(silencieuses, AnyOf(0, operation.fin == Operation::Dite ? 0 : 1))
            << compte.connexions << " connections, " << compte.pertes << " losses, " << compte.departs
            << " departures, active: " << active;
        if (operation.fin != Operation::Destruction) {
            EXPECT_EQ(_serveurAvant ^ (compte.bascules & 1), adaptateur.lireServeurCourant());
        }

        if (active) {
            EXPECT_EQ(OXS_OK, OXcdvCliItf::desactive());
        }
        _verifierVie();
    }

    /// A live server is found, and serves.
    void _verifierVie()
    {
        _reponse = OXS_OK;
        _recommencer(false, 0);
        EXPECT_EQ(OXS_OK, OXcdvCliItf::active(SERVICE));
        EXPECT_TRUE(_attendre([&] { return _compte.connexions != 0; }));
        int idOp = 0;
        OXvol_completData vol;
        EXPECT_EQ(OXS_OK, OXcdvCliItf::cree_vol_complet(&vol, idOp));
        EXPECT_EQ(OXS_OK, OXcdvCliItf::desactive());
    }

    std::mutex _mutex; // guards what the application was told, and the client's reference
    std::condition_variable _nouvelle;
    Compte _compte;
    bool _ouverte = false;          // a connection was told of that may still be lost
    orix_corba__Client_var _client; // that activated last
    essais::Porte _porte;           // where the servers keep their answers back
    std::atomic<OXstatut> _reponse{OXS_OK};
    std::atomic<int> _dernierNumero{0};
    std::atomic<int> _inscrit{0}; // number of the client that the servers hold; 0: none
    std::atomic<int> _pingsRefuses{0};
    int _serveurAvant = 0;
};

const Operation OPERATIONS[] = {
    {"active", Depart::Desactive, &Entrelacements::active, ""},
    {"acceptance", Depart::Demande, &Entrelacements::accepter, "activeCB"},
    {"refusal", Depart::Demande, &Entrelacements::refuser, "activeCB"},
    {"desactive", Depart::Active, &Entrelacements::desactive, ""},
    {"request", Depart::Active, &Entrelacements::demander, ""},
    {"notice of an end", Depart::Active, &Entrelacements::annoncerFin, ""},
    {"notice of a failure", Depart::Active, &Entrelacements::annoncerPanne, ""},
    {"loss", Depart::Active, &Entrelacements::oublierClient, "surveiller"},
    {"destruction while active", Depart::Active, &Entrelacements::detruire, "", Operation::Destruction},
    {"destruction while pending", Depart::Demande, &Entrelacements::detruire, "", Operation::Destruction},
    {"restart while active", Depart::Active, &Entrelacements::relancer, "", Operation::Relance},
    {"restart while pending", Depart::Demande, &Entrelacements::relancer, "", Operation::Relance},
};

const Evenement EVENEMENTS[] = {
    {"notice of an end", &Entrelacements::annoncerFin},
    {"notice of a failure", &Entrelacements::annoncerPanne},
    {"loss", &Entrelacements::oublierClient},
    {"acceptance", &Entrelacements::accepter},
    {"refusal", &Entrelacements::refuser},
    {"stop of the server", &Entrelacements::arreterServeur},
    {"death of the server", &Entrelacements::tuerServeur},
    {"active", &Entrelacements::active, true},
    {"desactive", &Entrelacements::desactive, true},
    {"request", &Entrelacements::demander, true},
};

TEST_P(Entrelacements, EndWell)
{
    const Operation& operation = GetParam();
    int cas = 0;
    int mauvais = 0;
    essais::Ressources avant;
    for (const Evenement& evenement : EVENEMENTS) {
        if (evenement.application && operation.fin == Operation::Destruction)
            continue;
        bool atteint = true;
        for (int point = 0; atteint; ++point) {
            const int echecsAvant = echecs();
            atteint = eprouver(operation, evenement, point);
            cas += atteint;
            if (echecs() == echecsAvant)
                continue;
            oublierTout();
            ASSERT_LT(++mauvais, 20);
        }
        if (avant.fils == 0)
            avant = essais::Ressources::attendreStables();
    }
    const auto apres = essais::Ressources::attendreStables();
    EXPECT_LT(apres.fils, avant.fils + 10);
    EXPECT_LT(apres.descripteurs, avant.descripteurs + 10);
    std::cout << operation.nom << ": " << cas << " cases; " << avant << " before, " << apres << " after"
              << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Adapter, Entrelacements, testing::ValuesIn(OPERATIONS), [](const auto& parametre) {
    std::string nom = parametre.param.nom;
    std::replace(nom.begin(), nom.end(), ' ', '_');
    return nom;
});

} // namespace
