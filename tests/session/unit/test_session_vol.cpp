#include "CdvVol.h"
#include "Essais.h"
#include "OXvol_completData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"

namespace {

using namespace cdv;
using ::testing::HasSubstr;

template <class Essai>
std::string erreur(Essai essai)
{
    try {
        essai();
    } catch (const ErreurVol& e) {
        return e.what();
    }
    return "";
}

/// Everything set, each text another one.
Vol volComplet()
{
    Vol vol;
    int n = 0;
    for (const std::string_view nom : Vol::champs())
        vol.ecrire(nom, "valeur" + std::to_string(++n));
    vol.ajouterPoint("LFBO").ajouterPoint("").ajouterPoint("LFPG");
    vol.ajouterChangement({"parking", "B12", "Z99"}).ajouterChangement({"piste", std::nullopt, ""});
    return vol;
}

TEST(Vol, ChampsParNomEtParChamp)
{
    ASSERT_EQ(Vol::champs().size(), 61u); // 55 texts, and three parts of each of two status codes
    EXPECT_EQ(Vol::champs().front(), "identifiant");
    EXPECT_EQ(Vol::champs().back(), "adresse_mode_S");

    const Vol vol = volComplet();
    for (const std::string_view nom : Vol::champs()) {
        const Champ champ = Vol::champ(nom);
        EXPECT_EQ(Vol::nom(champ), nom);
        const bool code = nom.find('.') != std::string_view::npos;
        const std::string record = (code ? "p" : "g") + std::string(nom);
        EXPECT_EQ(Vol::chercher(record), champ) << record;
        EXPECT_EQ(Vol::chercher("m_" + record), champ) << record;
        EXPECT_EQ(vol.lire(champ), vol.lire(nom));
    }
    EXPECT_STREQ(vol.brut().m_gadresse_mode_S, std::string(*vol.lire(Champ::gadresse_mode_S)).c_str());
    EXPECT_EQ(vol.brut().lire_pcode_stat_arrivee()->lire_glibelle(), vol.lire("code_stat_arrivee.libelle"));

    for (const char* inconnu :
         {"", "g", "m_", "Parking", "gg", "pparking", "gcode_stat_depart.code", "code_stat_depart"})
        EXPECT_THAT(erreur([&] { Vol().lire(inconnu); }), HasSubstr("is not a field")) << inconnu;
}

/// Whether a record's writer takes a value of that type: a literal is memory that it could not release.
template <class T, class = void>
struct SEcrit : std::false_type
{
};
template <class T>
struct SEcrit<T, std::void_t<decltype(std::declval<OXvol_completData&>().ecrire_gparking(std::declval<T>()))>>
    : std::true_type
{
};
static_assert(SEcrit<char*>() && SEcrit<std::nullptr_t>() && SEcrit<char (&)[4]>());
static_assert(!SEcrit<const char (&)[4]>());

TEST(Vol, EcrireDUnCoup)
{
    Vol vol{{"identifiant", "X"}, {"m_gparking", ""}, {"code_stat_depart.code", "RTD"}};
    EXPECT_EQ(vol.versJson(), R"({"identifiant":"X","parking":"","code_stat_depart":{"code":"RTD"}})");
    EXPECT_THAT(erreur([] { Vol({{"prking", "B12"}}); }), HasSubstr("'prking' is not a field"));
    EXPECT_EQ(vol.lire_ou("parking", "?"), "");
    EXPECT_EQ(vol.lire_ou("piste", "?"), "?");
    EXPECT_EQ(vol.lire_ou(Champ::gidentifiant, "?"), "X");

    OXvol_completData& record = vol.brut(); // as an application of bare callbacks has it
    cdv::poser(record, "parking", "B12");
    cdv::poser(record, "code_stat_depart.libelle", vol.lire_ou("parking", "?"));
    cdv::poser(record, "parking", "C3");
    EXPECT_STREQ(record.lire_gparking(), "C3");
    EXPECT_EQ(record.lire_pcode_stat_depart()->lire_glibelle(), std::string("B12"));
    EXPECT_THAT(erreur([&] { cdv::poser(record, "prking", ""); }), HasSubstr("is not a field"));
}

TEST(Vol, PoserEtEffacer)
{
    Vol vol;
    EXPECT_TRUE(vol.estVide());
    EXPECT_EQ(vol.lire("parking"), std::nullopt);
    vol.ecrire("parking", "");
    EXPECT_EQ(vol.lire("parking"), "");
    EXPECT_FALSE(vol.estVide());
    vol.ecrire("parking", "B12");
    vol.ecrire("parking", *vol.lire("parking")); // its own text
    EXPECT_EQ(vol.lire("parking"), "B12");
    vol.effacer("parking");
    EXPECT_TRUE(vol.estVide());

    vol.ecrire("code_stat_depart.code", "RTD").ecrire(Champ::pcode_stat_depart_glibelle, "retard");
    EXPECT_EQ(vol.lire("code_stat_depart.heure_chgt"), std::nullopt);
    vol.effacer("code_stat_depart.code");
    EXPECT_NE(vol.brut().m_pcode_stat_depart, nullptr);
    vol.effacer("code_stat_depart.libelle").effacer("code_stat_arrivee.libelle");
    EXPECT_EQ(vol.brut().m_pcode_stat_depart, nullptr);
    EXPECT_TRUE(vol.estVide());

    using namespace std::string_view_literals;
    EXPECT_THAT(erreur([&] { vol.ecrire("piste", "3\0002"sv); }), HasSubstr("null byte"));
    EXPECT_THAT(erreur([&] { vol.ajouterPoint("\0"sv); }), HasSubstr("null byte"));
}

TEST(Vol, ListesBornees)
{
    Vol vol;
    for (int i = 0; i < OXvol_completData::MAX_POINT; ++i)
        vol.ajouterPoint(std::to_string(i));
    EXPECT_THAT(erreur([&] { vol.ajouterPoint("trop"); }), HasSubstr("at most 10 route points"));
    EXPECT_EQ(vol.point(9), "9");
    EXPECT_THROW(vol.point(10), std::out_of_range);
    for (int i = 0; i < OXvol_completData::MAX_RUB_CHGT; ++i)
        vol.ajouterChangement({"r", "a", std::nullopt});
    EXPECT_THAT(erreur([&] { vol.ajouterChangement({}); }), HasSubstr("at most 6 changed fields"));
    EXPECT_EQ(vol.changement(5), (cdv::Changement{"r", "a", std::nullopt}));
    EXPECT_THROW(vol.changement(6), std::out_of_range);
    EXPECT_TRUE(vol.viderPoints().viderChangements().estVide());
    EXPECT_EQ(vol.ajouterPoint("encore").points(), std::vector<std::string_view>{"encore"});
}

TEST(Vol, PrendreNeCopieAucunTexte)
{
    Vol origine = volComplet().copier();
    const Vol attendu = origine.copier();
    OXvol_completData& record = origine.brut();
    const char* const texte = record.m_gparking;
    const char* const point = record.lire_point(0);
    const OXcode_statData* const code = record.m_pcode_stat_depart;

    const Vol pris = Vol::prendre(record);
    EXPECT_TRUE(origine.estVide());
    EXPECT_EQ(pris, attendu);
    EXPECT_EQ(pris.brut().m_gparking, texte);
    EXPECT_EQ(pris.brut().lire_point(0), point);
    EXPECT_EQ(pris.brut().m_pcode_stat_depart, code);
}

TEST(Vol, EgaliteEtDeplacement)
{
    const Vol vol = volComplet();
    for (const std::string_view nom : Vol::champs()) {
        Vol autre = vol.copier();
        EXPECT_EQ(autre, vol);
        EXPECT_NE(autre.effacer(nom), vol) << nom;
        EXPECT_NE(autre.ecrire(nom, "autre"), vol) << nom;
    }
    EXPECT_NE(vol.copier().ajouterPoint("x"), vol);
    EXPECT_NE(vol.copier().viderChangements(), vol);
    EXPECT_NE(vol.copier().viderPoints(), vol);

    Vol a = vol.copier();
    const Vol b = std::move(a);
    EXPECT_EQ(b, vol);
    EXPECT_TRUE(a.estVide()); // NOLINT(bugprone-use-after-move): a moved-from value is an empty record
    EXPECT_EQ(a, Vol());
    EXPECT_EQ(a.copier().versJson(), "{}");
    EXPECT_EQ(a.ecrire("piste", "32L").lire("piste"), "32L");
}

TEST(Vol, CeQuiNEstPasUtf8)
{
    for (const char* faux : {"\xC3", "\x80", "\xC0\xAF", "\xE0\x82\x80", "\xF8\x88\x80\x80\x80", "a\xFF"})
        EXPECT_THAT(erreur([&] { cdv::depuisUtf8(faux); }), HasSubstr("is not UTF-8")) << faux;
}

} // namespace
