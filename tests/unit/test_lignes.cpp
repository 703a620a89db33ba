// The lines of the server's clients, over a real store, with readers that the test holds back.
#include "DossierTemporaire.h"
#include "Executeurs.h"
#include "Expediteurs.h"
#include "MagasinSqlite.h"
#include "OXvol_completData.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

using namespace serveur;

namespace {

constexpr std::chrono::seconds PATIENCE{60};
constexpr std::size_t MEMOIRE = 1 << 20;

std::shared_ptr<Fiche> fiche(const std::string& identifiant, std::size_t poids = 0)
{
    Vol vol = OXvol_completData().construireObjetSpecifique_v3_0_0();
    vol.m_gidentifiant = identifiant.c_str();
    if (poids > 0)
        vol.m_gnature = std::string(poids, 'x').c_str();
    return std::make_shared<Fiche>(vol);
}

/// A client whose reader takes what it is sent when the test lets it.
class Lecteur : public Ligne
{
  public:
    Lecteur(Memoire& memoire, bool ouvert) : Ligne(memoire), _ouvert(ouvert) {}

    void ouvrir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _ouvert = true;
        _change.notify_all();
    }
    void lacher() ///< as when its pings stay without answer
    {
        abandonner();
        ouvrir();
    }
    /// What it was sent, once there is so much; "fin" is the last word.
    std::vector<std::string> recus(std::size_t nombre)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        EXPECT_TRUE(_change.wait_for(verrou, PATIENCE, [&] { return _recus.size() >= nombre; }))
            << _recus.size() << " of " << nombre;
        return _recus;
    }

  protected:
    void envoyer(const Requete& reponse) override
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _change.wait(verrou, [this] { return _ouvert; });
        _recus.push_back(std::to_string(reponse.idOp) + ":" +
                         (reponse.genre == Requete::Genre::element ? reponse.vol->identifiant()
                                                                   : std::to_string(reponse.resultat)));
        _change.notify_all();
    }
    void prendreConge() override
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _recus.emplace_back("fin");
        _change.notify_all();
    }
    void finir(bool echec) noexcept override { EXPECT_FALSE(echec); }

  private:
    std::mutex _mutex;
    std::condition_variable _change;
    bool _ouvert;
    std::vector<std::string> _recus;
};

/// A store that knows nothing of one request.
class MagasinIncertain : public MagasinSqlite
{
  public:
    using MagasinSqlite::MagasinSqlite;
    std::unique_ptr<Ecriture> ouvrirEcriture() override
    {
        struct Incertaine : Ecriture
        {
            explicit Incertaine(std::unique_ptr<Ecriture> vraie) : vraie(std::move(vraie)) {}
            std::size_t executer(const Lot& lot) noexcept override
            {
                const std::size_t executees = vraie->executer(lot);
                for (Demande* demande : lot)
                    if (demande->vol->identifiant() == std::string("incertain"))
                        demande->resultat = ISSUE_INCONNUE;
                return executees;
            }
            const std::unique_ptr<Ecriture> vraie;
        };
        return std::make_unique<Incertaine>(MagasinSqlite::ouvrirEcriture());
    }
};

class Lignes : public testing::Test
{
  protected:
    ~Lignes() override
    {
        for (const auto& lecteur : _lecteurs)
            lecteur->lacher();
    }
    std::shared_ptr<Lecteur> lecteur(bool ouvert = true)
    {
        _lecteurs.push_back(std::make_shared<Lecteur>(_memoire, ouvert));
        return _lecteurs.back();
    }
    bool demander(const std::shared_ptr<Lecteur>& qui, Operation operation, std::shared_ptr<Fiche> vol,
                  int id)
    {
        Ligne::Suites suites;
        if (!qui->deposer(qui->creer(operation, std::move(vol), id), suites))
            return false;
        _aiguillage.suivre(qui, suites);
        return true;
    }
    /// So many records, created by one client.
    void remplir(int nombre, std::size_t poids = 0)
    {
        const auto auteur = lecteur();
        for (int i = 0; i < nombre; ++i)
            demander(auteur, Operation::cree, fiche("AF" + std::to_string(10000 + i), poids), i);
        auteur->recus(static_cast<std::size_t>(nombre));
    }

