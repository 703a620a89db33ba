#ifndef CLIENTEPROUVE_H
#define CLIENTEPROUVE_H

#include "Entrelacement.h"
#include "OXcdvCliItf.h"
#include "Porte.h"
#include "ServeurEssai.h"
#include "orix/interne/Echec.h"
#include "orix/interne/TableInformationsConnexions.h"

namespace essais {

/// A client of two servers in its own process to which everything can happen at any moment, and the account
/// of what the application did and was told, which must balance in the end.
class ClientEprouve : public AvecNoyau
{
  public:
    // What may happen, on any thread.
    void active() { noterActive(OXcdvCliItf::active(SERVICE)); }
    void desactive() { noterDesactive(OXcdvCliItf::desactive()); }
    void demander()
    {
        int idOp = 0;
        OXvol_completData vol;
        const orix::OXstatut statut = OXcdvCliItf::cree_vol_complet(&vol, idOp);
        const std::lock_guard<std::mutex> verrou(_mutex);
        _exiger("request", statut,
                {orix::OXS_OK, orix::OXS_SERVICE_NON_ACTIVE, orix::OXS_ERREUR_CORBA,
                 orix::OXS_NOYAU_NON_INITIALISE});
    }
    void accepter() { _repondre(orix::OXS_OK); } ///< the answers that the servers keep back
    void refuser() { _repondre(REFUS); }
    void annoncerFin() { _annoncer(orix::OXS_SERVICE_NON_ACTIVE); } ///< notices of the server
    void annoncerPanne() { _annoncer(orix::OXS_NOK); }
    /// the server does not hold it any more, and says so to the next ping
    void oublierClient()
    {
        const int avant = _pingsRefuses;
        _inscrit = 0;
        // Whoever is supervised is pinged once a period.
        const auto fin = std::chrono::steady_clock::now() + 2 * PERIODE;
        while (_pingsRefuses == avant && std::chrono::steady_clock::now() < fin)
            std::this_thread::yield();
    }
    void tuerServeur()
    {
        _inscrit = 0;
        for (ServeurEssai* serveur : {&premier, &deuxieme})
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
    void detruire() { orix::detruireOXcdvCliItfAdaptateur(); }
    /// verifier() starts it again
    void arreterNoyau()
    {
        const orix::OXstatut statut = orix::terminer();
        const std::lock_guard<std::mutex> verrou(_mutex);
        _exiger("terminer", statut, {orix::OXS_OK, orix::OXS_NOYAU_NON_INITIALISE});
    }

  protected:
    /// What came of a call of active() or desactive().
    void noterActive(orix::OXstatut statut)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _exiger("active", statut,
                {orix::OXS_OK, orix::OXS_ACTIVATION_EN_COURS, orix::OXS_SERVICE_DEJA_ACTIVE,
                 orix::OXS_NOYAU_NON_INITIALISE, orix::OXS_ERREUR_CORBA, orix::OXS_CONNEXION_IMPOSSIBLE});
        _compte.arretee = _compte.arretee || statut == orix::OXS_NOYAU_NON_INITIALISE;
        if (statut == orix::OXS_OK)
            ++_compte.demandes;
        else if (statut != orix::OXS_ACTIVATION_EN_COURS && statut != orix::OXS_SERVICE_DEJA_ACTIVE &&
                 statut != orix::OXS_NOYAU_NON_INITIALISE)
            ++_compte.bascules;
    }
    void noterDesactive(orix::OXstatut statut)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _exiger("desactive", statut,
                {orix::OXS_OK, orix::OXS_SERVICE_NON_ACTIVE, orix::OXS_SERVICE_DEJA_DESACTIVE,
                 orix::OXS_NOYAU_NON_INITIALISE});
        _compte.departs += statut == orix::OXS_OK;
    }

    enum Depart
    {
        Desactive,
        Demande, ///< an activation is pending: the server keeps the answer back
        Active
    };
    /// What the application is not told of.
    enum Silence
    {
        Aucun,
        Deconnexion, ///< a connection may end without a word
        Tout         ///< an activation too
    };

    static inline char SERVICE[] = "cdv";
    static constexpr auto PERIODE = std::chrono::milliseconds(20); ///< of the pings: nobody rests meanwhile
    static constexpr auto PATIENCE = std::chrono::seconds(10);     ///< less than the delays of the settings

