// A server stops answering without dying, or the network is cut between it and the client: nothing says so.
// It comes back later.
#include "CapteurTraces.h"
#include "EtatProcessus.h"
#include "SessionReelle.h"
#include "orix/INonCopiable.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

using namespace essais;

namespace {

/// A session whose servers fail one after the other, and that goes on: nothing that the client was told of is
/// lost.
class SessionEprouvee : public essais::SessionReelle
{
  protected:
    using SessionReelle::SessionReelle;

    /// The client is at peace: the next callback is that of this creation, and nothing else comes.
    void creer(const std::string& identifiant)
    {
        EXPECT_EQ(SessionReelle::creer(identifiant), 0);
        EXPECT_EQ(_callbacks.nombre(), 0u);
        _crees.insert(identifiant);
    }
    /// Waits for the notice of the loss; the creations told of before it are kept. emettre: called between
    /// short waits.
    void attendrePerte(const std::function<void()>& emettre = [] {})
    {
        Appel appel("rien");
        for (; appel.nom != "deconnexionCB"; appel = _callbacks.attendre(std::chrono::milliseconds(20))) {
            if (appel.nom == "cree_vol_completCB" && appel.statut == 0)
                _crees.insert(appel.identifiant.value_or("?"));
            else
                ASSERT_EQ(appel.nom, "rien");
            emettre();
        }
        EXPECT_EQ(appel.statut, orix::OXS_ECHEC_PING);
    }
    /// The creations that were told of and are no more.
    int compterPerdus()
    {
        std::set<std::string> perdus = _crees;
        for (const std::string& present : lister(*vol("*")))
            perdus.erase(present);
        return static_cast<int>(perdus.size());
    }

    std::set<std::string> _crees; ///< those whose creation was notified
};

// ---- The server hangs

class ServeurFige : public SessionEprouvee
{
  protected:
    using SessionEprouvee::SessionEprouvee;

    /// Lets the server of a former activation run again, until it has given this client up.
    void reveiller(const std::string& ancien)
    {
        serveur(ancien).signaler(SIGCONT);
        EXPECT_TRUE(serveur(ancien).attendreErreurs("parti"));
    }
};

/// Nobody declares a loss: what the calls themselves do is seen.
class ServeurFigeSansPing : public ServeurFige
{
  protected:
    ServeurFigeSansPing()
        : ServeurFige(reglagesVifs([](auto& r) { r[orix::cle::periodePing] = std::chrono::hours(1); }))
    {}
};

/// Again and again, on each server in turn: the client works on the other one, and gathers no threads or
/// descriptors.
TEST_F(ServeurFige, PerteDeclareePuisRetourDeLAncien)
{
    constexpr std::size_t TOURS = 4;
    Ressources reference;
    std::string actif = activerQuelquePart();
    for (std::size_t tour = 0; tour < TOURS; ++tour) {
        const std::string nom = std::to_string(tour);
        serveur(actif).figer();
        // These wait for the old server, which will execute them when it is back, and tell nobody.
        for (int i = 0; i < 200; ++i)
            envoyer(&OXcdvCliItf::cree_vol_complet, *vol("T" + nom + "-" + std::to_string(i)));
        attendrePerte();
        const std::string autre = activer();
        EXPECT_NE(autre, actif);
        creer("apres-" + nom);
        EXPECT_EQ(compterPerdus(), 0);
        if (tour % 2 == 0) {
            reveiller(actif);
        } else { // its farewell is for a connection that is no more
            serveur(actif).signaler(SIGTERM);
            serveur(actif).signaler(SIGCONT);
            EXPECT_EQ(serveur(actif).attendreFin(), 0);
        }
        creer("S" + nom);
        relancer(actif);
        if (tour == 0)
            reference = Ressources::attendreStables();
        actif = autre;
    }
    // A dead connection stays until the ORB next looks over its idle ones. A leak would be one each time.
    const Ressources fin = Ressources::attendreStables();
    EXPECT_LT(fin.fils, reference.fils + TOURS);
    EXPECT_LT(fin.descripteurs, reference.descripteurs + TOURS);
    std::cout << reference << " after the first, " << fin << " after the last" << std::endl;
}

/// Every call comes back, though the server does not: one that does not is a test that hangs.
TEST_F(ServeurFige, AucunAppelNeResteBloque)
{
    const std::string actif = activer();
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    {
        const SurTrace arret(NOYAU_REPOND, [&] { serveur(actif).figer(); });
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_NE(appel.statut, orix::OXS_OK);
    }
    const std::string autre = activer();
    EXPECT_NE(autre, actif);
    serveur(autre).figer();
    envoyer(&OXcdvCliItf::cree_vol_complet, *vol("V"));
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    for (int essai = 0; essai < 2; ++essai)
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);

