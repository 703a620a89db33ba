#include "Criteres.h"
#include "Dictionnaire.h"
#include "FormatCsv.h"
#include "FormatTableau.h"
#include "Francais.h"
#include "Lecteur.h"
#include "Options.h"
#include "Progression.h"
#include "Statut.h"
#include "Terminal.h"
#include "Transcription.h"

#include <regex>

using namespace outils;

namespace {

/// A record whose fields hold what formats stumble over.
cdv::Vol volDifficile()
{
    cdv::Vol vol = cdv::Vol::depuisJson(
        R"({"identifiant":"A,\"B\"","realisation":"","aerod_dest":"deux\r\nlignes\n","parking":" bords ",
            "piste":"\"","nature":"null","sens_mvt":"=cmd|'/c calc'!A1","code_stat_depart":{"code":"RTD"},
            "code_stat_arrivee":{"libelle":""},"points":["LFBO","","A\"B,é\u009b\u001b"],
            "changements":[{"rubrique":"parking","nouvelle_valeur":""},{"ancienne_valeur":"Bé\u009b"},{}]})");
    std::string tous; // every byte that a field can hold
    for (int octet = 1; octet < 256; ++octet)
        tous += static_cast<char>(octet);
    return vol.ecrire("aerod_dep", tous).copier();
}

std::string ecrire(Format format, const std::vector<cdv::Vol>& vols, const Presentation& presentation = {})
{
    std::ostringstream flux;
    const auto ecrivain = creerEcrivain(format, flux, presentation);
    for (const cdv::Vol& vol : vols)
        ecrivain->ecrire(vol);
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

std::vector<std::string> decouper(const std::string& texte, char separateur = '\n')
{
    std::vector<std::string> parties;
    std::istringstream flux(texte);
    for (std::string partie; std::getline(flux, partie, separateur);)
        parties.push_back(partie);
    return parties;
}

// ---- The scenes of formats.txt

/// What the function makes of each line, or why it is refused: by the library in two languages, by the
/// command.
template <class Fonction>
std::string parLigne(const std::string& lignes, Fonction fonction)
{
    std::string rendu;
    for (const std::string& ligne : decouper(lignes))
        try {
            rendu += fonction(ligne) + "\n";
        } catch (const cdv::ErreurVol& erreur) {
            rendu += "! " + message(erreur.what()) + " = " + enFrancais(erreur) + "\n";
        } catch (const Arret& arret) {
            rendu += "! status " + std::to_string(arret.statut()) + ": " + arret.what() + "\n";
        }
    return rendu;
}

std::string relire(const std::string& texte)
{
    std::string rendu;
    for (const Entree& entree : lire(texte))
        rendu += std::to_string(entree.ligne) +
                 (entree.vol ? " " + entree.vol->versJson() : " ! " + entree.erreur) + "\n";
    return rendu;
}

std::string presenter(const std::string& format, std::size_t colonnes, const std::string& lignes)
{
    std::vector<cdv::Vol> vols;
    for (const std::string& ligne : decouper(lignes))
        vols.push_back(cdv::Vol::depuisJson(ligne));
    Presentation presentation{colonnes};
    if (format == "chosen") { // in every format
        presentation.champs = {cdv::Champ::gparking, cdv::Champ::gidentifiant};
        std::string rendu;
        for (const Format f : {Format::tableau, Format::csv, Format::json})
            rendu += ecrire(f, vols, presentation);
        return rendu;
    }
    if (format == "tableau")
        return ecrire(Format::tableau, vols, presentation);
    std::ostringstream flux;
    ecrireFiche(flux, vols.at(0), colonnes);
    return flux.str();
}

/// The record of a command line; its last word may be the JSON that it starts from.
std::string composer(const std::string& ligne)
{
    std::vector<std::string> mots = decouper("cdv " + ligne, ' ');
    std::string json;
    if (mots.back().front() == '{' && mots.end()[-2] != "--changement") {
        json = mots.back();
        mots.pop_back();
    }
    std::vector<const char*> argv;
    for (const std::string& mot : mots)
        argv.push_back(mot == "''" ? "" : mot.c_str());
    Options options;
    EXPECT_EQ(lireOptions(static_cast<int>(argv.size()), argv.data(), options), std::nullopt) << ligne;
    return composerVol(options, json).versJson();
}

/// Which of the records (their JSON, between spaces) the criteria take, and what the service is asked for.
std::string choisir(const std::string& criteres, const std::string& vols)
{
    const Criteres choix(decouper(criteres, ' '));
    std::string rendu = choix.exemple().versJson() + " :";
    for (const std::string& json : decouper(vols, ' '))
        if (const cdv::Vol vol = cdv::Vol::depuisJson(json); choix.retient(vol))
            rendu += " " + std::string(vol.lire_ou("identifiant", ""));
    return rendu;
}

} // namespace

