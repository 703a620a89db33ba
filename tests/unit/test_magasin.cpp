#include "ColonnesVol.h"
#include "DossierTemporaire.h"
#include "MagasinSqlite.h"
#include "OXvol_completData.h"
#include "PanneMemoire.h"

#include <sqlite3.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

using namespace serveur;
using namespace testing;

namespace {

/// A record with nothing set but, where given, the identifier.
Vol volNul(const char* identifiant = TEXTE_NUL)
{
    Vol vol = OXvol_completData().construireObjetSpecifique_v3_0_0();
    vol.m_gidentifiant = identifiant;
    return vol;
}

/// A status code with those parts.
void poser(SeqOXcode_statData_v3_0_0& codes, const char* code, const char* libelle, const char* heure)
{
    codes.length(1);
    codes[0].m_gcode = code;
    codes[0].m_glibelle = libelle;
    codes[0].m_gheure_chgt = heure;
}

/// A record with everything set, each text different, and all bytes that a text can hold.
Vol volPlein(const std::string& identifiant)
{
    Vol vol = volNul();
    int numero = 0;
    for (const Colonne& colonne : colonnesVol()) {
        const std::string texte = "valeur " + std::to_string(++numero);
        colonne.poser(vol, CORBA::string_dup(texte.c_str()));
    }
    std::string octets;
    for (int octet = 1; octet < 256; ++octet)
        octets += static_cast<char>(octet);
    vol.m_gidentifiant = identifiant.c_str();
    vol.m_gnature = octets.c_str();
    vol.m_gpiste = "";
    vol.m_gparking = "__PtrNULL__";
    vol.m_pcode_stat_arrivee[0].m_glibelle = "__PtrNULL__";
    vol.m_trub_chgt.length(6);
    for (CORBA::ULong i = 0; i < 6; ++i) {
        vol.m_trub_chgt[i].m_grubrique = ("rubrique " + std::to_string(i)).c_str();
        vol.m_trub_chgt[i].m_gancienne_valeur = "";
        vol.m_trub_chgt[i].m_gnouvelle_valeur = "__PtrNULL__";
    }
    vol.m_tpoint.length(10);
    for (CORBA::ULong i = 0; i < 10; ++i)
        vol.m_tpoint[i] = i % 2 == 0 ? "" : octets.c_str();
    return vol;
}

/// Everything that the record holds, byte for byte.
std::string contenu(const Vol& vol)
{
    std::ostringstream texte;
    texte << OXvol_completData(vol);
    return texte.str();
}

std::string contenu(const Fiche& fiche)
{
    VolPrete prete;
    const Fiche avant(volPlein("avant"));
    prete.preter(avant); // a loan leaves nothing behind for the next
    return contenu(prete.preter(fiche));
}

struct Issue
{
    int resultat;
    FichePartagee vol;
};

/// A store, and the ways into it.
struct Ouvert
{
    explicit Ouvert(const std::string& fichier, const MagasinSqlite::Reglages& reglages = {})
        : magasin(fichier, reglages), ecriture(magasin.ouvrirEcriture()), lecture(magasin.ouvrirLecture())
    {}

