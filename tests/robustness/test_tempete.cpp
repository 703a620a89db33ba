// Both servers die and come back at random, under load, while the application keeps re-activating.
#include "EtatProcessus.h"
#include "SessionReelle.h"

#include <atomic>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

using essais::Appel;
using essais::Chronometre;
using essais::Ressources;
using essais::vol;

namespace {

using std::chrono::milliseconds;

constexpr int VOLS_MAX = 1000000;
constexpr int EN_COURS_MAX = 200; // requests not answered yet
constexpr std::chrono::seconds ECHAUFFEMENT{5};
constexpr std::chrono::seconds DUREE{60};
constexpr long TOLERANCE_KO = 4 * 1024; // what an allocator of many threads does not give back

class Tempete : public essais::SessionReelle
{
  protected:
    struct Releve
    {
        int morts = 0;
        int activations = 0;
        int envois = 0;
        double pireDetection = 0; // from the death of the active server to deconnexionCB
        double pireReprise = 0;   // from deconnexionCB to activeCB; both servers may be down meanwhile
        std::map<orix::OXstatut, int> refus; // of active
    };

    void subir(std::chrono::seconds duree, Releve& releve);
    /// A known state: both servers new, active on one of them, nothing outstanding.
    void apaiser();
    int compterPerdus();

    std::string _actif; ///< under the mutex, during a storm

  private:
    static constexpr int AUCUNE = -1;

    enum Etat
    {
        INACTIF,
        DEMANDE,
        ACTIF
    };

    void _tuer(std::chrono::seconds duree, Releve& releve);
    void _charger(Releve& releve);
    void _appliquer(Releve& releve);

    std::minstd_rand _hasard{20}; // of the thread that kills
    std::atomic<bool> _fini{false};
    std::atomic<bool> _ouvert{false}; // the load may send
    std::atomic<int> _enCours{0};
    std::vector<char> _crees = std::vector<char>(VOLS_MAX); // by number; 1: its creation was notified
    int _prochain = 0;

    std::mutex _mutex; // guards _actif and what follows
    std::map<std::string, Chronometre> _morts;
};

void Tempete::_tuer(std::chrono::seconds duree, Releve& releve)
{
    const auto attendre = [this](int de, int a) {
        std::this_thread::sleep_for(milliseconds(std::uniform_int_distribution<int>(de, a)(_hasard)));
    };
    const Chronometre debut;
    while (!_fini && debut.secondes() < static_cast<double>(duree.count())) {
        attendre(100, 1500);
        const int victimes = std::uniform_int_distribution<int>(1, 3)(_hasard); // the first, the other, both
        std::vector<std::string> noms;
        for (const int rang : {1, 2})
            if ((victimes & rang) != 0)
                noms.push_back("cdv" + std::to_string(rang));
        for (const std::string& nom : noms) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            serveur(nom).signaler(SIGKILL);
            _morts[nom] = Chronometre();
            ++releve.morts;
        }
        attendre(0, 500);
        for (const std::string& nom : noms)
            relancer(nom);
    }
}

void Tempete::_charger(Releve& releve)
{
    while (!_fini) {
        int idOp = 0;
        if (_ouvert && _enCours < EN_COURS_MAX && _prochain < VOLS_MAX &&
            OXcdvCliItf::cree_vol_complet(vol("T" + std::to_string(_prochain)).get(), idOp) == orix::OXS_OK) {
            ++_enCours;
            ++_prochain;
            ++releve.envois;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500)); // some 1500 requests a second
    }
}

