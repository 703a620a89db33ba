// What was told is done and what was refused is not, whatever dies: the servers of a client under load are
// killed at random moments, while their store refuses some of the writes. OXCDV_MORTS: how many deaths,
// instead of a handful; OXCDV_GRAINE: the seed, that of a run before.
#include "DossierTemporaire.h"
#include "PostgresEssai.h"

#include <sys/resource.h>

using namespace essais;

namespace {

unsigned environnement(const char* nom, unsigned sinon)
{
    const char* texte = std::getenv(nom);
    return texte == nullptr ? sinon : static_cast<unsigned>(std::stoul(texte));
}

class Morts : public testing::Test
{
  protected:
    /// The two servers of the service over that base, and the client, which is under load when this returns.
    void demarrer(const std::string& base)
    {
        _base = base;
        std::cout << "seed " << _graine << std::endl;
        for (const std::string nom : {"cdv1", "cdv2"})
            _lancer(nom, portReserve());
        std::ofstream(_dossier.fichier("session.toml"))
            << "[routage]\ncdv = [\"" << _serveurs["cdv1"]->url() << "\", \"" << _serveurs["cdv2"]->url()
            << "\"]\n[surveillance]\nperiode_ms = 100\ndelai_ms = 300\n[trace]\nniveau = 0\n";
        _client = std::make_unique<Programme>(
            OXCDV_DURABILITE,
            std::vector<std::string>{_dossier.fichier("session.toml"), std::to_string(_graine)});
    }
    /// Waits for the client's next connection: the name of its server.
    std::string attendreConnexion()
    {
        const std::string annonce = "active " + std::to_string(++_connexions) + " on ";
        if (!_client->attendreSortie(annonce))
            throw std::runtime_error("no connection any more: " + _client->sortie());
        const std::string sortie = _client->sortie();
        return sortie.substr(sortie.find(annonce) + annonce.size(), 4);
    }
    /// Load goes on for a random time: what dies then dies at any point of what it does.
    void laisserAller()
    {
        std::this_thread::sleep_for(
            std::chrono::microseconds(std::uniform_int_distribution<int>(0, 300000)(_hasard)));
    }
    void tuerServeur(const std::string& nom)
    {
        const int port = _serveurs.at(nom)->port();
        _serveurs.erase(nom); // SIGKILL
        _lancer(nom, port);
    }
    /// gener: told which server the client is connected to, makes trouble for its store until it dies.
    template <class Gener>
    void tuerLesServeurs(Gener gener)
    {
        for (unsigned mort = 0; mort < _morts; ++mort) {
            const std::string nom = attendreConnexion();
            laisserAller();
            gener(nom);
            laisserAller();
            tuerServeur(nom);
        }
        attendreConnexion();
        compter();
    }
    /// From now on no file of that server may have more octets, as on a full disk.
    void bornerFichiers(const std::string& nom, rlim_t octets)
    {
        const rlimit borne{octets, RLIM_INFINITY};
        ASSERT_EQ(prlimit(_serveurs.at(nom)->pid(), RLIMIT_FSIZE, &borne, nullptr), 0);
    }
    rlim_t tirer(rlim_t max) { return std::uniform_int_distribution<rlim_t>(0, max)(_hasard); }
    void attendreRefus()
    {
        if (!_client->attendreSortie("code 4 for the first time"))
            throw std::runtime_error("nothing is refused: " + _client->sortie());
    }
    /// Waits until the client has had answers to what it asks from now on.
    void attendreReponses()
    {
        const std::string sortie = _client->sortie();
        const std::size_t fin = sortie.rfind(" answers\n");
        const std::size_t debut = fin == std::string::npos ? 0 : sortie.rfind('\n', fin) + 1;
        const int dits = fin == std::string::npos ? 0 : std::stoi(sortie.substr(debut));
        if (!_client->attendreSortie("\n" + std::to_string(dits + 500) + " answers"))
            throw std::runtime_error("no answers any more: " + _client->sortie());
    }
    /// The client compares what it was told with what is there.
    void compter()
    {
        attendreRefus();
        _client->signaler(SIGTERM);
        EXPECT_EQ(_client->attendreFin(), 0);
        std::cout << _client->sortie();
    }

    const unsigned _morts = environnement("OXCDV_MORTS", 3);

  private:
    void _lancer(const std::string& nom, int port)
    {
        _serveurs[nom] =
            std::make_unique<ServeurReel>(_base,
                                          std::vector<std::string>{"--nom", nom, "--periode-ping", "200",
                                                                   "--delai-ping", "500", "--trace", "0"},
                                          port);
    }

  protected:
    DossierTemporaire _dossier;

  private:
    const unsigned _graine = environnement("OXCDV_GRAINE", std::random_device{}() % 100000);
    std::mt19937 _hasard{_graine};
    std::string _base;
    std::map<std::string, std::unique_ptr<ServeurReel>> _serveurs;
    std::unique_ptr<Programme> _client;
    int _connexions = 0;
};

/// On a disk that is full again and again.
TEST_F(Morts, DuServeurSurSqlite)
{
    demarrer(_dossier.fichier("vols.db"));
    bool premiere = true;
    tuerLesServeurs([&](const std::string& nom) {
        bornerFichiers(nom, premiere ? 0 : tirer(256 * 1024));
        if (std::exchange(premiere, false))
            attendreRefus();
    });
}

class MortsPostgresql : public Morts
{
  protected:
    /// Of a hundred rows one is refused when it is written, and one when its transaction is to be committed;
    /// again when it is tried again.
    void demarrerPostgresql()
    {
        const std::string base = _postgres.creerBase();
        demarrer(_postgres.uri(base));
        _postgres.demander(
            "CREATE FUNCTION panne() RETURNS trigger LANGUAGE plpgsql AS $$ DECLARE ligne record; "
            "BEGIN IF TG_OP = 'DELETE' THEN ligne := OLD; ELSE ligne := NEW; END IF; "
            "IF hashtext(TG_NAME || ligne::text) % 100 = 0 THEN RAISE EXCEPTION 'panne'; END IF; "
            "RETURN ligne; END $$",
            base);
        const std::string sur = " INSERT OR UPDATE OR DELETE ON vol ";
        const std::string faire = "FOR EACH ROW EXECUTE FUNCTION panne()";
        _postgres.demander("CREATE TRIGGER ecriture BEFORE" + sur + faire, base);
        _postgres.demander("CREATE CONSTRAINT TRIGGER validation AFTER" + sur +
                               "DEFERRABLE INITIALLY DEFERRED " + faire,
                           base);
    }

    PostgresEssai& _postgres = PostgresEssai::celui();
};

TEST_F(MortsPostgresql, DuServeur)
{
    demarrerPostgresql();
    tuerLesServeurs([](const std::string&) {});
}

/// The database itself: its servers wait for it, settle what was under way, and go on.
TEST_F(MortsPostgresql, DeLaBase)
{
    demarrerPostgresql();
    attendreConnexion();
    for (unsigned mort = 0; mort < _morts; ++mort) {
        laisserAller();
        _postgres.tuer();
        attendreReponses();
    }
    compter();
}

} // namespace