    // The first server answers at last an activation that nobody waits for any more, and learns it.
    reveiller(actif);
    reveiller(autre);
    activer();
    creer("W");
}

TEST_F(ServeurFigeSansPing, EnvoisVersUnServeurQuiNePrendRien)
{
    constexpr int FILS = 4;
    constexpr int REFUS = 3; // of each thread
    ServeurReel& actif = serveur(activer());
    actif.figer();
    const std::string remplissage(20000, 'x');
    std::atomic<int> numero{0};
    std::vector<std::thread> fils;
    for (int fil = 0; fil < FILS; ++fil)
        fils.emplace_back([&] {
            for (int refus = 0; refus < REFUS;) {
                const auto grand = vol("F" + std::to_string(++numero));
                grand->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
                int idOp = 0;
                const orix::OXstatut statut = OXcdvCliItf::cree_vol_complet(grand.get(), idOp);
                refus += statut != orix::OXS_OK;
                EXPECT_TRUE(statut == orix::OXS_OK || statut == orix::OXS_ERREUR_CORBA) << statut;
            }
        });
    for (std::thread& fil : fils)
        fil.join();

    // Back, it serves again: at most what was on its way is lost.
    actif.signaler(SIGCONT);
    const auto dernier = vol("dernier");
    int idOp = 0;
    EXPECT_EQ(OXcdvCliItf::cree_vol_complet(dernier.get(), idOp), orix::OXS_OK);
    for (;;) {
        const Appel appel = _callbacks.attendre();
        ASSERT_EQ(appel.nom, "cree_vol_completCB");
        EXPECT_EQ(appel.statut, 0);
        if (appel.idOp == idOp)
            break;
    }
}

// ---- The network is cut

const std::filesystem::path ESPACES = "/run/netns";

/// Runs it with the shell; false when it fails.
bool lancer(const std::string& commande)
{
    return std::system(("PATH=$PATH:/usr/sbin:/sbin; { " + commande + "; } >/dev/null 2>&1").c_str()) == 0;
}

/// This process's network namespace is another one while it lives.
class DansEspace : orix::INonCopiable
{
  public:
    explicit DansEspace(const std::string& espace)
    {
        const int nouveau = open((ESPACES / espace).c_str(), O_RDONLY);
        const bool entre = setns(nouveau, CLONE_NEWNET) == 0;
        close(nouveau);
        if (!entre)
            throw std::runtime_error("cannot enter the network namespace " + espace);
    }
    ~DansEspace()
    {
        setns(_avant, CLONE_NEWNET);
        close(_avant);
    }

  private:
    const int _avant = open("/proc/thread-self/ns/net", O_RDONLY);
};

/// Three hosts, each a network namespace, joined by a bridge in a fourth.
class Reseau
{
  public:
    ~Reseau() { lancer("for n in pont client cdv1 cdv2; do ip netns del " + espace("$n") + "; done"); }

    bool existe() const { return _existe; }
    static std::string adresse(const std::string& hote)
    {
        return hote == "client" ? "10.213.7.1" : hote == "cdv1" ? "10.213.7.2" : "10.213.7.3";
    }
    static std::string espace(const std::string& hote)
    {
        return "oxcdv-" + std::to_string(getpid()) + "-" + hote;
    }

    /// The bridge's end of the host's cable: nobody is told, neither host nor peer.
    static void couper(const std::string& hote) { _brancher(hote, "down"); }
    static void retablir(const std::string& hote) { _brancher(hote, "up"); }

