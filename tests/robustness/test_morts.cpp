// What was told is done and what was refused is not, whatever dies: the servers of a client under load are
// killed at random moments. OXCDV_MORTS: how many deaths, instead of a handful; OXCDV_GRAINE: the seed, that
// of a run before.
#include "DossierTemporaire.h"
#include "PostgresEssai.h"

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
    void tuerLesServeurs(const std::string& base)
    {
        demarrer(base);
        for (unsigned mort = 0; mort < _morts; ++mort) {
            const std::string nom = attendreConnexion();
            laisserAller();
            tuerServeur(nom);
        }
        attendreConnexion();
        compter();
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

TEST_F(Morts, DuServeurSurSqlite) { tuerLesServeurs(_dossier.fichier("vols.db")); }
TEST_F(Morts, DuServeurSurPostgresql)
{
    tuerLesServeurs(PostgresEssai::celui().uri(PostgresEssai::celui().creerBase()));
}

/// The database itself: its servers wait for it, settle what was under way, and go on.
TEST_F(Morts, DePostgresql)
{
    PostgresEssai& postgres = PostgresEssai::celui();
    demarrer(postgres.uri(postgres.creerBase()));
    attendreConnexion();
    for (unsigned mort = 0; mort < _morts; ++mort) {
        laisserAller();
        postgres.tuer();
        attendreReponses();
    }
    compter();
}

} // namespace