TEST(Formats, Transcription)
{
    essais::rejouer("commande/formats.txt", [](const std::string& titre, const std::string& lignes) {
        const std::string sorte = titre.substr(0, titre.find_first_of(" :"));
        const std::size_t nombre = std::stoul("0" + titre.substr(std::min(titre.size(), sorte.size() + 1)));
        if (sorte == "read")
            return parLigne(
                "it\n", [&](auto&) { return relire(essais::octetsDe(lignes.substr(0, lignes.size() - 1))); });
        if (sorte == "json")
            return parLigne(
                lignes, [](auto& ligne) { return cdv::Vol::depuisJson(essais::octetsDe(ligne)).versJson(); });
        if (sorte == "compose")
            return parLigne(lignes, composer);
        if (sorte == "select")
            return parLigne(lignes, [&](auto& ligne) { return choisir(ligne, titre.substr(7)); });
        if (sorte == "fold")
            return parLigne(lignes, [&](auto& ligne) { return replier(ligne, nombre, 2); });
        if (sorte == "progress") // of an import half done after 20 s
            return ligneAvancement({100000, 0.5, 20}, nombre);
        const std::string rendu = presenter(sorte, nombre, lignes);
        for (const std::string& ligne : decouper(rendu))
            EXPECT_LE(largeur(ligne), nombre) << ligne;
        return rendu;
    });
    for (std::size_t colonnes = 1; colonnes < 100; ++colonnes)
        EXPECT_LE(largeur(ligneAvancement({100000, 0.5, 20}, colonnes)), colonnes);
    EXPECT_EQ("12 vols  0/s", ligneAvancement({12, std::nullopt, 0}, 80));
    EXPECT_EQ("1:01:05", duree(3665));
    EXPECT_EQ("1 234 567 vols créés", compte(1234567, "vol créé"));
    EXPECT_EQ("0 vol créé", compte(0, "vol créé"));
    EXPECT_EQ("", ecrire(Format::tableau, {})) << "no header over nothing";
    EXPECT_TRUE(lire("", Format::csv).empty());
}

TEST(Formats, CsvEtJsonSontSansPerte)
{
    std::vector<cdv::Vol> vols;
    for (const char* identifiant : {"A,\"B\"", "X", "\xE9"})
        vols.push_back(volDifficile().ecrire("identifiant", identifiant).copier());
    vols[1] = cdv::Vol::depuisJson(R"({"identifiant":"X"})");
    for (const Format format : {Format::csv, Format::json}) {
        const std::string texte = ecrire(format, vols);
        std::vector<cdv::Vol> relus;
        for (Entree& entree : lire(texte)) // the format is recognised
            relus.push_back(std::move(entree.vol).value());
        EXPECT_EQ(relus, vols) << texte;
    }
    for (const int indentation : {-1, 2})
        EXPECT_EQ(cdv::Vol::depuisJson(vols[0].versJson(indentation)), vols[0]);
}