    ClientEprouve()
    {
        reglages[orix::cle::niveauTrace] = orix::NTO_AUCUN;
        reglages[orix::cle::periodePing] = PERIODE;
        // Whatever is waited for must come, before the patience ends.
        reglages[orix::cle::delaiPing] = reglages[orix::cle::delaiAppel] =
            reglages[orix::cle::delaiActivation] = 2 * PATIENCE;
        for (ServeurEssai* serveur : {&premier, &deuxieme}) {
            serveur->avantReponse = [this, serveur] { _inscrire(*serveur); };
            serveur->service.ping = [this](int numero) {
                if (numero == _inscrit)
                    return;
                avantOubli();
                ++_pingsRefuses;
                throw orix_corba::ClientDeconnecte();
            };
        }
    }
    void SetUp() override
    {
        AvecNoyau::SetUp();
        callbacks.garder = false;
        callbacks.pendant = [this](const Appel& appel, OXvol_completData*) { _noter(appel); };
    }
    void TearDown() override
    {
        AvecNoyau::TearDown();
        callbacks.garder = true;
    }

    /// Brings the inactive client there, with nothing under way, and begins a new account.
    void preparer(Depart depart)
    {
        _recommencer(false, 0);
        _reponse = orix::OXS_OK;
        if (depart == Demande)
            _porte.fermerApres(0);
        if (depart != Desactive)
            active();
        if (depart == Active) {
            EXPECT_TRUE(attendreReponses(1));
            attendreLivraison();
        }
        _porte.fermerApres(0);
        attendreRepos();
        _recommencer(depart == Active, depart == Demande);
        _serveurAvant = orix::oxcdvCliItfAdaptateur()->lireServeurCourant();
    }
    /// Lets everything end, checks that the account balances, and that the client then finds a live server
    /// which serves; leaves it inactive.
    void verifier(Silence silence = Aucun)
    {
        _porte.ouvrir();
        if (orix::oxNoyau()->lireEtat() != orix::NOYAU_INITIALISE)
            demarrer();
        EXPECT_TRUE(_attendre([&] { return silence == Tout || _compte.reponses >= _compte.demandes; }))
            << "active() announced an activeCB that does not come";
        attendreLivraison();
        orix::OXcdvCliItfAdaptateur& adaptateur = *orix::oxcdvCliItfAdaptateur();
        // A dead server is a loss, and so is an interrupted departure.
        if (adaptateur.estActive() && (_inscrit == 0 || !_estEnregistree())) {
            EXPECT_TRUE(attendrePertes(1)) << "the loss is not told";
            attendreLivraison();
        }
        attendreRepos();

        const bool active = adaptateur.estActive();
        EXPECT_NE(orix::OXcdvCliItfAdaptateur::DemandeActivation, adaptateur.lireEtat());
        EXPECT_EQ(active, _estEnregistree());
        Compte compte;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            compte = _compte;
        }
        EXPECT_THAT(compte.anomalies, testing::IsEmpty());
        const int silencieuses =
            compte.connecte + compte.connexions - compte.pertes - compte.departs - active;
        EXPECT_THAT(silencieuses, testing::AnyOf(0, silence == Aucun ? 0 : 1))
            << compte.connexions << " connections, " << compte.pertes << " losses, " << compte.departs
            << " departures, active: " << active;
        if (silence != Tout) {
            EXPECT_EQ(compte.demandes, compte.reponses);
            // What fails on purpose, or with the kernel, does so before or after the turn to the other
            // server.
            if (statutsPermis.empty() && !compte.arretee) {
                EXPECT_EQ(_serveurAvant ^ (compte.bascules & 1), adaptateur.lireServeurCourant());
            }
        }
        if (active)
            _partir();
        _verifierVie();
    }
    /// After a failure: from a new client on.
    void toutOublier()
    {
        _porte.ouvrir();
        detruire();
        attendreRepos();
    }

    /// Waits until the application has been told of so many losses, or activations, since preparer().
    bool attendrePertes(int nombre)
    {
        return _attendre([=] { return _compte.pertes >= nombre; });
    }
    bool attendreReponses(int nombre)
    {
        return _attendre([=] { return _compte.reponses >= nombre; });
    }
    /// Failures so far of the running test.
    static int echecs()
    {
        return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    }

    /// What the functions and callbacks may say besides, while something fails on purpose.
    std::set<orix::OXstatut> statutsPermis;
    /// Called by the server that does not hold the client any more, when it is pinged, before it says so.
    std::function<void()> avantOubli = [] {};

  private:
    static constexpr orix::OXstatut REFUS = orix::OXS_CLIENT_ID_INVALIDE;

    struct Compte
    {
        bool connecte = false; ///< at the beginning
        int demandes = 0;      ///< active() that announced an answer
        int reponses = 0;      ///< activeCB
        int connexions = 0;    ///< those of them that accept
        int pertes = 0;        ///< deconnexionCB
        int departs = 0;       ///< desactive() that succeeded
        int bascules = 0;      ///< what makes the client turn to the other server
        int derniereFin = 0;   ///< operation of the last listing that ended
        bool arretee = false;  ///< active() found no kernel
        std::vector<std::string> anomalies;
    };

    /// of the account
    bool _attendre(const std::function<bool()>& condition)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        return _nouvelle.wait_for(verrou, PATIENCE, condition);
    }
    void _recommencer(bool connecte, int demandes)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _compte = Compte();
        _compte.connecte = _ouverte = connecte;
        _compte.demandes = demandes;
    }
    /// With the lock held.
    void _exiger(const std::string& quoi, orix::OXstatut statut, std::set<orix::OXstatut> permis)
    {
        if (permis.count(statut) == 0 && statutsPermis.count(statut) == 0)
            _compte.anomalies.push_back(quoi + ": " + orix::texteStatut(statut));
    }
    void _noter(const Appel& appel)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto statut = static_cast<orix::OXstatut>(appel.statut);
        if (appel.nom == "activeCB") {
            _exiger("activeCB", statut, {orix::OXS_OK, REFUS, orix::OXS_NOYAU_NON_INITIALISE});
            ++_compte.reponses;
            _compte.connexions += statut == orix::OXS_OK;
            _compte.bascules += statut != orix::OXS_OK;
            _ouverte = _ouverte || statut == orix::OXS_OK;
            if (statut == orix::OXS_NOYAU_NON_INITIALISE)
                _porte.ouvrir(); // the end of the ORB waits for the requests that are inside
        } else if (appel.nom == "deconnexionCB") {
            _exiger("deconnexionCB", statut,
                    {orix::OXS_SERVICE_NON_ACTIVE, orix::OXS_NOK, orix::OXS_ECHEC_PING});
            ++_compte.pertes;
            _compte.bascules += statut != orix::OXS_SERVICE_NON_ACTIVE;
            if (!std::exchange(_ouverte, false))
                _compte.anomalies.push_back("a loss before its connection");
        }
        if (appel.nom == "fin_liste_vol_completCB")
            _compte.derniereFin = appel.idOp;
        _nouvelle.notify_all();
    }
    /// A server's side of an activation.
    void _inscrire(ServeurEssai& serveur)
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            _client = serveur.client;
        }
        _porte.passer();
        serveur.statut = _reponse;
        serveur.numeroClient = ++_dernierNumero;
        if (serveur.statut == orix::OXS_OK)
            _inscrit = serveur.numeroClient;
    }
    void _repondre(orix::OXstatut statut)
    {
        _reponse = statut;
        _porte.ouvrir();
    }
    void _annoncer(orix::OXstatut raison)
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
    bool _estEnregistree()
    {
        try {
            EXPECT_EQ(serveurCourant().nom,
                      orix::oxNoyau()->lireTableConnexions()->lireInformation(SERVICE).lireServeur());
            return true;
        } catch (const orix::Echec&) {
            return false;
        }
    }
    void _verifierVie()
    {
        _reponse = orix::OXS_OK;
        _recommencer(false, 0);
        EXPECT_EQ(orix::OXS_OK, OXcdvCliItf::active(SERVICE));
        EXPECT_TRUE(_attendre([&] { return _compte.connexions == 1; }));
        attendreLivraison();
        EXPECT_TRUE(_estEnregistree());
        int idOp = 0;
        OXvol_completData vol;
        EXPECT_EQ(orix::OXS_OK, OXcdvCliItf::cree_vol_complet(&vol, idOp));
        ServeurEssai& serveur = serveurCourant();
        EXPECT_NO_THROW(serveur.client->testerConnexionClient(SERVICE, "", "", serveur.numeroClient));
        serveur.notifications()->fin_liste_vol_complet(0, idOp);
        EXPECT_TRUE(_attendre([&] { return _compte.derniereFin == idOp; }));
        _partir();
    }
    void _partir()
    {
        _recommencer(true, 0);
        const orix::OXstatut statut = OXcdvCliItf::desactive();
        if (statut == orix::OXS_SERVICE_DEJA_DESACTIVE) { // it lasted longer than a period: taken for a loss
            EXPECT_TRUE(attendrePertes(1));
        } else {
            EXPECT_EQ(orix::OXS_OK, statut);
        }
    }

    std::mutex _mutex; // guards what follows
    std::condition_variable _nouvelle;
    Compte _compte;
    bool _ouverte = false;          // a connection was told of that may still be lost
    orix_corba__Client_var _client; // the one that activated last

    Porte _porte; // where the servers keep their answers back
    std::atomic<orix::OXstatut> _reponse{orix::OXS_OK};
    std::atomic<int> _dernierNumero{0};
    std::atomic<int> _inscrit{0}; // number of the client that the servers hold; 0: none
    std::atomic<int> _pingsRefuses{0};
    int _serveurAvant = 0; // the current one when the account began
};

} // namespace essais

#endif
