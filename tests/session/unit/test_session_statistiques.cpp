// The figures of a session: what counts as what, and that the page names each of them.
#include "CdvEssais.h"
#include "CdvSession.h"
#include "Essais.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using Sort = ServiceMemoire::Sort;
using nlohmann::json;

TEST(Statistiques, ChaqueFinADuReseauASaPlace)
{
    ServiceMemoire service(ServiceMemoire::Temps::virtuel);
    std::vector<Statistiques> releves;
    Options options;
    options.gigue = 0;
    options.delaiRequete = 1min;
    options.periodeStatistiques = 10s;
    options.surStatistiques = [&](const Statistiques& releve) { releves.push_back(releve); };
    Session session{options};
    const Vol vol{{"identifiant", "A"}};

    EXPECT_TRUE(session.creer(vol).get());
    for (const auto delai : {2ms, 200ms, 2000ms}) {
        service.prochaine(Sort::apres(delai));
        auto reponse = session.consulter("A");
        service.avancer(delai);
        EXPECT_TRUE(reponse.get());
    }
    EXPECT_FALSE(session.supprimer("B").get());
    service.prochaine(Sort::nonPartie(orix::OXS_NOYAU_NON_INITIALISE));
    EXPECT_FALSE(session.modifier(vol).get());
    service.prochaine(Sort::enAttente());
    auto tardive = session.modifier(vol);
    service.avancer(1min);
    EXPECT_EQ(tardive.get().etat, Resultat::Etat::delai);
    service.prochaine(Sort::enAttente());
    auto perdue = session.lister(vol);
    EXPECT_EQ(session.statistiques().enCours, 1u);
    service.partir();
    service.attendreCalme();
    service.avancer(3s);
    EXPECT_FALSE(session.estActive());
    EXPECT_EQ(perdue.get().etat, Resultat::Etat::perdu);
    EXPECT_FALSE(session.consulter("A").get());
    EXPECT_EQ(json::parse(session.statistiques().versJson())["sans_connexion_ms"], 3000);
    service.revenir();
    service.avancer(30s);
    ASSERT_TRUE(session.attendreActive(1h));
    service.attendreCalme();

    const Statistiques lues = session.statistiques();
    const json ecrites = json::parse(lues.versJson());
    const auto fins = [&](const char* genre) {
        std::vector<int> nombres;
        for (const char* fin : {"faites", "refusees", "sans_reponse", "perdues", "non_envoyees", "fermees"})
            nombres.push_back(ecrites[genre][fin]);
        return nombres;
    };
    using testing::ElementsAre;
    EXPECT_THAT(fins("creation"), ElementsAre(1, 0, 0, 0, 0, 0));
    EXPECT_THAT(fins("modification"), ElementsAre(0, 0, 1, 0, 1, 0));
    EXPECT_THAT(fins("suppression"), ElementsAre(0, 1, 0, 0, 0, 0));
    EXPECT_THAT(fins("consultation"), ElementsAre(3, 0, 0, 0, 1, 0));
    EXPECT_THAT(fins("listage"), ElementsAre(0, 0, 0, 1, 0, 0));
    EXPECT_EQ(ecrites["consultation"]["max_us"], 2000000);
    EXPECT_NEAR(ecrites["consultation"]["p50_us"].get<double>(), 200000, 6000);
    EXPECT_NEAR(ecrites["consultation"]["p99_us"].get<double>(), 2000000, 60000);
    EXPECT_EQ(ecrites["connexions"], 2);
    EXPECT_EQ(ecrites["pertes"], 1);
    EXPECT_EQ(ecrites["sans_connexion_ms"], ecrites["derniere_perte_ms"]);
    EXPECT_GT(ecrites["derniere_perte_ms"], 3000);
    session.fermer();
    ASSERT_FALSE(releves.empty());
    EXPECT_EQ(releves.front().demandes[0].fins[0], 1u);
}

TEST(Statistiques, LaPageLesNommeToutes)
{
    std::ifstream page(std::string(OXCDV_SOURCES) + "/docs/guide.md");
    std::vector<std::string> lignes;
    for (std::string ligne; std::getline(page, ligne);)
        lignes.push_back(ligne);
    for (const Statistiques::Champ& champ : Statistiques::champs())
        EXPECT_THAT(lignes, testing::Contains(std::string("| `") + champ.nom + "` | " + champ.unite + " | " +
                                              champ.texte + " |"));
}

} // namespace