  private:
    static void _brancher(const std::string& hote, const std::string& etat)
    {
        EXPECT_TRUE(lancer("ip -n " + espace("pont") + " link set " + hote + " " + etat));
    }
    const bool _existe =
        lancer("e=" + espace("") + R"(; p=${e}pont; ip netns add $p && ip -n $p link add pont type bridge &&
           ip -n $p link set pont up && for h in client cdv1 cdv2; do
             i=$((i + 1)); ip netns add $e$h && ip -n $e$h link add eth type veth peer name $h netns $p &&
             ip -n $p link set $h master pont up && ip -n $e$h addr add 10.213.7.$i/24 dev eth &&
             ip -n $e$h link set eth up && ip -n $e$h link set lo up || exit 1
           done)");
};

/// What must be there before the session starts: the network, the test's thread at the client's end, a server
/// at each of the others.
class Hotes
{
  protected:
    Hotes()
    {
        if (!_reseau.existe())
            return;
        for (const std::string nom : {"cdv1", "cdv2"}) {
            const DansEspace espace(Reseau::espace(nom));
            _serveurs.push_back(std::make_unique<ServeurReel>(
                _base.fichier("vols.db"),
                std::vector<std::string>{"--nom", nom, "--hote", Reseau::adresse(nom), "--periode-ping",
                                         "200", "--delai-ping", "500"}));
        }
        _client = std::make_unique<DansEspace>(Reseau::espace("client"));
    }

    orix::Configuration reglages() const
    {
        orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
        if (_reseau.existe()) {
            reglages[orix::cle::pointsAcces] = {Reseau::adresse("client") + ":0"};
            reglages[orix::cle::routage]["cdv"] = {_serveurs[0]->url(), _serveurs[1]->url()};
        }
        return reglages;
    }

    Reseau _reseau;
    essais::DossierTemporaire _base;
    std::vector<std::unique_ptr<ServeurReel>> _serveurs;
    std::unique_ptr<DansEspace> _client;
};

class CoupureReseau : protected Hotes, public SessionEprouvee
{
  protected:
    CoupureReseau() : SessionEprouvee(Hotes::reglages()) {}

    void SetUp() override
    {
        if (!_reseau.existe())
            GTEST_SKIP() << "no network namespaces here (ip netns, bridge and veth are needed, and the right "
                            "to make them)";
    }

    /// Requests leave until the loss is told.
    void emettreJusquALaPerte()
    {
        attendrePerte([this] {
            int idOp = 0;
            const orix::OXstatut statut =
                OXcdvCliItf::cree_vol_complet(vol("E" + std::to_string(_emis++)).get(), idOp);
            EXPECT_TRUE(statut == orix::OXS_OK || statut == orix::OXS_ERREUR_CORBA ||
                        statut == orix::OXS_SERVICE_NON_ACTIVE)
                << statut;
        });
    }

    int _emis = 0;
};

TEST_F(CoupureReseau, EachServerAndThenBothAreLostAndFoundAgain)
{
    EXPECT_EQ(activer(), "cdv1");
    creer("avant");
    Reseau::couper("cdv1");
    EXPECT_EQ(_callbacks.attendre().nom, "deconnexionCB"); // nothing was sent: only the pings can tell
    EXPECT_EQ(activer(), "cdv2");
    Reseau::retablir("cdv1");
    creer("retabli");
    Reseau::couper("cdv2");
    emettreJusquALaPerte();
    EXPECT_EQ(activer(), "cdv1");
    // What the old server and the network kept comes now, while the client is the other one's.
    Reseau::retablir("cdv2");
    creer("encore");
    EXPECT_EQ(compterPerdus(), 0);
    Reseau::couper("client");
    emettreJusquALaPerte();
    for (int essai = 0; essai < 2; ++essai)
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);
    Reseau::retablir("client");
    const std::string actif = activerQuelquePart();
    creer("apres");
    Reseau::couper(actif);
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK); // told to nobody, and held back by nobody
    Reseau::retablir(actif);
    activerQuelquePart();
    EXPECT_EQ(compterPerdus(), 0);
}

} // namespace
