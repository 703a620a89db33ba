// The record as its application sees it: fields, lists, ownership, and the traces of each operation.
#include "OXvol_completData.h"

#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "VolsEssai.h"

#include <gmock/gmock.h>

#include <algorithm>

using essais::CapteurTraces;
using essais::chaquePanne;
using essais::codeStat;
using essais::PanneMemoire;
using essais::rubChgt;
using essais::volComplet;
using orix::OXstatut;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Enregistrement : public testing::Test
{
  protected:
    // What the trace facility makes at its first use, and keeps, is no leak.
    void SetUp() override { OXvol_completData().lire_gpiste(); }
};

std::string adresse(const void* objet)
{
    std::ostringstream texte;
    texte << objet;
    return texte.str();
}

/// "level function: message" of each line of the record's own source so far.
std::vector<std::string> lignes(CapteurTraces& capteur)
{
    std::vector<std::string> textes;
    for (const orix::LigneTrace& ligne : capteur.prendre()) {
        if (ligne.fichier == "OXvol_completData")
            textes.push_back(std::to_string(ligne.niveau) + " " + ligne.fonction + ": " + ligne.message);
    }
    return textes;
}

/// "level message" of each line written while the value constructor runs, entry and exit excepted.
std::vector<std::string> plaintesDuConstructeur(int nrub, OXcci_rub_chgtData** rubs, int npoint,
                                                char** points, int nrubAttendu, int npointAttendu)
{
    CapteurTraces capteur(orix::NTO_NOTABLE);
#define NUL(nom) nullptr,
    const OXvol_completData vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) nrub, rubs, npoint, points);
#undef NUL
    std::vector<std::string> plaintes;
    for (const orix::LigneTrace& ligne : capteur.prendre()) {
        const bool signature =
            ligne.fonction.rfind("OXvol_completData::OXvol_completData(char*, char*, ", 0) == 0;
        EXPECT_TRUE(signature || ligne.fonction == "OXvol_completData") << ligne.fonction;
        plaintes.push_back((signature ? "signature: " : "") + ligne.message);
        EXPECT_EQ(ligne.niveau, 100);
    }
    EXPECT_EQ(vol.nombre_rub_chgt(), nrubAttendu);
    EXPECT_EQ(vol.nombre_point(), npointAttendu);
    return plaintes;
}

template <class T, class Creer>
T** tableau(int nombre, Creer creer)
{
    T** const elements = new T*[nombre];
    std::generate_n(elements, nombre, creer);
    return elements;
}

} // namespace

