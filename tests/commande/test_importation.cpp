#include "FileAttente.h"
#include "Importation.h"

using namespace outils;
using Etat = cdv::Resultat::Etat;
using testing::ElementsAre;

namespace {

cdv::Resultat resultat(Etat etat)
{
    cdv::Resultat rendu;
    rendu.etat = etat;
    return rendu;
}

/// An import of the identifiers given, from a server that the test plays. What people see of imports, rejects
/// and resumptions, and an input that stays open, are in commande.sh.
class Import : public testing::Test
{
  protected:
    Importation::Reglages reglages;
    std::string entree = "identifiant\nA\nB\nC\nD\nE\n";
    /// What it answers to a creation, on the spot.
    std::function<cdv::Resultat(const std::string&)> reponse = [](const std::string&) {
        return resultat(Etat::fait);
    };
    std::vector<std::string> creations;
    std::unique_ptr<Importation> importation;

    void preparer()
    {
        importation = std::make_unique<Importation>(reglages);
        importation->creer = [this](const cdv::Vol& vol, const cdv::Session::Fin& fin) {
            creations.emplace_back(*vol.lire("identifiant"));
            fin(reponse(creations.back()));
        };
        importation->surArret = [] {};
        importation->surRejet = [](const Entree&, const std::string&) {};
        importation->surAvancement = [](const Bilan&) {};
    }
    Bilan executer()
    {
        if (!importation)
            preparer();
        std::istringstream flux(entree);
        const auto lecteur = creerLecteur(std::nullopt, flux);
        return importation->executer(*lecteur);
    }
};

} // namespace

TEST_F(Import, SArreteQuandUneReponseManque)
{
    for (const Etat etat : {Etat::perdu, Etat::delai, Etat::nonEnvoye, Etat::ferme}) {
        creations.clear();
        importation.reset();
        reponse = [=](const std::string& id) { return resultat(id == "C" ? etat : Etat::fait); };
        const Bilan bilan = executer();
        EXPECT_THAT(creations, ElementsAre("A", "B", "C"));
        EXPECT_EQ(4u, bilan.reprise);
        ASSERT_TRUE(bilan.perte);
        EXPECT_EQ(etat == Etat::ferme ? INTERROMPU : PERDU, bilan.perte->statut);
        EXPECT_EQ(0u, bilan.rejets()) << "what may have been done is no reject";
    }
}

/// What was done before the end is neither undone nor refused by what the command advises: the server of the
/// second run has all that the first one may have left there.
TEST_F(Import, CeQuiEstConseilleReprendSansRienDefaire)
{
    // The outcome is that of line 4's request, the second to be answered: line 5's has been done.
    const std::tuple<Existants, Etat, std::string> cas[] = {
        {Existants::modifier, Etat::perdu, "--depuis 4 --existants modifier"},
        {Existants::modifier, Etat::fait, "--depuis 6 --existants modifier"},
        {Existants::ignorer, Etat::perdu, "--depuis 4 --existants ignorer"},
        {Existants::ignorer, Etat::fait, "--depuis 6 --existants ignorer"},
        {Existants::rejeter, Etat::perdu, "--depuis 4 --existants ignorer"},
        {Existants::rejeter, Etat::refuse, "--depuis 4 --existants ignorer"}, // --stop
        {Existants::rejeter, Etat::fait, "--depuis 6"},
    };
    for (const auto& [existants, etat, conseil] : cas) {
        reglages.existants = existants;
        reglages.arretAuRejet = true;
        preparer();
        cdv::Session::Fin attente;
        importation->creer = [&, issue = etat](const cdv::Vol& vol, const cdv::Session::Fin& fin) {
            const auto id = *vol.lire("identifiant");
            if (id == "C") {
                attente = fin;
                return;
            }
            fin(resultat(Etat::fait));
            if (id == "D") {
                attente(resultat(issue));
                importation->interrompre();
            }
        };
        EXPECT_EQ(conseil, optionsReprise(executer(), existants));
    }
    EXPECT_EQ("", optionsReprise({}, Existants::modifier)) << "nothing is left";
}

/// The answers come later, from another thread, as they do.
TEST_F(Import, NePassePasLaFenetreEtAttendLesReponses)
{
    reglages.fenetre = 3;
    entree = "identifiant\n";
    for (int i = 0; i < 500; ++i)
        entree += "V" + std::to_string(i) + "\n";
    preparer();

    essais::FileAttente<cdv::Session::Fin> demandes;
    std::atomic<std::size_t> enCours{0};
    std::size_t maximum = 0;
    importation->creer = [&](const cdv::Vol&, cdv::Session::Fin fin) {
        maximum = std::max(maximum, ++enCours);
        demandes.poser(std::move(fin));
    };
    std::thread serveur([&] {
        while (const cdv::Session::Fin fin = demandes.prendre({}, std::chrono::hours(1))) {
            fin(resultat(Etat::fait));
            --enCours;
        }
    });
    const Bilan bilan = executer();
    demandes.poser({});
    serveur.join();
    EXPECT_EQ(500u, bilan.crees);
    EXPECT_EQ(0u, bilan.reprise);
    EXPECT_LE(maximum, reglages.fenetre + 1); // the one that is being answered counts twice for a moment
}
