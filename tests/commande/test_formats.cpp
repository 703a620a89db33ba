#include "FormatCsv.h"
#include "FormatTableau.h"
#include "Lecteur.h"
#include "Progression.h"
#include "Statut.h"
#include "Terminal.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace outils;

namespace {

/// A record whose fields hold what formats stumble over.
cdv::Vol volDifficile()
{
    cdv::Vol vol;
    std::string tous; // every byte that a field can hold
    for (int octet = 1; octet < 256; ++octet)
        tous += static_cast<char>(octet);
    vol.ecrire("identifiant", "A,\"B\"")
        .ecrire("realisation", "")
        .ecrire("aerod_dep", tous)
        .ecrire("aerod_dest", "deux\r\nlignes\n")
        .ecrire("parking", " bords ")
        .ecrire("piste", "\"")
        .ecrire("nature", "null")
        .ecrire("sens_mvt", "=cmd|'/c calc'!A1")
        .ecrire("code_stat_depart.code", "RTD")
        .ecrire("code_stat_arrivee.libelle", "");
    vol.ajouterPoint("LFBO").ajouterPoint("").ajouterPoint("A\"B,\xE9\x9B\x1B");
    vol.ajouterChangement({"parking", std::nullopt, ""}).ajouterChangement({std::nullopt, "B\xE9\x9B", "C"});
    return vol;
}

std::string ecrire(Format format, const std::vector<const cdv::Vol*>& vols,
                   const Presentation& presentation = {})
{
    std::ostringstream flux;
    const auto ecrivain = creerEcrivain(format, flux, presentation);
    for (const cdv::Vol* const vol : vols)
        ecrivain->ecrire(*vol);
    ecrivain->finir();
    return flux.str();
}

std::vector<Entree> lire(const std::string& texte, std::optional<Format> format = std::nullopt)
{
    std::istringstream flux(texte);
    const auto lecteur = creerLecteur(format, flux);
    std::vector<Entree> entrees;
    while (std::optional<Entree> entree = lecteur->suivante())
        entrees.push_back(std::move(*entree));
    return entrees;
}

std::vector<std::string> lignes(const std::string& texte)
{
    std::vector<std::string> rendues;
    std::istringstream flux(texte);
    for (std::string ligne; std::getline(flux, ligne);)
        rendues.push_back(ligne);
    return rendues;
}

} // namespace

TEST(Formats, CsvEtJsonSontSansPerte)
{
    const cdv::Vol difficile = volDifficile();
    cdv::Vol simple;
    simple.ecrire("identifiant", "X");
    for (const Format format : {Format::csv, Format::json}) {
        const std::string texte = ecrire(format, {&difficile, &simple, &difficile});
        const std::vector<Entree> entrees = lire(texte); // the format is recognised
        ASSERT_EQ(3u, entrees.size()) << texte;
        for (const Entree& entree : entrees)
            ASSERT_TRUE(entree.vol) << entree.erreur;
        EXPECT_EQ(difficile, *entrees[0].vol) << texte;
        EXPECT_EQ(simple, *entrees[1].vol);
        EXPECT_EQ(difficile, *entrees[2].vol);
    }
}

TEST(Formats, UnTerminalNObeitARien)
{
    const cdv::Vol difficile = volDifficile();
    std::ostringstream fiche;
    ecrireFiche(fiche, difficile, 40);
    Presentation lisible;
    lisible.lisible = true;
    for (const std::string& texte :
         {ecrire(Format::tableau, {&difficile}), ecrire(Format::dump, {&difficile}), fiche.str(),
          ecrire(Format::json, {&difficile}), ecrire(Format::csv, {&difficile}, lisible)}) {
        for (std::size_t i = 0; i < texte.size(); ++i) {
            const auto octet = static_cast<unsigned char>(texte[i]);
            const bool c1 = octet == 0xC2 && static_cast<unsigned char>(texte[i + 1]) < 0xA0;
            ASSERT_TRUE(octet == '\n' || octet == '\t' || (octet >= 0x20 && octet != 0x7F && !c1))
                << texte.substr(0, i);
        }
    }
}

TEST(Csv, UneFormuleEstUnTexteSurDemande)
{
    cdv::Vol vol;
    vol.ecrire("identifiant", "=1+1").ecrire("parking", "-1").ecrire("piste", "A=B").ajouterPoint("@X");
    vol.ecrire("indicatif", "+2\"")
        .ecrire("nature", "@SUM(1)")
        .ecrire("aerod_dep", "\t=1")
        .ecrire("realisation", "");
    Presentation tableur;
    tableur.tableur = true;
    const auto marque = lire(ecrire(Format::csv, {&vol}, tableur));
    ASSERT_TRUE(marque.size() == 1 && marque[0].vol);
    for (const std::string_view nom : cdv::Vol::champs()) {
        const std::string valeur(vol.lire(nom).value_or(""));
        const bool formule = !valeur.empty() && valeur != "A=B";
        EXPECT_EQ((formule ? "'" : "") + valeur, marque[0].vol->lire(nom).value_or("")) << nom;
    }
    EXPECT_EQ("@X", marque[0].vol->points().front()) << "in JSON";
}