    MagasinSqlite magasin;
    std::unique_ptr<Ecriture> ecriture;
    std::unique_ptr<Lecture> lecture;
};

/// By the way of the changes; consultations by the other one too, which says the same.
Issue executer(Ouvert& base, Operation operation, const Vol& vol)
{
    Demande demande{operation, std::make_shared<Fiche>(vol)};
    base.ecriture->executer({&demande});
    if (operation == Operation::consulte) {
        Demande lue{operation, std::make_shared<Fiche>(vol)};
        base.lecture->consulter({&lue});
        EXPECT_EQ(lue.resultat, demande.resultat);
        EXPECT_EQ(contenu(*lue.vol), contenu(*demande.vol));
    }
    return {demande.resultat, demande.vol};
}

/// The results of a group.
std::vector<int> executer(Ouvert& base, std::vector<Demande>& demandes)
{
    Lot lot;
    for (Demande& demande : demandes)
        lot.push_back(&demande);
    EXPECT_EQ(base.ecriture->executer(lot), lot.size());
    std::vector<int> resultats;
    for (const Demande& demande : demandes)
        resultats.push_back(demande.resultat);
    return resultats;
}

/// In slices of one record each, or of many.
std::vector<std::string> lister(Ouvert& base, const Vol& exemple, std::size_t octets = 1)
{
    std::vector<std::string> identifiants;
    Parcours parcours;
    while (!parcours.fini && !testing::Test::HasFailure())
        EXPECT_EQ(FAIT, base.lecture->lister(Fiche(exemple), parcours, octets, [&](const FichePartagee& vol) {
            identifiants.emplace_back(vol->identifiant());
        }));
    return identifiants;
}

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

class TestMagasin : public testing::Test
{
  protected:
    essais::DossierTemporaire _dossier;
    std::string _fichier = _dossier.fichier("vols.db");
};

} // namespace

TEST_F(TestMagasin, CeQuiEntreRessortOctetPourOctetApresReouverture)
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
        Ouvert magasin(_fichier);
        for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide})
            EXPECT_EQ(FAIT, executer(magasin, Operation::cree, *vol).resultat);
    }
    Ouvert magasin(_fichier);
    for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide}) {
        const Issue issue = executer(magasin, Operation::consulte, volNul(vol->m_gidentifiant));
        EXPECT_EQ(FAIT, issue.resultat);
        EXPECT_EQ(contenu(*vol), contenu(*issue.vol));
    }
}

TEST_F(TestMagasin, ChaqueOperationRendSonCode)
{
    Ouvert magasin(_fichier);
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

TEST_F(TestMagasin, UneModificationNeToucheQueCeQuiEstRenseigne)
{
    Ouvert magasin(_fichier);
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

TEST_F(TestMagasin, ListeParLExemple)
{
    Ouvert magasin(_fichier);
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

// Who asks for what cannot be done, or touches what is damaged, is the only one to hear of it.
TEST_F(TestMagasin, DUnLotSeulCeQuiEstEnCauseEchoue)
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
        Ouvert magasin(_fichier, reglages);
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
TEST_F(TestMagasin, UneListeSansReponseAvanceParTranches)
{
    constexpr int NOMBRE = 10000;
    Ouvert magasin(_fichier);
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

// With somebody always inside, the log is begun again all the same; with nobody, it is emptied.
TEST_F(TestMagasin, LeJournalResteCourt)
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

TEST_F(TestMagasin, LaMemoireQuiManqueNeLaisseRienAMoitieFait)
{
    Ouvert magasin(_fichier);
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

TEST_F(TestMagasin, DeuxMagasinsPartagentUnFichierDesSaCreation)
{
    constexpr int NOMBRE = 200;
    std::vector<std::thread> fils;
    for (const char* prefixe : {"A", "B"})
        fils.emplace_back([this, prefixe] {
            Ouvert magasin(_fichier);
            for (int i = 0; i < NOMBRE; ++i) {
                const Vol vol = volNul((prefixe + std::to_string(i)).c_str());
                EXPECT_EQ(FAIT, executer(magasin, Operation::cree, vol).resultat);
            }
        });
    for (std::thread& fil : fils)
        fil.join();
    Ouvert magasin(_fichier);
    EXPECT_EQ(2u * NOMBRE, lister(magasin, volNul()).size());
}

TEST_F(TestMagasin, UnVerrouQuiDureDonneUnEchecEtRienDAutre)
{
    MagasinSqlite::Reglages reglages;
    reglages.attenteVerrou = std::chrono::milliseconds(1);
    Ouvert magasin(_fichier, reglages);
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

TEST_F(TestMagasin, UneBaseInutilisableEstRefuseeEnUneLigne)
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
