#include "Essais.h"
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
/// and resumptions, and an input that stays open, are in commande.sh; losses and windows in the tests of the
/// load.
class Import : public testing::Test
{
  protected:
    Importation::Reglages reglages;
    cdv::Chargement::Voies voies;
    /// What it answers to a creation, on the spot.
    std::function<cdv::Resultat(const std::string&)> reponse;
    std::vector<std::string> creations;
    std::unique_ptr<Importation> importation;

    Import()
    {
        reglages.envois.patience = cdv::Duree(0);
        voies.demander = [this](auto, const cdv::Vol& vol, const cdv::Session::Fin& fin) {
            creations.emplace_back(*vol.lire("identifiant"));
            fin(reponse(creations.back()));
        };
        voies.attendreActive = [](cdv::Duree) { return true; };
        voies.connexion = [] { return 0ull; };
        voies.reveiller = [] {};
    }
    Bilan executer()
    {
        importation = std::make_unique<Importation>(reglages, voies);
        importation->surArret = [] {};
        importation->surRejet = [](const Entree&, const std::string&) {};
        importation->surAvancement = [](const Bilan&) {};
        std::istringstream flux("identifiant\nA\nB\nC\nD\nE\n");
        const auto lecteur = creerLecteur(std::nullopt, flux);
        return importation->executer(*lecteur);
    }
};

} // namespace

TEST_F(Import, SArreteQuandUneReponseManque)
{
    reglages.envois.fenetre = 1;
    for (const Etat etat : {Etat::perdu, Etat::delai, Etat::nonEnvoye, Etat::ferme}) {
        creations.clear();
        reponse = [=](const std::string& id) { return resultat(id == "C" ? etat : Etat::fait); };
        const Bilan bilan = executer();
        EXPECT_THAT(creations, ElementsAre("A", "B", "C"));
        EXPECT_EQ(4u, bilan.reprise);
        ASSERT_TRUE(bilan.perte);
        EXPECT_EQ(etat == Etat::ferme ? INTERROMPU : PERDU, bilan.perte->statut);
        EXPECT_EQ(0u, bilan.rejets()) << "what may have been done is no reject";
    }
}

TEST(Expliquer, CeQuiNAPasEuDeReponse)
{
    cdv::Resultat perdu = resultat(Etat::perdu);
    perdu.statut = orix::OXS_ERREUR_CORBA;
    const std::string raison = "connexion perdue, l'appel du serveur a échoué : il est arrêté ou injoignable "
                               "(OXS_ERREUR_CORBA)";
    EXPECT_EQ(raison + " : peut-être fait, peut-être pas", expliquer(perdu));
    perdu.lecture = true;
    EXPECT_EQ(raison, expliquer(perdu));
    EXPECT_EQ("connection lost before the answer (OXS_ERREUR_CORBA)", perdu.texte());
    perdu.etat = Etat::delai;
    EXPECT_EQ("pas de réponse dans le délai", expliquer(perdu));
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
        {Existants::refuser, Etat::perdu, "--depuis 4 --existants ignorer"},
        {Existants::refuser, Etat::refuse, "--depuis 4 --existants ignorer"}, // --stop
        {Existants::refuser, Etat::fait, "--depuis 6"},
    };
    for (const auto& [existants, etat, conseil] : cas) {
        reglages.envois.existants = existants;
        reglages.arretAuRejet = true;
        cdv::Session::Fin attente;
        voies.demander = [&, issue = etat](auto, const cdv::Vol& vol, const cdv::Session::Fin& fin) {
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
    Bilan coupe;
    coupe.reprise = 4;
    EXPECT_EQ("--depuis 4 --demande supprimer", optionsReprise(coupe, Existants::refuser, Verbe::supprimer));
}