TEST_F(Enregistrement, LeConstructeurRangeChaqueArgumentASaPlace)
{
    const auto vol = volComplet();
#define TEXTE(nom)                                                                                           \
    EXPECT_STREQ(vol->lire_##nom(), #nom);                                                                   \
    EXPECT_EQ(vol->lire_##nom(), vol->m_##nom) << "the field itself, not a copy";
#define CODE_STAT(nom) EXPECT_STREQ(vol->lire_##nom()->lire_gcode(), #nom);
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    EXPECT_STREQ(vol->lire_rub_chgt(1)->lire_grubrique(), "parking");
    EXPECT_STREQ(vol->lire_point(1), "LMG");
}

TEST_F(Enregistrement, ChaqueChampSeLitEtSEcritSousSonNom)
{
    OXvol_completData vol;
    CapteurTraces capteur;
    OXstatut statut = orix::OXS_NOK;
    // The value printed: a text itself, a status code's address.
#define CHAMP(TYPE, nom, valeur, imprimee)                                                                   \
    {                                                                                                        \
        EXPECT_EQ(vol.lire_##nom(statut), nullptr);                                                          \
        EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);                                                   \
        EXPECT_EQ(vol.lire_##nom(), nullptr);                                                                \
        EXPECT_THAT(lignes(capteur),                                                                         \
                    ElementsAre("100 lire_" #nom ": Sortie invalide, le champ est un pointeur nul.",         \
                                "900 const " #TYPE "* OXvol_completData::lire_" #nom                         \
                                "() const: Entrée/Sortie, version sans statut",                              \
                                "100 lire_" #nom ": Sortie invalide, le champ est un pointeur nul."));       \
        TYPE* const donnee = valeur;                                                                         \
        vol.ecrire_##nom(donnee);                                                                            \
        const std::string ecrire =                                                                           \
            "700 void OXvol_completData::ecrire_" #nom "(" #TYPE "*, orix::OXstatut&): ";                    \
        EXPECT_THAT(lignes(capteur),                                                                         \
                    ElementsAre("900 void OXvol_completData::ecrire_" #nom "(" #TYPE                         \
                                "*): Entrée/Sortie, version sans statut",                                    \
                                ecrire + "Entrée.", ecrire + "Valeur = " + (imprimee), ecrire + "Sortie.")); \
        EXPECT_EQ(vol.lire_##nom(statut), donnee);                                                           \
        EXPECT_EQ(statut, orix::OXS_OK);                                                                     \
        EXPECT_THAT(lignes(capteur), ElementsAre("900 const " #TYPE "* OXvol_completData::lire_" #nom        \
                                                 "(orix::OXstatut&) const: Valeur = " +                      \
                                                 std::string(imprimee)));                                    \
    }
#define TEXTE(nom) CHAMP(char, nom, OXdupliqueChaine("v " #nom), donnee)
#define CODE_STAT(nom) CHAMP(OXcode_statData, nom, codeStat("A"), adresse(donnee))
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
#undef CHAMP
}

TEST_F(Enregistrement, LesLecteursSuiventLeSeuilDUneLectureALAutre)
{
    const auto vol = volComplet();
    vol->ecrire_gpiste(nullptr);
    CapteurTraces capteur(orix::NTO_PROGRES);
    const auto toutLire = [&] {
        OXstatut statut = orix::OXS_NOK;
        EXPECT_STREQ(vol->lire_gparking(statut), "gparking");
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_NE(vol->lire_pcode_stat_depart(), nullptr);
        EXPECT_EQ(vol->lire_gpiste(statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);
        EXPECT_EQ(vol->nombre_point(statut), 3);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ(vol->lire_point(3, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
        EXPECT_STREQ(vol->lire_point(1, statut), "LMG");
        EXPECT_EQ(statut, orix::OXS_OK);
        return lignes(capteur);
    };
    const std::vector<std::string> refus = toutLire();
    EXPECT_THAT(refus,
                ElementsAre("100 lire_gpiste: Sortie invalide, le champ est un pointeur nul.",
                            "100 const char* OXvol_completData::lire_point(int, orix::OXstatut&) const: "
                            "Données non positionnées a l'index:3 index maximum: 3"));
    orix::Trace::definirSeuil(orix::NTO_DETAIL);
    EXPECT_EQ(toutLire().size(), refus.size() + 13)
        << "1 for the text, 2 for the code, 3 + 5 + 2 for the points";
    orix::Trace::definirSeuil(orix::NTO_PROGRES);
    EXPECT_EQ(toutLire(), refus);
}

TEST_F(Enregistrement, EcrireRemplaceEtNulEfface)
{
    const long avant = essais::bilanMemoire();
    {
        OXvol_completData vol;
        OXstatut statut = orix::OXS_NOK;
        vol.ecrire_gparking(OXdupliqueChaine("A12"));
        vol.ecrire_gparking(OXdupliqueChaine("B7"));
        vol.ecrire_gparking(vol.m_gparking); // its own text: must survive
        EXPECT_STREQ(vol.lire_gparking(), "B7");
        {
            CapteurTraces capteur;
            vol.ecrire_gparking(nullptr, statut);
            EXPECT_THAT(capteur.prendreTextes(), ElementsAre("700 Entrée.", "700 Valeur = ", "700 Sortie."));
        }
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ(vol.m_gparking, nullptr);

        vol.ecrire_pcode_stat_depart(codeStat("A"));
        vol.ecrire_pcode_stat_depart(codeStat("B"));
        vol.ecrire_pcode_stat_depart(nullptr, statut);
        EXPECT_EQ(vol.lire_pcode_stat_depart(), nullptr);
    }
    EXPECT_EQ(essais::bilanMemoire(), avant) << "each former value is released once";
}

TEST_F(Enregistrement, ListeDesChangementsAdopteJusquASix)
{
    OXvol_completData vol;
    OXstatut statut = orix::OXS_NOK;
    const std::string ajouter =
        "int OXvol_completData::ajouter_rub_chgt(OXcci_rub_chgtData*, orix::OXstatut&): ";
    const std::string lire =
        "const OXcci_rub_chgtData* OXvol_completData::lire_rub_chgt(int, orix::OXstatut&) const: ";
    const auto comptage = [](int nombre) {
        const std::string compter = "900 int OXvol_completData::nombre_rub_chgt(orix::OXstatut&) const: ";
        return std::vector<std::string>{
            "900 int OXvol_completData::nombre_rub_chgt() const: Entrée/Sortie, version sans statut",
            compter + "Entrée.", compter + "Taille = " + std::to_string(nombre), compter + "Sortie."};
    };

    CapteurTraces capteur;
    OXcci_rub_chgtData* const premier = rubChgt("piste");
    EXPECT_EQ(vol.ajouter_rub_chgt(premier), 1);
    EXPECT_THAT(lignes(capteur),
                ElementsAre("900 int OXvol_completData::ajouter_rub_chgt(OXcci_rub_chgtData*): "
                            "Entrée/Sortie, version sans statut",
                            "900 " + ajouter + "elem = " + adresse(premier),
                            "900 " + ajouter + "Nouvelle taille = 1"));
    EXPECT_EQ(vol.lire_rub_chgt(0), premier);
    EXPECT_THAT(lignes(capteur),
                ElementsAre("900 const OXcci_rub_chgtData* OXvol_completData::lire_rub_chgt(int) "
                            "const: Entrée/Sortie, version sans statut.",
                            "900 " + lire + "Index = 0", "900 " + lire + "Resultat = " + adresse(premier)));
    EXPECT_EQ(vol.nombre_rub_chgt(), 1);
    EXPECT_EQ(lignes(capteur), comptage(1));

    EXPECT_EQ(vol.ajouter_rub_chgt(nullptr, statut), -1);
    EXPECT_EQ(statut, orix::OXS_PARAMETRE_INVALIDE);
    EXPECT_THAT(lignes(capteur), ElementsAre("900 " + ajouter + "elem = 0",
                                             "100 ajouter_rub_chgt: Tentative d'ajout d'un pointeur nul."));
    for (int n = 2; n <= 6; ++n)
        EXPECT_EQ(vol.ajouter_rub_chgt(rubChgt("piste"), statut), n);
    EXPECT_EQ(statut, orix::OXS_OK);

    lignes(capteur);
    const std::unique_ptr<OXcci_rub_chgtData> refuse(rubChgt("reste a l'appelant"));
    EXPECT_EQ(vol.ajouter_rub_chgt(refuse.get(), statut), -1);
    EXPECT_EQ(statut, orix::OXS_TABLEAU_DEBORDEMENT);
    EXPECT_EQ(lignes(capteur).back(), "100 " + ajouter + "Sortie sur tableau saturé. Index:6 taille:6");

    for (const int index : {6, -1}) {
        EXPECT_EQ(vol.lire_rub_chgt(index, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
        std::vector<std::string> attendues = comptage(6);
        attendues.insert(attendues.begin(), "900 " + lire + "Index = " + std::to_string(index));
        attendues.push_back("100 " + lire + "Données non positionnées a l'index:" + std::to_string(index) +
                            " index maximum: 6");
        EXPECT_EQ(lignes(capteur), attendues);
    }
}

TEST_F(Enregistrement, ListeDesPointsCopieJusquADix)
{
    OXvol_completData vol;
    OXstatut statut = orix::OXS_NOK;
    const std::string ajouter = "int OXvol_completData::ajouter_point(char*, orix::OXstatut&): ";
    const std::string lire = "const char* OXvol_completData::lire_point(int, orix::OXstatut&) const: ";
    char point[] = "AGEN";

    CapteurTraces capteur;
    EXPECT_EQ(vol.ajouter_point(point), 1);
    EXPECT_THAT(
        lignes(capteur),
        ElementsAre("900 int OXvol_completData::ajouter_point(char*): Entrée/Sortie, version sans statut",
                    "900 " + ajouter + "elem = " + adresse(point), "900 " + ajouter + "Nouvelle taille = 1"));
    point[0] = 'X';
    EXPECT_STREQ(vol.lire_point(0), "AGEN");
    EXPECT_THAT(
        lignes(capteur),
        ElementsAre("900 const char* OXvol_completData::lire_point(int) const: Entrée/Sortie, version sans "
                    "statut.",
                    "900 " + lire + "Index = 0", "900 " + lire + "Resultat = AGEN"));

    EXPECT_EQ(vol.ajouter_point(nullptr, statut), -1);
    EXPECT_EQ(statut, orix::OXS_PARAMETRE_INVALIDE);
    EXPECT_EQ(lignes(capteur).back(), "100 ajouter_point: Tentative d'ajout d'un pointeur nul.");
    for (int n = 2; n <= 10; ++n)
        EXPECT_EQ(vol.ajouter_point(point, statut), n);
    EXPECT_EQ(vol.ajouter_point(point, statut), -1);
    EXPECT_EQ(statut, orix::OXS_TABLEAU_DEBORDEMENT);
    EXPECT_EQ(lignes(capteur).back(), "100 " + ajouter + "Sortie sur tableau saturé. Index:10 taille:10");

    for (const int index : {10, -1}) {
        EXPECT_EQ(vol.lire_point(index, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
        EXPECT_EQ(lignes(capteur).back(), "100 " + lire + "Données non positionnées a l'index:" +
                                              std::to_string(index) + " index maximum: 10");
    }
    EXPECT_EQ(vol.nombre_point(), 10);
}

TEST_F(Enregistrement, LeConstructeurCorrigeLesListesEtLeDit)
{
    const auto rub = [] { return rubChgt("piste"); };
    const auto point = [] { return OXdupliqueChaine("AGEN"); };
    const long avant = essais::bilanMemoire();

    EXPECT_THAT(
        plaintesDuConstructeur(6, tableau<OXcci_rub_chgtData>(6, rub), 10, tableau<char>(10, point), 6, 10),
        IsEmpty());
    EXPECT_THAT(plaintesDuConstructeur(0, nullptr, 0, nullptr, 0, 0), IsEmpty());
    EXPECT_THAT(plaintesDuConstructeur(3, nullptr, 4, nullptr, 0, 0),
                ElementsAre("signature: Non Validé (nrub_chgt == 0)",
                            "Taille non nulle pour le tableau nul m_trub_chgt.",
                            "signature: Non Validé (npoint == 0)",
                            "Taille non nulle pour le tableau nul m_tpoint."));
    EXPECT_THAT(
        plaintesDuConstructeur(-2, tableau<OXcci_rub_chgtData>(0, rub), -1, tableau<char>(0, point), 0, 0),
        IsEmpty());

    // What exceeds the limit is neither kept nor released: it stays to be released here.
    OXcci_rub_chgtData** const rubs = tableau<OXcci_rub_chgtData>(7, rub);
    char** const points = tableau<char>(11, point);
    const std::unique_ptr<OXcci_rub_chgtData> septieme(rubs[6]);
    const std::unique_ptr<char[]> onzieme(points[10]);
    EXPECT_THAT(plaintesDuConstructeur(7, rubs, 11, points, 6, 10),
                ElementsAre("Taille supérieure a la limite max pour le tableau m_trub_chgt.",
                            "Taille supérieure a la limite max pour le tableau m_tpoint."));
    EXPECT_EQ(essais::bilanMemoire(), avant + 5) << "the seventh with its three texts, and the eleventh";
}

TEST_F(Enregistrement, TracesDeLaVieDUnEnregistrement)
{
    CapteurTraces capteur;
    {
        const OXvol_completData vol;
        EXPECT_THAT(capteur.prendreTextes(), ElementsAre("900 Entrée Constructeur par defaut (v3.0.0).",
                                                         "900 Sortie Constructeur par defaut (v3.0.0)."));

        const OXvol_completData copie(vol);
        const std::string copier = "900 OXvol_completData::OXvol_completData(const OXvol_completData&): ";
        EXPECT_THAT(lignes(capteur), ElementsAre(copier + "Entrée.", copier + "Sortie."));
        EXPECT_STREQ(vol.lireNomService(), "cdv");
        EXPECT_THAT(
            lignes(capteur),
            ElementsAre("900 const char* OXvol_completData::lireNomService() const: Entrée/Retour cdv"));
        const std::vector<orix::OXversion> version{orix::OXversion(3, 0, 0, 0)};
        EXPECT_EQ(copie.lireVersion(), version);
        EXPECT_EQ(copie.lireVersionsConnues(), version);
        EXPECT_THAT(capteur.prendreTextes(),
                    ElementsAre("900 Entrée.", "900 Version(s) 3.0.0.0", "900 Sortie.", "900 Entrée.",
                                "900 Version(s) 3.0.0.0", "900 Sortie."));
    }
    EXPECT_THAT(capteur.prendreTextes(),
                ElementsAre("900 Entree.", "900 Sortie.", "900 Entree.", "900 Sortie."));

    // The status codes and the changed fields are declared valid with their record.
    const auto vol = volComplet();
    capteur.prendre();
    vol->definirVersionValide_v3_0_0();
    std::string classes;
    for (const orix::LigneTrace& ligne : capteur.prendre())
        classes += ligne.fichier + " " + ligne.message + " ";
    const std::string code = "OXcode_statData Entrée. OXcode_statData Sortie. ";
    const std::string rubrique = "OXcci_rub_chgtData Entrée. OXcci_rub_chgtData Sortie. ";
    EXPECT_EQ(classes, "OXvol_completData Entrée. " + code + code + rubrique + rubrique +
                           "OXvol_completData Sortie. ");
}

TEST_F(Enregistrement, LaCopieEstProfonde)
{
    auto source = volComplet();
    source->ecrire_gpiste(nullptr);
    const OXvol_completData copie(*source);
    EXPECT_EQ(copie.lire_gpiste(), nullptr);
    EXPECT_NE(copie.lire_gidentifiant(), source->lire_gidentifiant());
    EXPECT_NE(copie.lire_pcode_stat_depart(), source->lire_pcode_stat_depart());

    std::ostringstream avant;
    avant << *source;
    source.reset();
    std::ostringstream apres;
    apres << copie;
    EXPECT_EQ(apres.str(), avant.str());
}

TEST_F(Enregistrement, ManqueDeMemoire)
{
    const auto source = volComplet();
    // 55 texts, two status codes of two texts, two changed fields of three, three points.
    EXPECT_EQ(chaquePanne([&] { const OXvol_completData copie(*source); }), 55 + 2 * 3 + 2 * 4 + 3);

    OXvol_completData vol;
    char point[] = "AGEN";
    OXstatut statut = orix::OXS_OK;
    {
        const PanneMemoire panne(1);
        EXPECT_EQ(vol.ajouter_point(point, statut), -1);
    }
    EXPECT_EQ(statut, orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
    EXPECT_EQ(vol.nombre_point(), 0);

    // Traced, each text costs memory too; what a constructor took is released all the same.
    CapteurTraces capteur;
    orix::trace()->definirRecepteur([](const orix::LigneTrace&) {});
    EXPECT_GT(chaquePanne([&] { const OXvol_completData copie(*source); }, true), 100);
}

TEST_F(Enregistrement, UneTraceQuiEchoueNeFaitRienFuir)
{
    const long avant = essais::bilanMemoire();
    {
        CapteurTraces capteur;
        auto vol = volComplet();
        orix::trace()->definirRecepteur([](const orix::LigneTrace&) { throw 1; });
        vol.reset(); // a destructor that throws would end the process
        EXPECT_THROW(volComplet(), int);
    }
    EXPECT_EQ(essais::bilanMemoire(), avant);
}