TEST(Csv, AbsentEtVideSeDistinguent)
{
    const auto entrees = lire("m_gparking,piste,gidentifiant\n\"\",,X\n");
    ASSERT_EQ(1u, entrees.size());
    EXPECT_EQ("", entrees[0].vol->lire("parking"));
    EXPECT_EQ(std::nullopt, entrees[0].vol->lire("piste"));
    EXPECT_EQ("X", entrees[0].vol->lire("identifiant"));
}

TEST(Csv, SupporteLesFichiersDesAutres)
{
    // A mark of byte order, DOS ends of line, empty lines, no end on the last one.
    const auto entrees = lire("\xEF\xBB\xBFidentifiant,parking\r\nX,B12\r\n\r\nY,\"C\"\"3\"");
    ASSERT_EQ(2u, entrees.size());
    EXPECT_EQ("B12", entrees[0].vol->lire("parking"));
    EXPECT_EQ("C\"3", entrees[1].vol->lire("parking"));
    EXPECT_EQ(4u, entrees[1].ligne);
    EXPECT_TRUE(lire("", Format::csv).empty());
}

TEST(Csv, UneLigneFautiveNeGateQuElle)
{
    const auto entrees = lire("identifiant,points\n"       // 1
                              "A\n"                        // 2: too few cells
                              "\"B\n"                      // 3: a quote that is never closed...
                              "C,\n"                       // 4: ... spoils neither this one
                              "D\"E,\n"                    // 5: a quote inside
                              "\"F\"x,\n"                  // 6: something after a quote
                              "G,[\"P\"\n"                 // 7: a list that is no JSON
                              "H,\"[\"\"P\"\", 3]\"\n"     // 8: a list of something else
                              "\xE9,\n"                    // 9: not UTF-8
                              "\"I\nI\",\"[\"\"Q\"\"]\"\n" // 10, 11
                              "\xE2\x82\xAC,\n");          // 12: no such character in a record
    std::vector<std::size_t> fautives;
    std::vector<std::string> bons;
    for (const Entree& entree : entrees) {
        EXPECT_NE(entree.vol.has_value(), !entree.erreur.empty());
        if (entree.vol)
            bons.emplace_back(entree.vol->lire("identifiant").value());
        else
            fautives.push_back(entree.ligne);
    }
    EXPECT_EQ((std::vector<std::size_t>{2, 3, 5, 6, 7, 8, 9, 12}), fautives);
    EXPECT_EQ((std::vector<std::string>{"C", "I\nI"}), bons);
    EXPECT_EQ("\"B\n", entrees[1].texte) << "what a rejects file receives";
}

/// Time and stack in proportion to the file, whatever it holds: else this does not end within the test's
/// time.
TEST(Csv, CeQuiNeFinitPasNeCoutePasPlusQueSaTaille)
{
    constexpr int OUVERTS = 60;
    std::string ouvert = "identifiant\n";
    for (int i = 0; i < OUVERTS; ++i)
        ouvert += '"' + std::string(70000, '\n');
    const auto entrees = lire(ouvert);
    ASSERT_EQ(OUVERTS, static_cast<int>(entrees.size()));
    EXPECT_EQ("guillemet jamais refermé", entrees[0].erreur);

    const std::string ouvrants(100000, '[');
    const std::string fermants(100000, ']');
    const auto profondes = lire("identifiant,points,changements\nA," + ouvrants + fermants + ",\nB,," +
                                ouvrants + fermants + "\nC,[],[]\n");
    ASSERT_EQ(3u, profondes.size());
    EXPECT_EQ("points : imbrication de plus de 64 niveaux", profondes[0].erreur);
    EXPECT_EQ("changements : imbrication de plus de 64 niveaux", profondes[1].erreur);
    EXPECT_TRUE(profondes[2].vol);
}

TEST(Csv, EnteteSansSens)
{
    for (const char* const texte : {"identifiant,prking\n", "parking,m_gparking\n", "\"identifiant\n"}) {
        try {
            lire(texte, Format::csv);
            ADD_FAILURE() << texte;
        } catch (const Arret& arret) {
            EXPECT_EQ(USAGE, arret.statut());
        }
    }
}

TEST(Json, UneLigneFautiveNeGateQuElle)
{
    const auto entrees =
        lire("{\"identifiant\":\"A\"}\n\n{\"identifiant\":3}\n{]\n{\"m_gidentifiant\":\"B\"}");
    ASSERT_EQ(4u, entrees.size());
    EXPECT_EQ("A", entrees[0].vol->lire("identifiant"));
    EXPECT_FALSE(entrees[1].vol);
    EXPECT_EQ(3u, entrees[1].ligne);
    EXPECT_FALSE(entrees[2].vol);
    EXPECT_EQ("B", entrees[3].vol->lire("identifiant"));
    EXPECT_EQ(5u, entrees[3].ligne);
}

