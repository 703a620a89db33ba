// Sessions against two real servers over one file, linked as an application links them.
#include "CdvSession.h"
#include "EtatProcessus.h"
#include "OXcdvCliConnexion.h"
#include "SessionReelle.h"
#include "orix/EnvoisGroupes.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using Etat = cdv::Resultat::Etat;

Vol unVol(const std::string& identifiant) { return std::move(Vol().ecrire("identifiant", identifiant)); }

/// Two servers, the middleware of this process, and what an observer was told.
class SessionDeuxServeurs : public ::testing::Test
{
  protected:
    std::unique_ptr<essais::ServeurReel> lancer(const std::string& nom, int port)
    {
        return std::make_unique<essais::ServeurReel>(
            _dossier.fichier("vols.db"),
            std::vector<std::string>{"--nom", nom, "--periode-ping", "200", "--delai-ping", "500"}, port);
    }
    /// Starts both.
    orix::Configuration configuration()
    {
        for (const char* nom : {"cdv1", "cdv2"})
            _serveurs[nom] = lancer(nom, essais::portReserve());
        return essais::SessionReelle::reglagesVifs([this](auto& reglages) {
            reglages[orix::cle::routage]["cdv"] = {_serveurs["cdv1"]->url(), _serveurs["cdv2"]->url()};
        });
    }
    cdv::Options options()
    {
        cdv::Options options;
        options.delaiReprise = 50ms;
        options.delaiRepriseMax = 500ms;
        options.delaiRequete = 60s;
        options.observateur = [this](const Evenement& evenement) { _evenements.poser(evenement); };
        return options;
    }
    /// The next event of that state; one that says "closed" when none comes.
    Evenement attendre(EtatSession etat)
    {
        Evenement evenement;
        do
            evenement = _evenements.prendre({}, 60s);
        while (evenement.etat != etat && evenement.etat != EtatSession::fermee);
        return evenement;
    }
    std::set<std::string> toutLister(Session& session)
    {
        std::set<std::string> identifiants;
        cdv::Flux flux = session.parcourir(unVol("*"), 16);
        for (const Vol& vol : flux)
            EXPECT_TRUE(identifiants.emplace(*vol.lire("identifiant")).second);
        EXPECT_TRUE(flux.resultat()) << flux.resultat().texte();
        return identifiants;
    }

    essais::DossierTemporaire _dossier;
    std::map<std::string, std::unique_ptr<essais::ServeurReel>> _serveurs;
    int _argc = 0;
    cdv::Processus _processus{_argc, nullptr, configuration()};

  private:
    essais::FileAttente<Evenement> _evenements;
};

TEST_F(SessionDeuxServeurs, LaConnexionEstConnue)
{
    using Etat = orix::OXcdvCliConnexion::Etat;
    Session session;
    const auto verifier = [&session](Etat etat, int serveur) {
        const orix::OXcdvCliConnexion connexion = orix::lireOXcdvCliConnexion();
        EXPECT_EQ(connexion.etat, etat);
        EXPECT_EQ(connexion.serveur, serveur);
        EXPECT_EQ(connexion.numeroClient != 0, etat == Etat::active);
        EXPECT_EQ(connexion.numeroClient, session.numeroClient());
        return connexion.numeroClient;
    };
    verifier(Etat::inactive, 0); // asking brings no client into being
    session.ouvrir(options());
    ASSERT_TRUE(session.attendreActive(30s));
    const int premier = verifier(Etat::active, 1);
    _serveurs["cdv1"]->signaler(SIGKILL);
    attendre(EtatSession::active);
    EXPECT_TRUE(attendre(EtatSession::attente).perte);
    attendre(EtatSession::active);
    EXPECT_NE(verifier(Etat::active, 2), premier) << "the number of the dead server's connection";
    session.fermer();
    verifier(Etat::inactive, 2);
}

/// Requests of a group leave before their thread waits for their ends.
TEST_F(SessionDeuxServeurs, QuiAttendEnvoieDAbordSonGroupe)
{
    Session session(options());
    const orix::EnvoisGroupes groupe;
    std::atomic<int> faites{0};
    for (const char* identifiant : {"A", "B"})
        session.creer(unVol(identifiant),
                      [&faites](const Resultat& resultat) { faites += resultat ? 1 : 0; });
    EXPECT_TRUE(session.attendreFin(30s));
    EXPECT_EQ(faites, 2);
    EXPECT_EQ(toutLister(session).size(), 2u);
}

