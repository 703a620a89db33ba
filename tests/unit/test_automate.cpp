#include "Automate.h"
#include "CapteurTraces.h"
#include "Singleton.h"
#include "Transcription.h"

namespace {

enum Sommet : int
{
    Repos = 0,
    Marche = 1,
    Impasse = 2
};
enum Libelle : int
{
    lancer = 0,
    bloquer = 3,
    arreter = 4
};
using Machine = orix::Automate<Sommet, Libelle>;
using Arc = orix::Arc_base<Sommet, Libelle>;

Machine& machineEssai(Machine& machine)
{
    machine.ajouterArc(Arc(Repos, Marche, lancer));
    machine.ajouterArc(Arc(Marche, Repos, arreter));
    machine.ajouterArc(Arc(Marche, Impasse, bloquer));
    return machine;
}

TEST(Automate, RefusesWithTheLabelAndKeepsTheVertex)
{
    essais::CapteurTraces traces;
    Machine machine(Repos);
    machineEssai(machine);
    machine.transition(lancer);
    EXPECT_EQ(Marche, machine.lireSommetCourant());
    EXPECT_TRUE(traces.prendre().empty());

    try {
        machine.transition(lancer);
        FAIL() << "accepted";
    } catch (const Machine::TransitionImpossible& e) {
        EXPECT_EQ(Marche, e.lireSommet());
        EXPECT_EQ(lancer, e.lireLibelle());
    }
    EXPECT_EQ(Marche, machine.lireSommetCourant());
    machine.transition(bloquer);
    EXPECT_THROW(machine.transition(arreter), Machine::TransitionImpossible);

    std::string texte;
    for (const orix::LigneTrace& ligne : traces.prendre())
        texte += std::to_string(ligne.niveau) + " " + ligne.fichier + ":" + std::to_string(ligne.ligne) +
                 " " + ligne.fonction + ": " + ligne.message + "\n";
    essais::comparerTranscription("unit/automate.txt", texte);
}

TEST(Automate, OneOfTwoConcurrentTransitionsWins)
{
    constexpr int TOURS = 2000;
    Machine machine(Repos);
    machineEssai(machine);
    const essais::EcouteTraces rien([](const orix::LigneTrace&) {}, orix::NTO_AUCUN);
    std::atomic<int> lances{0};
    std::atomic<int> arretes{0};
    const auto insister = [&](Libelle libelle, std::atomic<int>& reussies) {
        for (int i = 0; i < TOURS; ++i)
            try {
                machine.transition(libelle);
                ++reussies;
            } catch (const Machine::TransitionImpossible&) {
            }
    };
    std::vector<std::thread> fils;
    for (int i = 0; i < 2; ++i) {
        fils.emplace_back(insister, lancer, std::ref(lances));
        fils.emplace_back(insister, arreter, std::ref(arretes));
    }
    for (std::thread& fil : fils)
        fil.join();
    // Two threads that both followed one arc would count more departures than arrivals.
    EXPECT_EQ(lances - arretes, machine.lireSommetCourant() == Marche ? 1 : 0);
    EXPECT_GT(lances, 0);
}

struct Compte : orix::Singleton<Compte>
{
    static inline std::atomic<int> vivants{0};
    Compte() { ++vivants; }
    ~Compte() override { --vivants; }
};

TEST(Singleton, CreatesOnceAndAgainAfterTheEnd)
{
    for (int tour = 0; tour < 2; ++tour) {
        EXPECT_EQ(nullptr, orix::Singleton<Compte>::lireExistante());
        std::vector<std::future<Compte*>> recus(4);
        for (auto& recu : recus)
            recu = std::async(std::launch::async, &orix::Singleton<Compte>::lireInstance);
        Compte* const premier = recus[0].get();
        for (std::size_t i = 1; i < recus.size(); ++i)
            EXPECT_EQ(premier, recus[i].get());
        EXPECT_EQ(1, Compte::vivants);
        orix::Singleton<Compte>::detruire();
        EXPECT_EQ(0, Compte::vivants);
    }
}

} // namespace