    essais::DossierTemporaire _dossier;
    MagasinIncertain _magasin{_dossier.fichier("vols.db")};
    Mesures _mesures;
    Aiguillage _aiguillage;
    Executeurs _executeurs{_magasin, _aiguillage, _mesures};
    Memoire _memoire{MEMOIRE};
    Expediteurs _expediteurs{_aiguillage, _mesures};
    std::vector<std::shared_ptr<Lecteur>> _lecteurs;
};

} // namespace

// Changes, consultations and listings go different ways, and are answered in the order of the requests.
TEST_F(Lignes, ChacunEstReponduDansSonOrdreAvecSesPropresChangements)
{
    const auto un = lecteur();
    const auto autre = lecteur();
    std::vector<std::string> attendus;
    for (int i = 0; i < 300; ++i) {
        const std::string id = "AF" + std::to_string(i);
        const auto suivre = [&](Operation operation, const std::string& qui,
                                std::vector<std::string> reponses) {
            demander(un, operation, fiche(qui), i);
            demander(autre, Operation::consulte, fiche("ZZ"), i);
            for (const std::string& reponse : reponses)
                attendus.push_back(std::to_string(i) + ":" + reponse);
        };
        suivre(Operation::consulte, id, {"2"});
        suivre(Operation::cree, id, {"0"});
        if (i % 3 == 0)
            suivre(Operation::liste, id + "*", {id, "0"});
        suivre(Operation::consulte, id, {"0"});
        suivre(Operation::supprime, id, {"0"});
        if (i % 2 == 0)
            suivre(Operation::consulte, id, {"2"});
    }
    EXPECT_EQ(un->recus(attendus.size()), attendus);
    autre->recus(attendus.size() - 100);
}

// More slow readers than there are threads to send: nobody else waits for them, and each gets all in the end.
TEST_F(Lignes, DesLecteursLentsNArretentQueLeurLigne)
{
    constexpr int NOMBRE = 3000;
    remplir(NOMBRE);
    std::vector<std::shared_ptr<Lecteur>> lents;
    for (int i = 0; i < 20; ++i) {
        lents.push_back(lecteur(/*ouvert*/ false));
        demander(lents.back(), Operation::liste, fiche("AF*"), 1);
        demander(lents.back(), Operation::supprime, fiche("rien"), 2);
    }
    const auto vif = lecteur();
    for (int i = 0; i < 200; ++i) {
        demander(vif, i % 2 == 0 ? Operation::consulte : Operation::modifie, fiche("AF10000"), i);
        EXPECT_EQ(vif->recus(static_cast<std::size_t>(i) + 1).back(), std::to_string(i) + ":0");
    }
    EXPECT_LE(_expediteurs.nombre(), lents.size() + 5);
    demander(vif, Operation::cree, fiche("AF10000bis"), 300); // a listing under way may give it
    vif->recus(201);
    lents.back()->lacher(); // takes nothing any more, and keeps nothing
    lents.pop_back();
    for (const auto& lent : lents) {
        lent->ouvrir();
        lent->recus(NOMBRE + 2);
    }
    for (const auto& lent : lents) {
        std::vector<std::string> recus = lent->recus(NOMBRE + 2);
        recus.erase(std::remove(recus.begin(), recus.end(), "1:AF10000bis"), recus.end());
        ASSERT_EQ(recus.size(), NOMBRE + 2u);
        EXPECT_TRUE(std::is_sorted(recus.begin(), recus.end() - 2));
        EXPECT_EQ(std::adjacent_find(recus.begin(), recus.end()), recus.end());
        EXPECT_EQ(recus.back(), "2:2");
    }
}

// What waits is bounded in octets, however large the records and whoever does not read; it is shared.
TEST_F(Lignes, CeQuiAttendEstBorneEnOctetsEtPartage)
{
    constexpr std::size_t POIDS = 20000;
    remplir(100, POIDS);
    std::vector<std::thread> fils;
    std::vector<std::shared_ptr<Lecteur>> lents;
    for (int i = 0; i < 4; ++i) {
        lents.push_back(lecteur(/*ouvert*/ false));
        fils.emplace_back([this, lent = lents.back()] {
            for (int n = 0; n < 1000; ++n)
                if (!demander(lent, Operation::modifie, fiche("AF10000", POIDS), n))
                    return; // let go
        });
    }
    const auto vif = lecteur();
    for (int i = 0; i < 50; ++i) {
        demander(vif, Operation::consulte, fiche("AF10001"), i);
        vif->recus(static_cast<std::size_t>(i) + 1);
        // Each may have one group of answers beyond, which was executed when there was room.
        EXPECT_LT(_memoire.prise(), MEMOIRE + 5 * (MEMOIRE / 2));
    }
    lents[0]->ouvrir();
    lents[0]->recus(1000);
    for (const auto& lent : lents)
        lent->lacher(); // who waits for room is let go too
    for (std::thread& fil : fils)
        fil.join();
}

