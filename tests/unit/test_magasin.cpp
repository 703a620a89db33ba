#include "DossierTemporaire.h"
#include "MagasinEssai.h"
#include "MagasinSqlite.h"
#include "PanneMemoire.h"
#include "PostgresEssai.h"

#include <sqlite3.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

using namespace essais;
using namespace testing;

namespace {

std::string refus(const std::string& fichier)
{
    try {
        MagasinSqlite magasin(fichier);
    } catch (const ErreurMagasin& erreur) {
        return erreur.what();
    }
    return "";
}

/// Somebody else who has the file open.
class Autre
{
  public:
    explicit Autre(const std::string& fichier)
    {
        EXPECT_EQ(SQLITE_OK, sqlite3_open(fichier.c_str(), &_base));
    }
    ~Autre() { sqlite3_close(_base); }
    void executer(const char* ordre) const
    {
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(_base, ordre, nullptr, nullptr, nullptr));
    }

  private:
    sqlite3* _base = nullptr;
};

Ouvert ouvrirSqlite(const std::string& fichier, const MagasinSqlite::Reglages& reglages)
{
    return Ouvert(std::make_unique<MagasinSqlite>(fichier, reglages));
}

/// What holds of one store alone.
class TestSqlite : public testing::Test
{
  protected:
    DossierTemporaire _dossier;
    std::string _fichier = _dossier.fichier("vols.db");
};

/// What holds of each: of a new one, empty.
class TestMagasin : public testing::TestWithParam<const char*>
{
  protected:
    DossierTemporaire _dossier;
    const std::string _base = GetParam() == std::string("Sqlite")
                                  ? _dossier.fichier("vols.db")
                                  : PostgresEssai::celui().uri(PostgresEssai::celui().creerBase());
};

} // namespace

TEST_P(TestMagasin, CeQuiEntreRessortOctetPourOctetApresReouverture)
{
    const Vol plein = volPlein("AF1");
    const Vol nul = volNul("AF2");
    Vol vide = volNul("AF3");
    for (const Colonne& colonne : colonnesVol())
        if (colonne.champ != nullptr && colonne.champ != &Vol::m_gidentifiant)
            colonne.poser(vide, CORBA::string_dup(""));
    // Present, with nothing set: not the same as absent.
    poser(vide.m_pcode_stat_depart, TEXTE_NUL, TEXTE_NUL, TEXTE_NUL);
    {
        Ouvert magasin(_base);
        for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide})
            EXPECT_EQ(FAIT, executer(magasin, Operation::cree, *vol).resultat);
    }
    Ouvert magasin(_base);
    for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide}) {
        const Issue issue = executer(magasin, Operation::consulte, volNul(vol->m_gidentifiant));
        EXPECT_EQ(FAIT, issue.resultat);
        EXPECT_EQ(contenu(*vol), contenu(*issue.vol));
    }
}

TEST_P(TestMagasin, ChaqueOperationRendSonCode)
{
    Ouvert magasin(_base);
    for (const Operation operation :
         {Operation::cree, Operation::modifie, Operation::supprime, Operation::consulte}) {
        for (const char* identifiant : {TEXTE_NUL, ""})
            EXPECT_EQ(VOL_INVALIDE, executer(magasin, operation, volNul(identifiant)).resultat);
        if (operation != Operation::cree) {
            const Vol inconnu = volPlein("inconnu");
            const Issue issue = executer(magasin, operation, inconnu);
            EXPECT_EQ(INTROUVABLE, issue.resultat);
            EXPECT_EQ(contenu(inconnu), contenu(*issue.vol)); // given back as asked
        }
    }
    // A group sees itself, and stays in order.
    const auto plein = std::make_shared<Fiche>(volPlein("AF1"));
    std::vector<Demande> demandes{{Operation::cree, plein},
                                  {Operation::cree, std::make_shared<Fiche>(volNul("AF1"))},
                                  {Operation::modifie, std::make_shared<Fiche>(volNul("AF1"))},
                                  {Operation::consulte, std::make_shared<Fiche>(volNul("AF1"))},
                                  {Operation::supprime, plein},
                                  {Operation::supprime, plein}};
    EXPECT_THAT(executer(magasin, demandes), ElementsAre(FAIT, EXISTE_DEJA, FAIT, FAIT, FAIT, INTROUVABLE));
    EXPECT_EQ(contenu(*plein), contenu(*demandes[3].vol));
}

