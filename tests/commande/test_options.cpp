#include "Francais.h"
#include "Options.h"
#include "Statut.h"

#include <gtest/gtest.h>

#include <vector>

using namespace outils;

namespace {

/// The options of a command line; fails the test when it is refused.
Options lire(std::vector<const char*> mots)
{
    mots.insert(mots.begin(), "cdv");
    Options options;
    EXPECT_EQ(std::nullopt, lireOptions(static_cast<int>(mots.size()), mots.data(), options));
    return options;
}

cdv::Vol composer(const std::vector<const char*>& mots, const std::string& json = "")
{
    return composerVol(lire(mots), json);
}

} // namespace

TEST(Options, SePlacentPartout)
{
    const Options options = lire({"--url", "a:1", "importer", "-", "--url", "corbaloc::b:2/Noyau", "--format",
                                  "csv", "--en-cours", "7", "--existants", "ignorer", "--stop"});
    EXPECT_EQ("importer", options.commande);
    EXPECT_EQ((std::vector<std::string>{"corbaloc:iiop:a:1/Noyau", "corbaloc::b:2/Noyau"}), options.urls);
    EXPECT_EQ(Format::csv, options.format);
    EXPECT_EQ("-", options.fichier);
    EXPECT_EQ(7u, options.importation.fenetre);
    EXPECT_EQ(Existants::ignorer, options.importation.existants);
    EXPECT_TRUE(options.importation.arretAuRejet);
}

TEST(Composition, ChampsPointsEtChangements)
{
    const cdv::Vol vol =
        composer({"creer", "X", "parking=é=1", "m_gpiste=", "code_stat_depart.code=OUV", "--point", "LFBO",
                  "--point", "", "--changement", "parking:B12:C:3", "--changement", "piste", "--changement",
                  "nature:", "--changement", R"({"nouvelle_valeur":"12:30"})"});
    cdv::Vol attendu;
    attendu.ecrire("identifiant", "X")
        .ecrire("parking", "\xE9=1")
        .ecrire("piste", "")
        .ecrire("code_stat_depart.code", "OUV")
        .ajouterPoint("LFBO")
        .ajouterPoint("")
        .ajouterChangement({"parking", "B12", "C:3"})
        .ajouterChangement({"piste", std::nullopt, std::nullopt})
        .ajouterChangement({"nature", "", std::nullopt})
        .ajouterChangement({std::nullopt, std::nullopt, "12:30"});
    EXPECT_EQ(attendu, vol) << vol.versJson();
}

TEST(Composition, PartDUnJson)
{
    const std::string json = R"({"identifiant":"X","parking":"B12","piste":"14L","points":["A","B"]})";
    cdv::Vol attendu;
    attendu.ecrire("identifiant", "Y").ecrire("piste", "14L").ajouterPoint("C");
    EXPECT_EQ(attendu, composer({"creer", "Y", "--effacer", "m_gparking", "--point", "C"}, json));
}

TEST(Composition, RefuseCeQuiNeVeutRienDire)
{
    const std::vector<std::vector<const char*>> fausses = {
        {"creer", "X", "parking=1", "gparking=2"},
        {"creer", "X", "identifiant=Y"},
        {"creer", "X", "parking=1", "--effacer", "parking"},
        {"creer", "X", "--effacer", "prking"},
        {"consulter", "X", "parking=1"},
        {"supprimer", "X", "Y"},
        {"modifier", "X", "--effacer", "parking"}, // the server would leave it as it is
    };
    for (const auto& mots : fausses) {
        try {
            composer(mots);
            ADD_FAILURE() << mots.back();
        } catch (const Arret& arret) {
            EXPECT_EQ(USAGE, arret.statut());
            EXPECT_STRNE("", arret.what());
        }
    }
}

TEST(Francais, CeQueLaBibliothequeRefuse)
{
    const std::vector<std::pair<std::string, std::string>> cas = {
        {"", "JSON incorrect, ligne 1, colonne 1"},
        {"{\"piste\":\"\xE9\"}", "JSON incorrect, ligne 1, colonne 12"},
        {"[]", "un objet JSON est attendu"},
        {std::string(66, '['), "imbrication de plus de 64 niveaux"},
        {"{\"prking\":\"\"}", "prking : champ inconnu (voir cdv --champs)"},
        {"{\"piste\":3}", "piste : un texte est attendu"},
        {"{\"piste\":\"a\",\"piste\":\"b\"}", "« piste » est donné deux fois"},
        {"{\"piste\":\"a\",\"gpiste\":\"b\"}", "gpiste : donné deux fois"},
        {"{\"piste\":\"€\"}", "piste : le caractère U+20AC n'existe pas en ISO-8859-1"},
        {"{\"piste\":\"\\u0000\"}", "piste : un champ ne peut pas contenir d'octet nul"},
        {"{\"points\":{}}", "points : un tableau de textes est attendu"},
        {"{\"points\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"]}",
         "points : 10 points de route au plus"},
        {"{\"changements\":[3]}", "changements : un tableau d'objets est attendu"},
        {"{\"changements\":[{\"qui\":\"\"}]}", "changements : partie inconnue « qui »"},
        {"{\"code_stat_depart\":\"OUV\"}", "code_stat_depart : un objet est attendu"},
    };
    for (const auto& [json, francais] : cas) {
        try {
            cdv::Vol::depuisJson(json);
            ADD_FAILURE() << json;
        } catch (const cdv::ErreurVol& erreur) {
            EXPECT_EQ(francais, enFrancais(erreur)) << erreur.what();
        }
    }
}
