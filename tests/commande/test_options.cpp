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

// What the library says of a record that it refuses, and what a user of the command reads.
TEST(Refus, EnAnglaisEtEnFrancais)
{
    const struct
    {
        std::string json;
        const char* anglais; // part of it
        const char* francais;
    } cas[] = {
        {"", "not JSON: parse error at line 1", "JSON incorrect, ligne 1, colonne 1"},
        {"{\"piste\":\"\xE9\"}", "not JSON", "JSON incorrect, ligne 1, colonne 12"}, // ISO-8859-1 as it is
        {"[]", "a JSON object is expected", "un objet JSON est attendu"},
        {std::string(100000, '['), "nested deeper than 64 levels", "imbrication de plus de 64 niveaux"},
        {"{\"points\":" + std::string(100000, '['), "nested deeper than 64 levels",
         "imbrication de plus de 64 niveaux"},
        {R"({"prking":""})", "prking: 'prking' is not a field", "prking : champ inconnu (voir cdv --champs)"},
        {R"({"piste":3})", "piste: a text is expected, not this number", "piste : un texte est attendu"},
        {R"({"piste":"a","piste":"b"})", "'piste' is given twice", "« piste » est donné deux fois"},
        {R"({"piste":"a","gpiste":"b"})", "gpiste: it is given twice", "gpiste : donné deux fois"},
        {R"({"piste":"€"})", "piste: the character U+20AC does not exist in ISO-8859-1",
         "piste : le caractère U+20AC n'existe pas en ISO-8859-1"},
        {R"({"piste":"\u0000"})", "piste: a null byte", "piste : un champ ne peut pas contenir d'octet nul"},
        {R"({"points":{}})", "points: an array of texts is expected",
         "points : un tableau de textes est attendu"},
        {R"({"points":["","","","","","","","","","",""]})", "points: a flight record holds at most 10",
         "points : 10 points de route au plus"},
        {R"({"changements":[3]})", "changements: an array of objects is expected",
         "changements : un tableau d'objets est attendu"},
        {R"({"changements":[{"qui":""}]})", "changements: 'qui' is not a part",
         "changements : partie inconnue « qui »"},
        {R"({"code_stat_depart":"OUV"})", "code_stat_depart: an object is expected",
         "code_stat_depart : un objet est attendu"},
    };
    for (const auto& [json, anglais, francais] : cas) {
        try {
            cdv::Vol::depuisJson(json);
            ADD_FAILURE() << json;
        } catch (const cdv::ErreurVol& erreur) {
            EXPECT_NE(std::string(erreur.what()).find(anglais), std::string::npos) << erreur.what();
            EXPECT_EQ(francais, enFrancais(erreur));
        }
    }
}