TEST_P(TestMagasin, UneModificationNeToucheQueCeQuiEstRenseigne)
{
    Ouvert magasin(_base);
    Vol attendu = volPlein("AF1");
    executer(magasin, Operation::cree, attendu);

    Vol modification = volNul("AF1");
    modification.m_gpiste = "27L";
    modification.m_gnature = ""; // set, and empty
    poser(modification.m_pcode_stat_depart, "RET", TEXTE_NUL, "");
    modification.m_tpoint.length(1);
    modification.m_tpoint[0] = "LFPG";

    attendu.m_gpiste = "27L";
    attendu.m_gnature = "";
    attendu.m_pcode_stat_depart = modification.m_pcode_stat_depart;
    attendu.m_tpoint = modification.m_tpoint;

    const Issue issue = executer(magasin, Operation::modifie, modification);
    EXPECT_EQ(FAIT, issue.resultat);
    EXPECT_EQ(contenu(attendu), contenu(*issue.vol));
    EXPECT_EQ(contenu(attendu), contenu(*executer(magasin, Operation::consulte, volNul("AF1")).vol));
}

TEST_P(TestMagasin, ListeParLExemple)
{
    Ouvert magasin(_base);
    const auto creer = [&](const char* identifiant, const char* piste, const char* code) {
        Vol vol = volNul(identifiant);
        vol.m_gpiste = piste;
        if (code != nullptr)
            poser(vol.m_pcode_stat_depart, code, "", "");
        EXPECT_EQ(FAIT, executer(magasin, Operation::cree, vol).resultat);
    };
    creer("AF2", "27L", "RET");
    creer("AF1", "27R", nullptr);
    creer("AG", "", "ANN");
    creer("A%_", "__PtrNULL__", nullptr);
    creer("\xFF", "\xFF\xFF!", nullptr);
    creer("\xFF\xFF", "\xFF", nullptr);

    const auto parChamp = [&](decltype(Vol::m_gpiste) Vol::*champ, const char* valeur) {
        Vol exemple = volNul();
        exemple.*champ = valeur;
        exemple.m_tpoint.length(1); // ignored
        exemple.m_tpoint[0] = "LFPG";
        return lister(magasin, exemple);
    };
    EXPECT_THAT(lister(magasin, volNul()), ElementsAre("A%_", "AF1", "AF2", "AG", "\xFF", "\xFF\xFF"));
    EXPECT_THAT(lister(magasin, volNul(), 1 << 20),
                ElementsAre("A%_", "AF1", "AF2", "AG", "\xFF", "\xFF\xFF"));
    EXPECT_THAT(parChamp(&Vol::m_gidentifiant, "AF*"), ElementsAre("AF1", "AF2"));
    EXPECT_THAT(parChamp(&Vol::m_gidentifiant, "AF"), IsEmpty());
    EXPECT_THAT(parChamp(&Vol::m_gidentifiant, "A%*"), ElementsAre("A%_"));
    EXPECT_THAT(parChamp(&Vol::m_gidentifiant, "\xFF*"), ElementsAre("\xFF", "\xFF\xFF"));
    EXPECT_THAT(parChamp(&Vol::m_gpiste, "27L"), ElementsAre("AF2"));
    EXPECT_THAT(parChamp(&Vol::m_gpiste, ""), ElementsAre("AG"));
    EXPECT_THAT(parChamp(&Vol::m_gpiste, "\xFF\xFF*"), ElementsAre("\xFF"));
    EXPECT_THAT(parChamp(&Vol::m_gpiste, "*"),
                ElementsAre("AF1", "AF2", "AG", "\xFF", "\xFF\xFF")); // set, to anything

    Vol exemple = volNul("A*");
    poser(exemple.m_pcode_stat_depart, TEXTE_NUL, TEXTE_NUL, TEXTE_NUL);
    EXPECT_EQ(4u, lister(magasin, exemple).size()); // a status code with nothing set asks for nothing
    exemple.m_pcode_stat_depart[0].m_gcode = "R*";
    EXPECT_THAT(lister(magasin, exemple), ElementsAre("AF2"));
}

TEST_P(TestMagasin, UneListeSansReponseAvanceParTranches)
{
    constexpr int NOMBRE = 10000;
    Ouvert magasin(_base);
    std::vector<Demande> creations;
    for (int i = 0; i < NOMBRE; ++i) {
        Vol vol = volNul(("AF" + std::to_string(NOMBRE + i)).c_str());
        vol.m_gpiste = i == NOMBRE - 1 ? "27L" : "09R";
        creations.push_back({Operation::cree, std::make_shared<Fiche>(vol)});
    }
    executer(magasin, creations);
    Vol exemple = volNul("AF1*");
    exemple.m_gpiste = "27L";
    Parcours parcours;
    EXPECT_EQ(FAIT, magasin.lecture->lister(Fiche(exemple), parcours, 1 << 20, [](const FichePartagee&) {}));
    EXPECT_FALSE(parcours.fini);
    EXPECT_THAT(lister(magasin, exemple, 1 << 20), ElementsAre("AF19999"));
    creations.clear(); // and goes on behind what was deleted meanwhile
    EXPECT_EQ(FAIT, executer(magasin, Operation::supprime, volNul(parcours.dernier.c_str())).resultat);
    EXPECT_EQ(FAIT, magasin.lecture->lister(Fiche(exemple), parcours, 1 << 20, [](const FichePartagee&) {}));
}