/// Creations without end, and what became of them.
class Charge
{
  public:
    explicit Charge(Session& session) : _session(session) {}

    void creer()
    {
        if (!_session.attendreActive(100ms) || _session.nombreEnCours() > 200)
            return;
        const std::string identifiant = "T" + std::to_string(_demandes++);
        _session.creer(unVol(identifiant), [this, identifiant](const Resultat& resultat) {
            _doubles += !_fins.emplace(identifiant, resultat.etat).second; // completions run one at a time
        });
    }
    /// Once each has ended, and no other has been made meanwhile: how many ended in each way.
    std::map<Etat, int> verifier(const std::set<std::string>& presents) const
    {
        EXPECT_EQ(_fins.size(), _demandes);
        EXPECT_EQ(_doubles, 0);
        std::map<Etat, int> nombres;
        for (const auto& [identifiant, etat] : _fins) {
            ++nombres[etat];
            if (etat != Etat::perdu) {
                EXPECT_EQ(presents.count(identifiant), etat == Etat::fait ? 1u : 0u) << identifiant;
            }
        }
        return nombres;
    }

  private:
    Session& _session;
    std::size_t _demandes = 0;
    std::map<std::string, Etat> _fins;
    int _doubles = 0;
};

/// Both servers die and come back at random, under load: whatever was told as done is there, each request
/// ends once, the session always finds a server again, and nothing is left behind.
TEST_F(SessionDeuxServeurs, Tempete)
{
    Session session{options()};
    Charge charge(session);
    std::minstd_rand hasard{20};
    const auto tuer = [this](int lesquels, const std::function<void()>& ensuite) {
        for (const int rang : {1, 2})
            if ((lesquels & rang) != 0)
                _serveurs["cdv" + std::to_string(rang)]->signaler(SIGKILL);
        ensuite();
        for (const int rang : {1, 2})
            if ((lesquels & rang) != 0) {
                auto& serveur = _serveurs["cdv" + std::to_string(rang)];
                serveur->attendreFin();
                serveur = lancer("cdv" + std::to_string(rang), serveur->port());
            }
    };
    const auto pause = [&](int de, int a) {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution(de, a)(hasard)));
    };
    const auto subir = [&](std::chrono::seconds duree) {
        std::atomic<bool> fini{false};
        std::thread fil([&] {
            for (; !fini; std::this_thread::sleep_for(500us))
                charge.creer();
        });
        for (const auto fin = std::chrono::steady_clock::now() + duree;
             std::chrono::steady_clock::now() < fin;) {
            pause(100, 1500);
            tuer(std::uniform_int_distribution(1, 3)(hasard), [&] { pause(0, 500); });
        }
        fini = true;
        fil.join();
        // A known state: both servers new, active on one of them, nothing outstanding.
        tuer(3, [] {});
        for (Etat etat = Etat::perdu; etat != Etat::refuse;) {
            session.attendreActive(1s);
            std::promise<Etat> fin; // completions come in order, and this one after those of the load
            session.consulter(unVol("personne"),
                              [&](const Resultat& resultat) { fin.set_value(resultat.etat); });
            etat = fin.get_future().get();
        }
        return essais::Ressources::attendreStables();
    };
    essais::Ressources avant = subir(5s);
    avant.descripteurs += 5; // the connections to a server that was tried in vain stay a while
    const long memoire = essais::memoire::residente();
    subir(30s);
    const essais::Ressources apres = essais::Ressources::attendre(avant, 20s);
    EXPECT_LE(apres.fils, avant.fils);
    EXPECT_LE(apres.descripteurs, avant.descripteurs); // some thirty deaths later
    if (essais::MEMOIRE_MESURABLE) {
        EXPECT_LT(essais::memoire::residente() - memoire, 4 * 1024); // kB that an allocator keeps
    }
    auto nombres = charge.verifier(toutLister(session));
    EXPECT_GT(nombres[Etat::perdu], 0);
    std::cout << "storm: " << nombres[Etat::fait] << " creations, " << nombres[Etat::perdu]
              << " of unknown outcome; before " << avant << ", after " << apres << std::endl;
}

} // namespace
