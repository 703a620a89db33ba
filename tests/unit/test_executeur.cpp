#include "CapteurTraces.h"
#include "Demarrage.h"
#include "PanneMemoire.h"
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/IExecutable.h"
#include "orix/interne/Livraison.h"

using namespace orix;

namespace {

/// A call that counts its life.
class Appel : public IExecutable
{
  public:
    explicit Appel(std::function<void()> action) : _action(std::move(action)) { ++vivants; }
    ~Appel() override { --vivants; }
    void executer() override { _action(); }

    static std::atomic<int> vivants;

  private:
    std::function<void()> _action;
};
std::atomic<int> Appel::vivants{0};

void poster(std::function<void()> action)
{
    objetCB()->posterExecutable(1, "cdv", new Appel(std::move(action)));
}

class Executeur : public testing::Test
{
  protected:
    void demarrer(std::size_t capacite)
    {
        Configuration configuration;
        configuration[orix::cle::capaciteFileCB] = capacite;
        ASSERT_EQ(essais::demarrer(configuration), "");
    }
};

} // namespace

TEST_F(Executeur, DansLOrdreUneFoisEtMalgreLesExceptions)
{
    demarrer(10000);
    essais::CapteurTraces traces(NTO_NOTABLE);
    std::vector<int> ordre;
    std::thread::id fil;
    for (int i = 0; i < 1000; ++i)
        poster([&, i] {
            if (i > 0) {
                EXPECT_EQ(std::this_thread::get_id(), fil);
            }
            fil = std::this_thread::get_id();
            ordre.push_back(i);
            EXPECT_LE(Appel::vivants, 1000 - i); // each is destroyed before the next one runs
            if (i == 10)
                throw std::runtime_error("panne");
            if (i == 20)
                throw Echec(OXS_NOK);
            if (i == 30)
                throw 7;
        });
    EXPECT_EQ(terminer(), OXS_OK);
    ASSERT_EQ(ordre.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(ordre.begin(), ordre.end()));
    EXPECT_NE(fil, std::this_thread::get_id());
    EXPECT_EQ(Appel::vivants, 0);
    const std::string debut = "100 Exception non prévue lors de l'appel d'un callback applicatif : ";
    EXPECT_THAT(traces.prendreTextes(),
                testing::ElementsAre(debut + "panne", debut + "Echec, code = 25 (OXS_NOK)",
                                     debut + "exception inconnue"));
}

TEST_F(Executeur, LesPosteursAttendentUnePlace)
{
    constexpr int CAPACITE = 3, POSTEURS = 4, APPELS = 500;
    demarrer(CAPACITE);
    std::atomic<int> acceptes{0};
    int commences = 0, trop = 0;
    std::vector<std::thread> posteurs;
    for (int p = 0; p < POSTEURS; ++p)
        posteurs.emplace_back([&] {
            for (int i = 0; i < APPELS; ++i) {
                poster([&] {
                    ++commences;
                    // Accepted: those that began, those that wait, and those in the hands of their posters.
                    trop += acceptes > commences + CAPACITE;
                });
                ++acceptes;
            }
        });
    for (std::thread& posteur : posteurs)
        posteur.join();
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(commences, POSTEURS * APPELS); // nothing is dropped
    EXPECT_EQ(trop, 0);
}

TEST_F(Executeur, LAttenteEstLevee)
{
    demarrer(1);
    std::atomic<int> faits{0};
    const auto posterDix = [&] {
        for (int i = 0; i < 10; ++i)
            poster([&] { ++faits; });
    };
    std::promise<void> imbrique, liberation;
    poster([&, suite = liberation.get_future().share()] {
        posterDix(); // the executor's own thread
        imbrique.set_value();
        suite.wait();
    });
    imbrique.get_future().wait();
    std::thread posteur(posterDix);
    {
        const ExecuteurCB::AttenteLevee levee(objetCB());
        posteur.join(); // waiting already or not
        posterDix();
    }
    liberation.set_value();
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(faits, 30);
}

/// What must be told is told without memory, whatever waits; what need not leaves it its places.
TEST_F(Executeur, LesPlacesReserveesNePrennentPasDeMemoire)
{
    demarrer(10000);
    const int adaptateur = 0;
    const auto* const nom = reinterpret_cast<const IAdaptateurClient*>(&adaptateur);
    std::atomic<int> faits{0};
    const std::function<void()> compter = [&faits] { ++faits; };
    for (int tour = 0; tour < 200; ++tour) {
        const ExecuteurCB::PlacesReservees places(objetCB(), "cdv", 2);
        for (int i = 0; i < tour; ++i)
            poster(compter);
        const Livraison livraison(nom);
        for (int i = 0; i < 2; ++i) {
            auto* const appel = new Appel(compter);
            const essais::PanneMemoire panne(1);
            objetCB()->posterExecutable(1, "cdv", appel);
            EXPECT_FALSE(panne.survenue()) << tour;
        }
    }
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_EQ(faits, 199 * 200 / 2 + 2 * 200);
}

TEST_F(Executeur, ArreteRefuseEtDetruit)
{
    try {
        poster([] {});
        FAIL() << "accepted";
    } catch (const Echec& echec) {
        EXPECT_EQ(echec.lireCode(), OXS_NOYAU_NON_INITIALISE);
    }
    EXPECT_EQ(Appel::vivants, 0);
}