/// The application: keeps what it is told, and activates again whenever it is told that it must.
void Tempete::_appliquer(Releve& releve)
{
    Etat etat = ACTIF;
    Chronometre perte;
    Chronometre silence;
    const auto ouvrir = [this] {
        _enCours = 0;
        _ouvert = true;
    };
    ouvrir();
    int marque = AUCUNE; // the request after which nothing more is to come
    for (;;) {
        if (etat == INACTIF) {
            const orix::OXstatut statut = OXcdvCliItf::active(essais::SERVICE);
            if (statut != orix::OXS_OK) {
                ++releve.refus[statut];
                ASSERT_LT(perte.secondes(), 30) << "nothing can be activated any more";
                std::this_thread::sleep_for(milliseconds(10)); // both are down
                continue;
            }
            etat = DEMANDE;
        }
        int idOp = 0;
        if (_fini && etat == ACTIF && marque == AUCUNE &&
            OXcdvCliItf::consulte_vol_complet(vol("personne").get(), idOp) == orix::OXS_OK)
            marque = idOp;

        const Appel appel = _callbacks.attendre(milliseconds(100)); // the storm may end while nothing comes
        if (appel.nom == "rien") {
            ASSERT_LT(silence.secondes(), 20) << "hung in state " << etat;
            continue;
        }
        silence = Chronometre();
        if (appel.nom == "cree_vol_completCB") {
            if (appel.statut == 0)
                _crees[std::stoul(appel.identifiant->substr(1))] = 1;
            --_enCours;
        } else if (appel.nom == "activeCB") {
            ASSERT_EQ(etat, DEMANDE);
            if (appel.statut != orix::OXS_OK) {
                etat = INACTIF;
                continue;
            }
            etat = ACTIF;
            ++releve.activations;
            releve.pireReprise = std::max(releve.pireReprise, perte.secondes());
            {
                const std::lock_guard<std::mutex> verrou(_mutex);
                _actif = appel.serveur;
            }
            ouvrir();
        } else if (appel.nom == "deconnexionCB") {
            ASSERT_EQ(etat, ACTIF);
            etat = INACTIF;
            _ouvert = false;
            marque = AUCUNE;
            perte = Chronometre();
            const std::lock_guard<std::mutex> verrou(_mutex);
            releve.pireDetection = std::max(releve.pireDetection, _morts[_actif].secondes());
        } else {
            ASSERT_EQ(appel.nom, "consulte_vol_completCB");
            ASSERT_EQ(appel.idOp, marque);
            return;
        }
    }
}

void Tempete::subir(std::chrono::seconds duree, Releve& releve)
{
    _fini = false;
    std::thread tueur([&] {
        _tuer(duree, releve);
        _fini = true;
    });
    std::thread charge([&] { _charger(releve); });
    _appliquer(releve);
    _fini = true; // when the application has given up
    tueur.join();
    charge.join();
    _callbacks.oublier();
}

void Tempete::apaiser()
{
    _premier->signaler(SIGKILL);
    _second->signaler(SIGKILL);
    EXPECT_EQ(_callbacks.attendre("deconnexionCB").statut, orix::OXS_ECHEC_PING);
    for (int fois = 0; fois < 2; ++fois) // neither keeps a connection
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);
    relancer("cdv1");
    relancer("cdv2");
    _actif = activer();
    for (int i = 0; i < 1000; ++i)
        demander(&OXcdvCliItf::consulte_vol_complet, *vol("personne"));
}

int Tempete::compterPerdus()
{
    for (const std::string& present : lister(*vol("T*")))
        _crees[std::stoul(present.substr(1))] = 0;
    return static_cast<int>(std::count(_crees.begin(), _crees.end(), 1));
}

} // namespace

TEST_F(Tempete, SoixanteSecondes)
{
    _actif = activer();
    Releve echauffement;
    subir(ECHAUFFEMENT, echauffement);
    ASSERT_FALSE(HasFatalFailure());
    apaiser();
    const Ressources avant = Ressources::attendreStables();
    const long memoireAvant = essais::memoire::residente();
    essais::memoire::oublierPic();

    Releve releve;
    subir(DUREE, releve);
    ASSERT_FALSE(HasFatalFailure());
    const long pic = essais::memoire::pic();
    const int perdus = compterPerdus();
    EXPECT_EQ(perdus, 0);
    apaiser();
    const Ressources apres = Ressources::attendre(avant, std::chrono::seconds(20));
    const long memoireApres = essais::memoire::residente();
    EXPECT_LE(apres.fils, avant.fils);
    EXPECT_LE(apres.descripteurs, avant.descripteurs);
    if (essais::MEMOIRE_MESURABLE) {
        EXPECT_LT(memoireApres - memoireAvant, TOLERANCE_KO);
    }
    std::cout << "storm: " << releve.morts << " deaths, " << releve.activations << " activations, "
              << releve.envois << " creations sent, " << perdus << " lost; known after "
              << releve.pireDetection << " s, active again after " << releve.pireReprise
              << " s more at worst; memory before " << memoireAvant << " kB, peak " << pic << " kB, after "
              << memoireApres << " kB; before " << avant << ", after " << apres << std::endl;
    for (const auto& [statut, fois] : releve.refus)
        std::cout << "  active refused with " << orix::texteStatut(statut) << ": " << fois << " times"
                  << std::endl;
}