TEST(Formats, UnTerminalNObeitARien)
{
    std::vector<cdv::Vol> vols;
    vols.push_back(volDifficile());
    std::ostringstream fiche;
    ecrireFiche(fiche, vols[0], 40);
    Presentation lisible;
    lisible.lisible = true;
    for (const std::string& texte : {ecrire(Format::tableau, vols), ecrire(Format::dump, vols), fiche.str(),
                                     ecrire(Format::json, vols), ecrire(Format::csv, vols, lisible)}) {
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
    std::vector<cdv::Vol> vols;
    vols.push_back(cdv::Vol::depuisJson(
        R"json({"identifiant":"=1+1","indicatif":"+2\"","realisation":"","aerod_dep":"\t=1","parking":"-1",
                "piste":"A=B","nature":"@SUM(1)","points":["@X"]})json"));
    Presentation tableur;
    tableur.tableur = true;
    const cdv::Vol marque = std::move(lire(ecrire(Format::csv, vols, tableur)).at(0).vol).value();
    for (const std::string_view nom : cdv::Vol::champs()) {
        const std::string valeur(vols[0].lire(nom).value_or(""));
        const bool formule = !valeur.empty() && valeur != "A=B";
        EXPECT_EQ((formule ? "'" : "") + valeur, marque.lire(nom).value_or("")) << nom;
    }
    EXPECT_EQ("@X", marque.points().front()) << "in JSON";
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

    const std::string imbrique = std::string(100000, '[') + std::string(100000, ']');
    EXPECT_EQ("2 ! points : imbrication de plus de 64 niveaux\n"
              "3 ! changements : imbrication de plus de 64 niveaux\n"
              "4 {\"identifiant\":\"C\"}\n",
              relire("identifiant,points,changements\nA," + imbrique + ",\nB,," + imbrique + "\nC,[],[]\n"));
    for (const std::string& json : {imbrique, "{\"points\":" + imbrique})
        EXPECT_THAT(parLigne(json, [](auto& texte) { return cdv::Vol::depuisJson(texte).versJson(); }),
                    testing::EndsWith("nested deeper than 64 levels = imbrication de plus de 64 niveaux\n"));
}

TEST(Tableau, CeQuiVientApresLEchantillonTientAussi)
{
    std::vector<cdv::Vol> vols;
    for (std::size_t i = 0; i < EcrivainTableau::ECHANTILLON; ++i)
        vols.push_back(cdv::Vol::depuisJson(R"({"indicatif":"AFR1"})"));
    vols.push_back(cdv::Vol::depuisJson(R"({"indicatif":"AFR123456789"})"));
    const auto rendues = decouper(ecrire(Format::tableau, vols, {40}));
    ASSERT_EQ(vols.size() + 1, rendues.size());
    EXPECT_EQ("AFR…", rendues.back());
}

/// The table of the fields, against the fields there are, the flights given as examples, and the pages that
/// repeat it.
TEST(Dictionnaire, DitChaqueChampEtLesPagesAussi)
{
    const auto vols = lire(essais::lireFichier(OXCDV_SOURCES "/exemples/vols.csv"));
    ASSERT_EQ(200u, vols.size());
    std::vector<std::string_view> noms;
    std::string page, manuel;
    for (const DescriptionChamp& d : dictionnaire()) {
        const std::string nom(noms.emplace_back(cdv::Vol::nom(d.champ)));
        const auto verifier = [&](std::string_view valeur) {
            const bool libre = d.longueur.empty() || valeur.empty();
            EXPECT_TRUE(libre || (valeur.size() >= std::size_t(d.longueur.front() - '0') &&
                                  valeur.size() <= std::size_t(d.longueur.back() - '0')))
                << nom << " : " << valeur;
        };
        verifier(d.exemple);
        for (const Entree& vol : vols)
            verifier(vol.vol->lire_ou(d.champ, ""));
        page += "| `" + nom + "` | ";
        for (const std::string_view texte : {d.contenu[ANGLAIS], d.forme[ANGLAIS], d.longueur})
            page += std::string(texte) + " | ";
        page += (d.exemple.empty() ? "" : "`" + std::string(d.exemple) + "`") + " |\n";
        manuel += ".TP\n.B " + nom + "\n" + std::regex_replace(resumer(d), std::regex("-"), "\\-") + "\n";
    }
    EXPECT_EQ(cdv::Vol::champs(), noms);
    EXPECT_THAT(essais::lireFichier(OXCDV_SOURCES "/docs/champs.md"), testing::HasSubstr(page));
    EXPECT_THAT(essais::lireFichier(OXCDV_SOURCES "/docs/cdv.1"), testing::HasSubstr(manuel));
}
