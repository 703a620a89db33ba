#include "ColonnesVol.h"
#include "DossierTemporaire.h"
#include "Magasin.h"
#include "OXvol_completData.h"
#include "PanneMemoire.h"

#include <sqlite3.h>

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

Issue executer(Magasin& magasin, Operation operation, const Vol& vol)
{
    Demande demande{operation, std::make_shared<Fiche>(vol)};
    magasin.executer({&demande});
    return {demande.resultat, demande.vol};
}

/// The results of a group.
std::vector<int> executer(Magasin& magasin, std::vector<Demande>& demandes)
{
    std::vector<Demande*> lot;
    for (Demande& demande : demandes)
        lot.push_back(&demande);
    magasin.executer(lot);
    std::vector<int> resultats;
    for (const Demande& demande : demandes)
        resultats.push_back(demande.resultat);
    return resultats;
}

std::vector<std::string> lister(Magasin& magasin, const Vol& exemple, std::size_t maximum = 1000)
{
    std::vector<std::string> identifiants;
    EXPECT_EQ(FAIT, magasin.liste(Fiche(exemple), [&](const FichePartagee& vol) {
        identifiants.emplace_back(vol->identifiant());
        return identifiants.size() < maximum;
    }));
    return identifiants;
}

std::string refus(const std::string& fichier)
{
    try {
        Magasin magasin(fichier);
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
        Magasin magasin(_fichier);
        for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide})
            EXPECT_EQ(FAIT, executer(magasin, Operation::cree, *vol).resultat);
    }
    Magasin magasin(_fichier);
    for (const Vol* vol : std::initializer_list<const Vol*>{&plein, &nul, &vide}) {
        const Issue issue = executer(magasin, Operation::consulte, volNul(vol->m_gidentifiant));
        EXPECT_EQ(FAIT, issue.resultat);
        EXPECT_EQ(contenu(*vol), contenu(*issue.vol));
    }
}

TEST_F(TestMagasin, ChaqueOperationRendSonCode)
{
    Magasin magasin(_fichier);
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
    Magasin magasin(_fichier);
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
    Magasin magasin(_fichier);
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
    EXPECT_THAT(lister(magasin, volNul(), 2), ElementsAre("A%_", "AF1")); // the receiver stops it
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

TEST_F(TestMagasin, UnLotEntierEchoueSiLaBaseNePeutPasLeGarder)
{
    Magasin::Reglages reglages;
    reglages.pagesMax = 20;
    Magasin magasin(_fichier, reglages);
    EXPECT_EQ(FAIT, executer(magasin, Operation::cree, volNul("avant")).resultat);

    std::vector<Demande> demandes{{Operation::consulte, std::make_shared<Fiche>(volNul("avant"))}};
    for (int i = 0; i < 200; ++i)
        demandes.push_back({Operation::cree, std::make_shared<Fiche>(volPlein("AF" + std::to_string(i)))});
    EXPECT_THAT(executer(magasin, demandes), testing::Each(ECHEC_MAGASIN));
    EXPECT_THAT(lister(magasin, volNul()), ElementsAre("avant"));
    EXPECT_EQ(
        FAIT,
        executer(magasin, Operation::cree, volNul("apres")).resultat); // small enough, and possible again
}

TEST_F(TestMagasin, LaMemoireQuiManqueNeLaisseRienAMoitieFait)
{
    Magasin magasin(_fichier);
    Vol attendu = volNul("AF1");
    executer(magasin, Operation::cree, attendu);
    int pannes = 0;
    for (bool survenue = true; survenue && !HasFailure();) {
        Vol modification = volNul("AF1");
        modification.m_gpiste = std::to_string(++pannes).c_str();
        std::vector<Demande> demandes(3, {Operation::modifie, std::make_shared<Fiche>(modification)});
        const Magasin::Lot seule{&demandes[0]};
        const Magasin::Lot ensemble{&demandes[0], &demandes[1], &demandes[2]};
        {
            const essais::PanneMemoire panne(pannes);
            magasin.executer(seule);
            survenue = panne.survenue();
        }
        EXPECT_EQ(demandes[0].resultat, survenue ? ECHEC_MAGASIN : FAIT);
        EXPECT_EQ(contenu(survenue ? attendu : modification),
                  contenu(*executer(magasin, Operation::consulte, attendu).vol));

        const essais::PanneMemoire panne(pannes); // what fails among others is tried again
        magasin.executer(ensemble);
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
            Magasin magasin(_fichier);
            for (int i = 0; i < NOMBRE; ++i) {
                const Vol vol = volNul((prefixe + std::to_string(i)).c_str());
                EXPECT_EQ(FAIT, executer(magasin, Operation::cree, vol).resultat);
            }
        });
    for (std::thread& fil : fils)
        fil.join();
    Magasin magasin(_fichier);
    EXPECT_EQ(2u * NOMBRE, lister(magasin, volNul()).size());
}

TEST_F(TestMagasin, UnVerrouQuiDureDonneUnEchecEtRienDAutre)
{
    Magasin::Reglages reglages;
    reglages.attenteVerrou = std::chrono::milliseconds(1);
    Magasin magasin(_fichier, reglages);
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