TEST_P(TestMagasin, LaMemoireQuiManqueNeLaisseRienAMoitieFait)
{
    Ouvert magasin(_base);
    Vol attendu = volNul("AF1");
    executer(magasin, Operation::cree, attendu);
    int pannes = 0;
    for (bool survenue = true; survenue && !HasFailure();) {
        Vol modification = volNul("AF1");
        modification.m_gpiste = std::to_string(++pannes).c_str();
        std::vector<Demande> demandes(3, {Operation::modifie, std::make_shared<Fiche>(modification)});
        const Lot seule{&demandes[0]};
        const Lot ensemble{&demandes[0], &demandes[1], &demandes[2]};
        {
            const essais::PanneMemoire panne(pannes);
            magasin.ecriture->executer(seule);
            survenue = panne.survenue();
        }
        EXPECT_EQ(demandes[0].resultat, survenue ? ECHEC_MAGASIN : FAIT);
        EXPECT_EQ(contenu(survenue ? attendu : modification),
                  contenu(*executer(magasin, Operation::consulte, attendu).vol));

        const essais::PanneMemoire panne(pannes); // what fails among others is tried again
        magasin.ecriture->executer(ensemble);
        attendu = modification;
        for (const Demande& demande : demandes)
            EXPECT_EQ(demande.resultat, FAIT);
    }
    EXPECT_GT(pannes, 1);
}

TEST_P(TestMagasin, DeuxMagasinsPartagentUnFichierDesSaCreation)
{
    constexpr int NOMBRE = 200;
    std::vector<std::thread> fils;
    for (const char* prefixe : {"A", "B"})
        fils.emplace_back([this, prefixe] {
            Ouvert magasin(_base);
            for (int i = 0; i < NOMBRE; ++i) {
                const Vol vol = volNul((prefixe + std::to_string(i)).c_str());
                EXPECT_EQ(FAIT, executer(magasin, Operation::cree, vol).resultat);
            }
        });
    for (std::thread& fil : fils)
        fil.join();
    Ouvert magasin(_base);
    EXPECT_EQ(2u * NOMBRE, lister(magasin, volNul()).size());
}

INSTANTIATE_TEST_SUITE_P(Magasins, TestMagasin, Values("Sqlite", "Postgresql"),
                         [](const auto& celui) { return std::string(celui.param); });

// Who asks for what cannot be done, or touches what is damaged, is the only one to hear of it.

TEST_F(TestSqlite, DUnLotSeulCeQuiEstEnCauseEchoue)
{
    constexpr int NOMBRE = 200;
    const auto nom = [](int i) { return "AF" + std::to_string(i); };
    const auto demander = [&](Operation operation) {
        std::vector<Demande> demandes{{Operation::consulte, std::make_shared<Fiche>(volNul("avant"))}};
        for (int i = 0; i < NOMBRE; ++i)
            demandes.push_back({operation, std::make_shared<Fiche>(volPlein(nom(i)))});
        return demandes;
    };
    std::vector<std::string> gardes{"avant"};
    {
        MagasinSqlite::Reglages reglages;
        reglages.pagesMax = 40;
        const Ouvert magasin = ouvrirSqlite(_fichier, reglages);
        EXPECT_EQ(FAIT, executer(magasin, Operation::cree, volNul("avant")).resultat);
        std::vector<Demande> creations = demander(Operation::cree);
        const std::vector<int> resultats = executer(magasin, creations); // the file is full on the way
        EXPECT_EQ(FAIT, resultats[0]);
        for (int i = 0; i < NOMBRE; ++i)
            if (resultats[static_cast<std::size_t>(i) + 1] == FAIT)
                gardes.push_back(nom(i));
        EXPECT_GT(gardes.size(), 2u);
        EXPECT_LT(gardes.size(), NOMBRE);
        std::sort(gardes.begin(), gardes.end());
        EXPECT_EQ(gardes, lister(magasin, volNul()));
        EXPECT_EQ(FAIT, executer(magasin, Operation::supprime, volNul(gardes[1].c_str())).resultat);
    }
    // A page of the file is damaged: one of those that hold some of the records, but not the way to the
    // others.
    int partiels = 0;
    for (int page = 2; page < 40 && !HasFailure(); ++page) {
        const std::string ronge = _dossier.fichier("ronge" + std::to_string(page) + ".db");
        std::filesystem::copy_file(_fichier, ronge);
        std::fstream(ronge, std::ios::binary | std::ios::in | std::ios::out).seekp(page * 4096) << "rongé";
        if (!refus(ronge).empty())
            continue;
        Ouvert magasin(ronge);
        std::vector<Demande> demandes = demander(Operation::consulte);
        const std::vector<int> ensemble = executer(magasin, demandes);
        for (int i = 0; i < NOMBRE; ++i)
            EXPECT_EQ(executer(magasin, Operation::consulte, volNul(nom(i).c_str())).resultat,
                      ensemble[static_cast<std::size_t>(i) + 1]);
        const auto echecs = std::count(ensemble.begin(), ensemble.end(), ECHEC_MAGASIN);
        partiels += echecs > 0 && echecs < 100 ? 1 : 0;
    }
    EXPECT_GT(partiels, 0);
}

