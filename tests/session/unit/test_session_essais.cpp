// The service in memory: what an application's tests rely on, beyond what those of the session use of it.
#include "CdvEssais.h"
#include "CdvSession.h"
#include "Essais.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using Sort = ServiceMemoire::Sort;
using Etat = cdv::Resultat::Etat;

std::vector<std::string> identifiants(const std::vector<Vol>& vols)
{
    std::vector<std::string> liste;
    for (const Vol& vol : vols)
        liste.emplace_back(vol.lire_ou("identifiant", "?"));
    return liste;
}

TEST(ServiceMemoire, FaitCeQueFaitUnServeur)
{
    ServiceMemoire service;
    Session session{Options{}};
    Vol vol{{"identifiant", "A1"}, {"parking", "B12"}, {"nature", ""}};
    vol.ajouterPoint("AGEN").ajouterChangement({"parking", {}, "B12"});
    EXPECT_TRUE(session.creer(vol).get());
    EXPECT_EQ(session.creer(vol).get().code, 1);
    EXPECT_EQ(session.consulter("A2").get().code, 2);
    EXPECT_EQ(session.creer(Vol{{"parking", "B12"}}).get().code, 3);
    service.poser({{"identifiant", "A2"}, {"parking", "B13"}});
    service.poser({{"identifiant", "B1"}, {"parking", "B12"}});

    Vol changement{{"identifiant", "A1"}, {"parking", "C03"}};
    changement.ajouterPoint("LFBO");
    vol.ecrire("parking", "C03").viderPoints().ajouterPoint("LFBO"); // the other list stays
    EXPECT_EQ(session.modifier(changement).get().vol, vol);
    EXPECT_EQ(service.lire("A1"), vol);
    const std::pair<const char*, std::vector<std::string>> exemples[] = {
        {R"({"identifiant": "A*"})", {"A1", "A2"}},
        {R"({"parking": "B12"})", {"B1"}},
        {R"({"nature": ""})", {"A1"}},
        {R"({"nature": "*"})", {"A1"}},
        {"{}", {"A1", "A2", "B1"}}};
    for (const auto& [exemple, attendus] : exemples)
        EXPECT_EQ(identifiants(session.lister(Vol::depuisJson(exemple)).get().vols), attendus) << exemple;
    EXPECT_TRUE(session.supprimer("A1").get());
    EXPECT_EQ(service.nombre(), 2u);
}

TEST(ServiceMemoire, LeTempsVirtuelFaitToutVenir)
{
    ServiceMemoire service(ServiceMemoire::Temps::virtuel);
    Options options;
    options.gigue = 0;
    Session session{options};
    // Answers come in order: the second waits behind the first.
    service.prochaine(Sort::apres(5s));
    auto premiere = session.creer(Vol{{"identifiant", "A"}});
    auto seconde = session.consulter("A");
    service.attendreCalme();
    EXPECT_EQ(session.nombreEnCours(), 2u);
    service.avancer(4s);
    service.attendreCalme();
    EXPECT_EQ(session.nombreEnCours(), 2u);
    service.avancer(1s);
    EXPECT_TRUE(premiere.get());
    EXPECT_TRUE(seconde.get());

    service.prochaine(Sort::enAttente());
    auto sansReponse = session.consulter("A");
    service.avancer(options.delaiRequete);
    EXPECT_EQ(sansReponse.get().etat, Etat::delai);

    // What is not due at the loss never comes; the session tries again when its time has come.
    service.prochaine(Sort::apres(5s));
    auto tardive = session.consulter("A");
    service.partir();
    EXPECT_EQ(tardive.get().etat, Etat::perdu);
    while (session.etat() != EtatSession::attente || service.activations() < 3)
        std::this_thread::yield();
    service.revenir();
    EXPECT_FALSE(session.estActive());
    service.avancer(options.delaiReprise);
    EXPECT_TRUE(session.attendreActive(1h));
    EXPECT_THROW(ServiceMemoire().avancer(1s), std::logic_error);
}

TEST(ServiceMemoire, UneListeSansFinTientEnMemoire)
{
    constexpr int NOMBRE = 20000;
    ServiceMemoire service;
    Session session{Options{}};
    std::atomic<int> faits{0};
    service.generer(NOMBRE, [&](std::size_t n) {
        ++faits;
        return Vol{{"identifiant", std::to_string(n)}};
    });
    int lus = 0;
    for (const Vol& vol : session.parcourir(Vol(), 10)) {
        EXPECT_EQ(vol.lire("identifiant"), std::to_string(lus++));
        EXPECT_LE(faits, lus + 1100); // a thousand may come before the call returns
    }
    EXPECT_EQ(lus, NOMBRE);
}

} // namespace