// At the end what was accepted is executed and answered, then comes the last word; nothing new is taken.
TEST_F(Lignes, LeCongeVientApresToutesLesReponses)
{
    const auto un = lecteur(/*ouvert*/ false);
    for (int i = 0; i < 100; ++i)
        demander(un, i % 2 == 0 ? Operation::cree : Operation::liste, fiche("AF" + std::to_string(i)), i);
    const auto oisif = lecteur();
    for (const auto& ligne : {un, oisif})
        _aiguillage.suivre(ligne, ligne->congedier());
    EXPECT_FALSE(demander(un, Operation::cree, fiche("trop tard"), 100));
    un->ouvrir();
    EXPECT_EQ(un->recus(101).back(), "fin");
    EXPECT_EQ(oisif->recus(1).back(), "fin");
    while (_memoire.prise() > 0 && !HasFailure())
        std::this_thread::yield(); // the sender counts after the last word
}

// Nobody is told what nobody knows, nor anything that comes after it.
TEST_F(Lignes, QuiDemandeCeDontLIssueEstInconnueEstPerdu)
{
    const auto perdu = lecteur();
    demander(perdu, Operation::cree, fiche("avant"), 1);
    perdu->recus(1);
    demander(perdu, Operation::cree, fiche("incertain"), 2);
    demander(perdu, Operation::consulte, fiche("avant"), 3);
    while (!perdu->estAbandonnee() && perdu->recus(1).size() == 1)
        std::this_thread::yield();
    const auto autre = lecteur();
    demander(autre, Operation::consulte, fiche("AF"), 1);
    autre->recus(1);
    EXPECT_THAT(perdu->recus(1), testing::ElementsAre("1:0"));
}

namespace {

/// A store that keeps who writes until it is told.
class MagasinFige : public Magasin
{
  public:
    std::promise<void> suite;

    std::unique_ptr<Ecriture> ouvrirEcriture() override
    {
        struct Figee : Ecriture
        {
            explicit Figee(std::future<void> suite) : _suite(std::move(suite)) {}
            std::size_t executer(const Lot& lot) noexcept override
            {
                _suite.wait();
                return lot.size();
            }
            std::future<void> _suite;
        };
        return std::make_unique<Figee>(suite.get_future());
    }
    std::unique_ptr<Lecture> ouvrirLecture() override
    {
        struct Vide : Lecture
        {
            std::size_t consulter(const Lot& lot) noexcept override { return lot.size(); }
            int lister(const Fiche&, Parcours&, std::size_t, const SurVol&) noexcept override { return FAIT; }
        };
        return std::make_unique<Vide>();
    }
    std::string nom() const override { return "fige"; }
};

} // namespace

TEST_F(Lignes, UnFilQuiNAvancePlusSeVoitJusquACeQuIlAvance)
{
    MagasinFige fige;
    Aiguillage aiguillage;
    Executeurs executeurs(fige, aiguillage, _mesures);
    const auto un = lecteur();
    Ligne::Suites suites;
    un->deposer(un->creer(Operation::cree, fiche("AF1"), 1), suites);
    aiguillage.suivre(un, suites);
    const std::chrono::seconds delai(2); // an idle thread shows itself twice in that time
    const auto attendre = [&](bool avance) {
        const auto fin = std::chrono::steady_clock::now() + PATIENCE;
        while (executeurs.avancent(delai) != avance && std::chrono::steady_clock::now() < fin)
            std::this_thread::sleep_for(std::chrono::milliseconds(10)); // time passes, nothing else
        return executeurs.avancent(delai) == avance;
    };
    EXPECT_TRUE(attendre(false));
    fige.suite.set_value();
    EXPECT_TRUE(attendre(true));
}
