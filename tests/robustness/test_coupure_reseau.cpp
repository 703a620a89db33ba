// The network is cut between the client and its server: nothing says so, the packets just do not arrive.
#include "SessionEprouvee.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>

using essais::ServeurReel;
using essais::vol;

namespace {

/// Runs "ip ARGUMENTS" or another command of the kind; false when it fails.
bool lancer(const std::string& commande)
{
    return std::system(("PATH=$PATH:/usr/sbin:/sbin; " + commande + " >/dev/null 2>&1").c_str()) == 0;
}

const std::filesystem::path ESPACES = "/run/netns";

/// This process's network namespace is another one while it lives.
class DansEspace
{
  public:
    explicit DansEspace(const std::string& espace) : _avant(open("/proc/thread-self/ns/net", O_RDONLY))
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
    DansEspace(const DansEspace&) = delete;
    DansEspace& operator=(const DansEspace&) = delete;

  private:
    const int _avant;
};

/// Three hosts, each a network namespace, joined by a bridge in a fourth.
class Reseau
{
  public:
    Reseau()
    {
        const std::string pont = espace("pont");
        _existe = lancer("ip netns add " + pont + " && ip -n " + pont +
                         " link add pont type bridge && ip -n " + pont + " link set pont up");
        for (const auto& [hote, adresse] : ADRESSES) {
            const std::string e = espace(hote);
            _existe =
                _existe &&
                lancer("ip netns add " + e + " && ip -n " + e + " link add eth type veth peer name " + hote +
                       " netns " + pont + " && ip -n " + pont + " link set " + hote +
                       " master pont up && ip -n " + e + " addr add " + adresse + "/24 dev eth && ip -n " +
                       e + " link set eth up && ip -n " + e + " link set lo up");
        }
    }
    ~Reseau()
    {
        for (const auto& [hote, adresse] : ADRESSES)
            lancer("ip netns del " + espace(hote));
        lancer("ip netns del " + espace("pont"));
    }
    Reseau(const Reseau&) = delete;
    Reseau& operator=(const Reseau&) = delete;

    bool existe() const { return _existe; }
    static std::string adresse(const std::string& hote) { return ADRESSES.at(hote); }
    static std::string espace(const std::string& hote)
    {
        return "oxcdv-" + std::to_string(getpid()) + "-" + hote;
    }

    /// The bridge's end of the host's cable: nobody is told, neither host nor peer.
    static void couper(const std::string& hote) { _brancher(hote, "down"); }
    static void retablir(const std::string& hote) { _brancher(hote, "up"); }

  private:
    static inline const std::map<std::string, std::string> ADRESSES{
        {"client", "10.213.7.1"}, {"cdv1", "10.213.7.2"}, {"cdv2", "10.213.7.3"}};

    static void _brancher(const std::string& hote, const char* etat)
    {
        EXPECT_TRUE(lancer("ip -n " + espace("pont") + " link set " + hote + " " + etat));
    }
    bool _existe = false;
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

class CoupureReseau : protected Hotes, public essais::SessionEprouvee
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

TEST_F(CoupureReseau, LossIsSeenByPingsAndServersTakeTurns)
{
    repeter(
        "network cut", 4,
        [this](const std::string& actif) {
            Reseau::couper(actif);
            emettreJusquALaPerte();
        },
        [this](const std::string& ancien) {
            // What the old server and the network kept comes now, while the client is the other one's.
            Reseau::retablir(ancien);
            creer("retabli-" + std::to_string(_emis));
        });
}

TEST_F(CoupureReseau, ClientCutFromBothFindsThemAgain)
{
    EXPECT_EQ(activer(), "cdv1");
    creer("avant");
    Reseau::couper("cdv1");
    EXPECT_EQ(_callbacks.attendre().nom, "deconnexionCB"); // nothing was sent: only the pings can tell
    EXPECT_EQ(activerQuelquePart(), "cdv2");
    Reseau::retablir("cdv1");
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