TEST(Tableau, AligneDansLaLargeurDuTerminal)
{
    cdv::Vol depart;
    depart.ecrire("identifiant", "20261121DAFR012-000")
        .ecrire("indicatif", "AFR012")
        .ecrire("aerod_dep", "\xC9lan") // accents count for one column
        .ecrire("aerod_dest", "LFPG")
        .ecrire("date_prev_mvt", "20261121")
        .ecrire("heure_prev_mvt", "0501")
        .ecrire("heure_dep_reelle", "0512")
        .ecrire("sens_mvt", "D")
        .ecrire("parking", "B12")
        .ecrire("code_stat_depart.code", "OUV")
        .ecrire("code_stat_depart.libelle", "Embarquement");
    cdv::Vol hostile;
    hostile.ecrire("indicatif", "X\x1b\ny").ecrire("sens_mvt", "A").ecrire("heure_arr_reelle", "midi");

    EXPECT_EQ("Vol        De   Vers Date       Prévu Réel  Pkg St  Libellé      Identifiant\n"
              "AFR012     Élan LFPG 2026-11-21 05:01 05:12 B12 OUV Embarquement 20261121DAFR012-000\n"
              "X\\x1B\\x0Ay                            midi\n",
              ecrire(Format::tableau, {&depart, &hostile}));
    EXPECT_EQ("Vol        De   Vers Prévu Réel  Pkg St\n"
              "AFR012     Élan LFPG 05:01 05:12 B12 OUV\n"
              "X\\x1B\\x0Ay                 midi\n",
              ecrire(Format::tableau, {&depart, &hostile}, {40}));
    for (const std::size_t colonnes : {20, 60, 80, 200})
        for (const std::string& ligne : lignes(ecrire(Format::tableau, {&depart, &hostile}, {colonnes})))
            EXPECT_LE(largeur(ligne), colonnes) << ligne;
    EXPECT_EQ("", ecrire(Format::tableau, {})) << "no header over nothing";
}

TEST(Tableau, CeQuiVientApresLEchantillonTientAussi)
{
    cdv::Vol court;
    court.ecrire("indicatif", "AFR1");
    cdv::Vol long_;
    long_.ecrire("indicatif", "AFR123456789");
    std::vector<const cdv::Vol*> vols(EcrivainTableau::ECHANTILLON, &court);
    vols.push_back(&long_);
    const auto rendues = lignes(ecrire(Format::tableau, vols, {40}));
    ASSERT_EQ(vols.size() + 1, rendues.size());
    EXPECT_EQ("AFR…", rendues.back());
}

TEST(Fiche, ReplieLesTextesLongs)
{
    cdv::Vol vol;
    vol.ecrire("piste", "\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9").ecrire("parking", "");
    vol.ajouterChangement({"piste", std::nullopt, "14L"});
    std::ostringstream flux;
    ecrireFiche(flux, vol, 20);
    EXPECT_EQ("piste       éééééééé\n"
              "            éé\n"
              "parking     \"\"\n"
              "changement  piste : \n"
              "            ? → 14L\n",
              flux.str());
}

TEST(Dump, EstEnUtf8)
{
    cdv::Vol vol;
    vol.ecrire("parking", "\xE9").ajouterPoint("\xE8");
    const std::string texte = ecrire(Format::dump, {&vol});
    EXPECT_NE(std::string::npos, texte.find("<é>"));
    EXPECT_NE(std::string::npos, texte.find("m_tpoint[0] = è"));
}

TEST(Progression, UneLigneDansLaPlaceQuIlY_A)
{
    const Avancement moitie{100000, 0.5, 20};
    EXPECT_EQ(" 50%  [####################....................]  100 000 vols  5 000/s  reste 0:20",
              ligneAvancement(moitie, 120));
    EXPECT_EQ(" 50%  100 000 vols  5 000/s  reste 0:20", ligneAvancement(moitie, 40)) << "no bar";
    EXPECT_EQ(" 50%  100 000 vols  reste 0:20", ligneAvancement(moitie, 37)) << "no rate either";
    for (std::size_t colonnes = 1; colonnes < 100; ++colonnes)
        EXPECT_LE(largeur(ligneAvancement(moitie, colonnes)), colonnes);
    EXPECT_EQ("12 vols  0/s", ligneAvancement({12, std::nullopt, 0}, 80));
    EXPECT_EQ("1:01:05", duree(3665));
    EXPECT_EQ("1 234 567 vols créés", compte(1234567, "vol créé"));
    EXPECT_EQ("0 vol créé", compte(0, "vol créé"));
}

TEST(Terminal, Replie)
{
    EXPECT_EQ("", replier("", 10, 2));
    EXPECT_EQ("à côté", replier("à côté", 6, 2)) << "counts characters, not bytes";
    EXPECT_EQ("un deux\n  trois\n  quatre", replier("un deux trois  quatre", 8, 2));
    EXPECT_EQ("un\n  troplongpourlaligne\n  b", replier("un troplongpourlaligne b", 8, 2));
    EXPECT_EQ("h  a b", replier("h  a b", 20, 2)) << "spaces inside a line stay";
}
