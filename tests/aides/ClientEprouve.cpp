#include "ClientEprouve.h"

#include "Entrelacement.h"
#include "orix/interne/Echec.h"
#include "orix/interne/TableInformationsConnexions.h"

#include <gmock/gmock.h>

#include <utility>

using namespace orix;

namespace essais {

ClientEprouve::ClientEprouve()
{
    reglages[orix::cle::niveauTrace] = NTO_AUCUN;
    reglages[orix::cle::periodePing] = PERIODE;
    // Whatever is waited for must come, before the patience ends.
    reglages[orix::cle::delaiPing] = reglages[orix::cle::delaiAppel] = reglages[orix::cle::delaiActivation] =
        2 * PATIENCE;
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

void ClientEprouve::SetUp()
{
    AvecNoyau::SetUp();
    callbacks.garder = false;
    callbacks.pendant = [this](const Appel& appel, OXvol_completData*) { _noter(appel); };
}

void ClientEprouve::TearDown()
{
    AvecNoyau::TearDown();
    callbacks.garder = true;
}

void ClientEprouve::noterActive(OXstatut statut)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _exiger("active", statut,
            {OXS_OK, OXS_ACTIVATION_EN_COURS, OXS_SERVICE_DEJA_ACTIVE, OXS_NOYAU_NON_INITIALISE,
             OXS_ERREUR_CORBA, OXS_CONNEXION_IMPOSSIBLE});
    _compte.arretee = _compte.arretee || statut == OXS_NOYAU_NON_INITIALISE;
    if (statut == OXS_OK)
        ++_compte.demandes;
    else if (statut != OXS_ACTIVATION_EN_COURS && statut != OXS_SERVICE_DEJA_ACTIVE &&
             statut != OXS_NOYAU_NON_INITIALISE)
        ++_compte.bascules;
}

void ClientEprouve::noterDesactive(OXstatut statut)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _exiger("desactive", statut,
            {OXS_OK, OXS_SERVICE_NON_ACTIVE, OXS_SERVICE_DEJA_DESACTIVE, OXS_NOYAU_NON_INITIALISE});
    _compte.departs += statut == OXS_OK;
}

void ClientEprouve::demander()
{
    int idOp = 0;
    OXvol_completData vol;
    const OXstatut statut = OXcdvCliItf::cree_vol_complet(&vol, idOp);
    const std::lock_guard<std::mutex> verrou(_mutex);
    _exiger("request", statut, {OXS_OK, OXS_SERVICE_NON_ACTIVE, OXS_ERREUR_CORBA, OXS_NOYAU_NON_INITIALISE});
}

void ClientEprouve::oublierClient()
{
    const int avant = _pingsRefuses;
    _inscrit = 0;
    // Whoever is supervised is pinged once a period.
    const auto fin = std::chrono::steady_clock::now() + 2 * PERIODE;
    while (_pingsRefuses == avant && std::chrono::steady_clock::now() < fin)
        std::this_thread::yield();
}

void ClientEprouve::tuerServeur()
{
    _inscrit = 0;
    for (ServeurEssai* serveur : {&premier, &deuxieme})
        try {
            serveur->service.retirer();
        } catch (const CORBA::Exception&) {
            // It is not there, or its ORB is not.
        }
}

void ClientEprouve::arreterServeur()
{
    annoncerFin();
    tuerServeur();
}

void ClientEprouve::arreterNoyau()
{
    const OXstatut statut = terminer();
    const std::lock_guard<std::mutex> verrou(_mutex);
    _exiger("terminer", statut, {OXS_OK, OXS_NOYAU_NON_INITIALISE});
}

void ClientEprouve::_repondre(OXstatut statut)
{
    _reponse = statut;
    _porte.ouvrir();
}

void ClientEprouve::_annoncer(OXstatut raison)
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

/// A server's side of an activation.
void ClientEprouve::_inscrire(ServeurEssai& serveur)
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

bool ClientEprouve::_attendre(const std::function<bool()>& condition)
{
    std::unique_lock<std::mutex> verrou(_mutex);
    return _nouvelle.wait_for(verrou, PATIENCE, condition);
}

void ClientEprouve::_recommencer(bool connecte, int demandes)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _compte = Compte();
    _compte.connecte = _ouverte = connecte;
    _compte.demandes = demandes;
}

/// With the lock held.
void ClientEprouve::_exiger(const std::string& quoi, OXstatut statut, std::set<OXstatut> permis)
{
    if (permis.count(statut) == 0 && statutsPermis.count(statut) == 0)
        _compte.anomalies.push_back(quoi + ": " + texteStatut(statut));
}