// A condition that nothing fulfils keeps nobody inside: slices end all the same, and the rest is found.

// With somebody always inside, the log is begun again all the same; with nobody, it is emptied.

TEST_F(TestSqlite, LeJournalResteCourt)
{
    Ouvert magasin(_fichier);
    const auto journal = [&] { return std::filesystem::file_size(_fichier + "-wal"); };
    std::mutex mutex;
    std::condition_variable change;
    bool fini = false;
    std::vector<std::thread> lecteurs;
    int dedans = 0; // who is inside stays for a while, and until the other one has come
    for (int i = 0; i < 2; ++i)
        lecteurs.emplace_back([&] {
            const Autre autre(_fichier);
            std::unique_lock<std::mutex> verrou(mutex);
            while (!fini) {
                autre.executer("BEGIN; SELECT count(*) FROM vol");
                const int moi = ++dedans;
                change.notify_all();
                change.wait_for(verrou, std::chrono::milliseconds(20), [&] { return fini; });
                change.wait(verrou, [&] { return fini || dedans > moi; });
                autre.executer("COMMIT");
            }
        });
    Vol gros = volPlein("AF");
    gros.m_gnature = std::string(20000, 'x').c_str();
    std::uintmax_t maximum = 0;
    for (int lot = 0; lot < 30; ++lot) {
        std::vector<Demande> demandes;
        for (int i = 0; i < 200; ++i) {
            gros.m_gidentifiant = ("AF" + std::to_string(i)).c_str();
            demandes.push_back(
                {lot == 0 ? Operation::cree : Operation::modifie, std::make_shared<Fiche>(gros)});
        }
        executer(magasin, demandes);
        maximum = std::max(maximum, journal());
    }
    {
        const std::lock_guard<std::mutex> verrou(mutex);
        fini = true;
        change.notify_all();
    }
    for (std::thread& lecteur : lecteurs)
        lecteur.join();
    EXPECT_LT(maximum, std::uintmax_t{64} << 20);
    magasin.ecriture->reposer();
    EXPECT_EQ(journal(), 0u);
}

TEST_F(TestSqlite, UnVerrouQuiDureDonneUnEchecEtRienDAutre)
{
    MagasinSqlite::Reglages reglages;
    reglages.attenteVerrou = std::chrono::milliseconds(1);
    const Ouvert magasin = ouvrirSqlite(_fichier, reglages);
    executer(magasin, Operation::cree, volNul("AF1"));
    {
        const Autre autre(_fichier);
        autre.executer("BEGIN IMMEDIATE");
        EXPECT_EQ(ECHEC_MAGASIN, executer(magasin, Operation::supprime, volNul("AF1")).resultat);
        // Reading needs no such lock.
        EXPECT_EQ(FAIT, executer(magasin, Operation::consulte, volNul("AF1")).resultat);
    }
    EXPECT_EQ(FAIT, executer(magasin, Operation::supprime, volNul("AF1")).resultat);
}

TEST_F(TestSqlite, UneBaseInutilisableEstRefuseeEnUneLigne)
{
    const auto sql = [&](const char* ordre) { Autre(_fichier).executer(ordre); };
    sql("CREATE TABLE autre (x)");
    EXPECT_THAT(refus(_fichier), HasSubstr("ce n'est pas une base de vols"));
    std::filesystem::remove(_fichier);

    ASSERT_EQ("", refus(_fichier));
    sql("PRAGMA user_version = 2");
    EXPECT_THAT(refus(_fichier), HasSubstr("schéma de version 2, version 1 attendue"));
    sql("PRAGMA user_version = 1");
    ASSERT_EQ("", refus(_fichier));

    std::filesystem::resize_file(_fichier, 4096); // its pages are lost
    EXPECT_THAT(refus(_fichier), HasSubstr("base inutilisable"));
}