void ClientEprouve::_noter(const Appel& appel)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto statut = static_cast<OXstatut>(appel.statut);
    if (appel.nom == "activeCB") {
        _exiger("activeCB", statut, {OXS_OK, REFUS, OXS_NOYAU_NON_INITIALISE});
        ++_compte.reponses;
        _compte.connexions += statut == OXS_OK;
        _compte.bascules += statut != OXS_OK;
        _ouverte = _ouverte || statut == OXS_OK;
        if (statut == OXS_NOYAU_NON_INITIALISE)
            _porte.ouvrir(); // the end of the ORB waits for the requests that are inside
    } else if (appel.nom == "deconnexionCB") {
        _exiger("deconnexionCB", statut, {OXS_SERVICE_NON_ACTIVE, OXS_NOK, OXS_ECHEC_PING});
        ++_compte.pertes;
        _compte.bascules += statut != OXS_SERVICE_NON_ACTIVE;
        if (!std::exchange(_ouverte, false))
            _compte.anomalies.push_back("a loss before its connection");
    }
    if (appel.nom == "fin_liste_vol_completCB")
        _compte.derniereFin = appel.idOp;
    _nouvelle.notify_all();
}

void ClientEprouve::preparer(Depart depart)
{
    _recommencer(false, 0);
    _reponse = OXS_OK;
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
    _serveurAvant = oxcdvCliItfAdaptateur()->lireServeurCourant();
}

bool ClientEprouve::_estEnregistree()
{
    try {
        const bool estPremier = oxcdvCliItfAdaptateur()->lireServeurCourant() == OXroutage::PremierServeur;
        EXPECT_EQ(estPremier ? "premier" : "deuxieme",
                  oxNoyau()->lireTableConnexions()->lireInformation(SERVICE).lireServeur());
        return true;
    } catch (const Echec&) {
        return false;
    }
}

void ClientEprouve::verifier(Silence silence)
{
    _porte.ouvrir();
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE)
        demarrer();
    EXPECT_TRUE(_attendre([&] { return silence == Tout || _compte.reponses >= _compte.demandes; }))
        << "active() announced an activeCB that does not come";
    attendreLivraison();
    OXcdvCliItfAdaptateur& adaptateur = *oxcdvCliItfAdaptateur();
    // A dead server is a loss, and so is an interrupted departure.
    if (adaptateur.estActive() && (_inscrit == 0 || !_estEnregistree())) {
        EXPECT_TRUE(attendrePertes(1)) << "the loss is not told";
        attendreLivraison();
    }
    attendreRepos();

    const bool active = adaptateur.estActive();
    EXPECT_NE(OXcdvCliItfAdaptateur::DemandeActivation, adaptateur.lireEtat());
    EXPECT_EQ(active, _estEnregistree());
    Compte compte;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        compte = _compte;
    }
    EXPECT_THAT(compte.anomalies, testing::IsEmpty());
    const int silencieuses = compte.connecte + compte.connexions - compte.pertes - compte.departs - active;
    EXPECT_THAT(silencieuses, testing::AnyOf(0, silence == Aucun ? 0 : 1))
        << compte.connexions << " connections, " << compte.pertes << " losses, " << compte.departs
        << " departures, active: " << active;
    if (silence != Tout) {
        EXPECT_EQ(compte.demandes, compte.reponses);
        // What fails on purpose, or with the kernel, does so before or after the turn to the other server.
        if (statutsPermis.empty() && !compte.arretee) {
            EXPECT_EQ(_serveurAvant ^ (compte.bascules & 1), adaptateur.lireServeurCourant());
        }
    }
    if (active)
        _partir();
    _verifierVie();
}

void ClientEprouve::_verifierVie()
{
    _reponse = OXS_OK;
    _recommencer(false, 0);
    EXPECT_EQ(OXS_OK, OXcdvCliItf::active(SERVICE));
    EXPECT_TRUE(_attendre([&] { return _compte.connexions == 1; }));
    attendreLivraison();
    EXPECT_TRUE(_estEnregistree());
    int idOp = 0;
    OXvol_completData vol;
    EXPECT_EQ(OXS_OK, OXcdvCliItf::cree_vol_complet(&vol, idOp));
    const bool estPremier = oxcdvCliItfAdaptateur()->lireServeurCourant() == OXroutage::PremierServeur;
    ServeurEssai& serveur = estPremier ? premier : deuxieme;
    EXPECT_NO_THROW(serveur.client->testerConnexionClient(SERVICE, "", "", serveur.numeroClient));
    serveur.notifications()->fin_liste_vol_complet(0, idOp);
    EXPECT_TRUE(_attendre([&] { return _compte.derniereFin == idOp; }));
    _partir();
}

void ClientEprouve::_partir()
{
    _recommencer(true, 0);
    const OXstatut statut = OXcdvCliItf::desactive();
    if (statut == OXS_SERVICE_DEJA_DESACTIVE) { // it lasted longer than a period: taken for a loss
        EXPECT_TRUE(attendrePertes(1));
    } else {
        EXPECT_EQ(OXS_OK, statut);
    }
}

void ClientEprouve::toutOublier()
{
    _porte.ouvrir();
    detruire();
    attendreRepos();
}

int ClientEprouve::echecs()
{
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

} // namespace essais
