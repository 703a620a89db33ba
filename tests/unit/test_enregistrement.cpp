// The record as its application sees it: fields, lists, ownership, and the traces of each operation.
#include "OXvol_completData.h"

#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "VolsEssai.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <numeric>

using essais::CapteurTraces;
using essais::chaquePanne;
using essais::codeStat;
using essais::PanneMemoire;
using essais::rubChgt;
using essais::volComplet;
using orix::OXstatut;
using testing::ElementsAre;
using testing::IsSubsetOf;
using Textes = std::vector<std::string>;
using Vol = OXvol_completData;

namespace {

#define APPEL(operation)                                                                                     \
    [](auto& vol, auto&&... arguments) -> decltype(auto) { return vol.operation(arguments...); }

/// Calls action for each field: its name, its type, what makes a value for it, its member and its accessors.
template <class Action>
void pourChaqueAcces(Action action)
{
#define CHAMP(TYPE, nom, valeur)                                                                             \
    action(                                                                                                  \
        std::string(#nom), std::string(#TYPE), [] { return valeur; },                                        \
        [](auto& vol) -> auto& { return vol.m_##nom; }, APPEL(lire_##nom), APPEL(ecrire_##nom));
#define TEXTE(nom) CHAMP(char, nom, OXdupliqueChaine(#nom))
#define CODE_STAT(nom) CHAMP(OXcode_statData, nom, codeStat(#nom))
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
#undef CHAMP
}

char g_point[] = "AGEN";

/// Calls action for each list: its name, the type of its entries, its limit, what makes an entry, its
/// operations.
template <class Action>
void pourChaqueListe(Action action)
{
#define LISTE(TYPE, nom, limite, elem)                                                                       \
    action(                                                                                                  \
        std::string(#nom), std::string(#TYPE), limite, [] { return elem; }, APPEL(nombre_##nom),             \
        APPEL(lire_##nom), APPEL(ajouter_##nom));
    LISTE(OXcci_rub_chgtData, rub_chgt, 6, rubChgt("piste"))
    LISTE(char, point, 10, g_point)
#undef LISTE
}

/// Of the constructor from values.
#define TEXTE(nom) "char*, "
#define CODE_STAT(nom) "OXcode_statData*, "
const std::string g_arguments =
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT) "int, OXcci_rub_chgtData**, int, char**";
#undef TEXTE
#undef CODE_STAT

template <class T>
std::string ecrit(const T& objet)
{
    std::ostringstream flux;
    flux << objet;
    return flux.str();
}

/// As the traces show it.
std::string valeur(const char* texte) { return texte; }
std::string valeur(const void* objet) { return ecrit(objet); }

/// "level function: message" of each line of the record's own source so far.
Textes lignes(CapteurTraces& capteur) { return capteur.prendreLignes("OXvol_completData"); }

std::string transcrire(CapteurTraces& capteur)
{
    const Textes textes = lignes(capteur);
    return std::accumulate(textes.begin(), textes.end(), std::string(),
                           [](std::string debut, const std::string& texte) { return debut + texte + "\n"; });
}

std::string remplir(std::string modele, const std::vector<std::pair<std::string, std::string>>& valeurs)
{
    for (const auto& [mot, texte] : valeurs)
        for (std::size_t i = 0; (i = modele.find(mot, i)) != std::string::npos; i += texte.size())
            modele.replace(i, mot.size(), texte);
    return modele;
}

/// Plays the operation on copies of the record: as it is, then with each of its allocations failing in turn,
/// at every threshold. It throws nothing, gives the same and leaves the same, and each line that it traces is
/// whole. Returns the number of failures. permise: what may come instead of the same, once.
int eprouver(const Vol& modele, const std::function<long(Vol&, OXstatut&)>& operation,
             OXstatut permise = orix::OXS_OK)
{
    int pannes = 0;
    for (const int seuil : {orix::NTO_AUCUN, orix::NTO_NOTABLE, orix::NTO_PROGRES, orix::NTO_DETAIL}) {
        CapteurTraces capteur(seuil);
        bool survenue = false;
        const auto jouer = [&](int n) {
            Vol vol(modele);
            capteur.prendre();
            OXstatut statut = orix::OXS_NOK;
            long resultat = 0;
            {
                const PanneMemoire panne(n);
                EXPECT_NO_THROW(resultat = operation(vol, statut));
                survenue = panne.survenue();
            }
            Textes lues = lignes(capteur);
            for (std::string& ligne : lues) // each copy has addresses of its own
                ligne.resize(std::min(ligne.size(), ligne.find("0x")));
            return std::make_pair(std::make_tuple(resultat, statut, ecrit(vol)), lues);
        };
        const auto [attendu, completes] = jouer(1000000);
        int differents = 0;
        for (int n = 1;; ++n) {
            const auto [effet, ecrites] = jouer(n);
            if (!survenue)
                break;
            ++pannes;
            EXPECT_THAT(ecrites, IsSubsetOf(completes)) << "at " << seuil;
            if (effet != attendu) {
                ++differents;
                EXPECT_EQ(effet, std::make_tuple(-1L, permise, ecrit(modele)));
            }
        }
        EXPECT_EQ(differents, permise != orix::OXS_OK);
    }
    return pannes;
}

} // namespace

TEST(Enregistrement, ChaqueChampSeLitEtSEcritSousSonNom)
{
    const std::string construit = ecrit(*volComplet());
    Vol vol;
    CapteurTraces capteur;
    pourChaqueAcces([&](auto nom, auto type, auto creer, auto membre, auto lire, auto ecrire) {
        EXPECT_NE(construit.find(nom + ">"), std::string::npos)
            << "the constructor's argument went elsewhere";
        OXstatut statut = orix::OXS_NOK;
        capteur.prendre();
        EXPECT_EQ(lire(vol, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);
        EXPECT_EQ(lire(vol), nullptr);
        auto* const pose = creer();
        ecrire(vol, pose);
        EXPECT_EQ(membre(vol), pose);
        EXPECT_EQ(lire(vol, statut), pose);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ(transcrire(capteur), remplir(R"(100 lire_NOM: Sortie invalide, le champ est un pointeur nul.
900 const TYPE* OXvol_completData::lire_NOM() const: Entrée/Sortie, version sans statut
100 lire_NOM: Sortie invalide, le champ est un pointeur nul.
900 void OXvol_completData::ecrire_NOM(TYPE*): Entrée/Sortie, version sans statut
700 void OXvol_completData::ecrire_NOM(TYPE*, orix::OXstatut&): Entrée.
700 void OXvol_completData::ecrire_NOM(TYPE*, orix::OXstatut&): Valeur = VALEUR
700 void OXvol_completData::ecrire_NOM(TYPE*, orix::OXstatut&): Sortie.
900 const TYPE* OXvol_completData::lire_NOM(orix::OXstatut&) const: Valeur = VALEUR
)",
                                               {{"NOM", nom}, {"TYPE", type}, {"VALEUR", valeur(pose)}}));
    });
}

TEST(Enregistrement, EcrireRemplaceEtNulEfface)
{
    const long avant = essais::bilanMemoire();
    {
        Vol vol;
        pourChaqueAcces([&](auto nom, auto, auto creer, auto membre, auto, auto ecrire) {
            ecrire(vol, creer());
            ecrire(vol, creer());
            ecrire(vol, membre(vol)); // its own: must survive
            EXPECT_NE(ecrit(vol).find(nom + ">"), std::string::npos);
            ecrire(vol, nullptr);
            EXPECT_EQ(membre(vol), nullptr);
        });
    }
    EXPECT_EQ(essais::bilanMemoire(), avant) << "each value is released once";
}

TEST(Enregistrement, ChaqueListeSeRemplitJusquASaLimite)
{
    pourChaqueListe([](auto nom, auto type, int limite, auto creer, auto nombre, auto lire, auto ajouter) {
        Vol vol;
        OXstatut statut = orix::OXS_NOK;
        auto* const premier = creer();
        for (int n = 1; n < limite; ++n)
            EXPECT_EQ(ajouter(vol, n == 1 ? premier : creer(), statut), n);
        EXPECT_EQ(statut, orix::OXS_OK);
        const auto* const garde = lire(vol, 0, statut);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ(garde != premier, type == "char") << "points are copied, changed fields kept";

        CapteurTraces capteur;
        EXPECT_EQ(ajouter(vol, nullptr, statut), -1);
        EXPECT_EQ(statut, orix::OXS_PARAMETRE_INVALIDE);
        auto* const dernier = creer();
        EXPECT_EQ(ajouter(vol, dernier), limite);
        EXPECT_EQ(ajouter(vol, premier, statut), -1) << "taken, it would be released twice";
        EXPECT_EQ(statut, orix::OXS_TABLEAU_DEBORDEMENT);
        EXPECT_EQ(nombre(vol), limite);
        EXPECT_EQ(lire(vol, 0), garde);
        EXPECT_EQ(lire(vol, limite, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
        EXPECT_EQ(transcrire(capteur),
                  remplir(R"(900 int OXvol_completData::ajouter_NOM(TYPE*, orix::OXstatut&): elem = 0
100 ajouter_NOM: Tentative d'ajout d'un pointeur nul.
900 int OXvol_completData::ajouter_NOM(TYPE*): Entrée/Sortie, version sans statut
900 int OXvol_completData::ajouter_NOM(TYPE*, orix::OXstatut&): elem = DERNIER
900 int OXvol_completData::ajouter_NOM(TYPE*, orix::OXstatut&): Nouvelle taille = LIMITE
900 int OXvol_completData::ajouter_NOM(TYPE*, orix::OXstatut&): elem = PREMIER
100 int OXvol_completData::ajouter_NOM(TYPE*, orix::OXstatut&): Sortie sur tableau saturé. Index:LIMITE taille:LIMITE
900 int OXvol_completData::nombre_NOM() const: Entrée/Sortie, version sans statut
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Entrée.
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Taille = LIMITE
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Sortie.
900 const TYPE* OXvol_completData::lire_NOM(int) const: Entrée/Sortie, version sans statut.
900 const TYPE* OXvol_completData::lire_NOM(int, orix::OXstatut&) const: Index = 0
900 const TYPE* OXvol_completData::lire_NOM(int, orix::OXstatut&) const: Resultat = VALEUR
900 const TYPE* OXvol_completData::lire_NOM(int, orix::OXstatut&) const: Index = LIMITE
900 int OXvol_completData::nombre_NOM() const: Entrée/Sortie, version sans statut
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Entrée.
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Taille = LIMITE
900 int OXvol_completData::nombre_NOM(orix::OXstatut&) const: Sortie.
100 const TYPE* OXvol_completData::lire_NOM(int, orix::OXstatut&) const: Données non positionnées a l'index:LIMITE index maximum: LIMITE
)",
                          {{"NOM", nom},
                           {"TYPE", type},
                           {"DERNIER", ecrit<void*>(dernier)},
                           {"PREMIER", ecrit<void*>(premier)},
                           {"LIMITE", std::to_string(limite)},
                           {"VALEUR", valeur(garde)}}));
        EXPECT_EQ(lire(vol, -1, statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
    });
}

TEST(Enregistrement, AucunAccesseurNeDependDeSesTraces)
{
    const auto vol = volComplet();
    vol->ecrire_gpiste(nullptr);
    int pannes = 0;
    pourChaqueAcces([&](auto nom, auto, auto, auto, auto lire, auto ecrire) {
        SCOPED_TRACE(nom);
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return lire(v, s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return lire(v) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return ecrire(v, nullptr, s), 0; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return ecrire(v, nullptr), 0; });
    });
    pourChaqueListe([&](auto nom, auto, auto, auto, auto nombre, auto lire, auto ajouter) {
        SCOPED_TRACE(nom);
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return nombre(v); });
        for (const int index : {1, 7})
            pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return lire(v, index, s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return ajouter(v, nullptr, s); });
    });
    pannes += eprouver(
        *vol, [&](Vol& v, OXstatut& s) { return v.ajouter_point(g_point, s); },
        orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
    EXPECT_GT(pannes, 1000);
}

TEST(Enregistrement, LeConstructeurCorrigeLesListesEtLeDit)
{
    const std::string nuls = R"(100 OXvol_completData::OXvol_completData(...): Non Validé (nrub_chgt == 0)
100 OXvol_completData: Taille non nulle pour le tableau nul m_trub_chgt.
100 OXvol_completData::OXvol_completData(...): Non Validé (npoint == 0)
100 OXvol_completData: Taille non nulle pour le tableau nul m_tpoint.
)";
    const std::string longs =
        R"(100 OXvol_completData: Taille supérieure a la limite max pour le tableau m_trub_chgt.
100 OXvol_completData: Taille supérieure a la limite max pour le tableau m_tpoint.
)";
    CapteurTraces capteur(orix::NTO_NOTABLE);
#define NUL(nom) nullptr,
    for (const int nombre : {0, 3}) {
        const Vol vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) nombre, nullptr, nombre, nullptr);
        EXPECT_EQ(transcrire(capteur), nombre == 0 ? "" : remplir(nuls, {{"...", g_arguments}}));
        EXPECT_EQ(vol.nombre_rub_chgt() + vol.nombre_point(), 0);
    }
    const std::tuple<int, int, std::string> CAS[] = {{6, 10, ""}, {-2, -1, ""}, {7, 11, longs}};
    for (const auto& [nrub, npoint, plaintes] : CAS) {
        auto** const rubs = new OXcci_rub_chgtData*[7];
        auto** const points = new char*[11];
        std::generate(rubs, rubs + 7, [] { return rubChgt("piste"); });
        std::generate(points, points + 11, [] { return OXdupliqueChaine("AGEN"); });
        // What is not kept is not released.
        const int rubsGardes = std::clamp(nrub, 0, 6);
        const int pointsGardes = std::clamp(npoint, 0, 10);
        const std::vector<std::unique_ptr<OXcci_rub_chgtData>> autresRubs(rubs + rubsGardes, rubs + 7);
        const std::vector<std::unique_ptr<char[]>> autresPoints(points + pointsGardes, points + 11);
        const Vol vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) nrub, rubs, npoint, points);
        EXPECT_EQ(transcrire(capteur), plaintes);
        EXPECT_EQ(vol.nombre_rub_chgt(), rubsGardes);
        EXPECT_EQ(vol.nombre_point(), pointsGardes);
    }
#undef NUL
}

TEST(Enregistrement, TracesDeLaVieDUnEnregistrement)
{
    CapteurTraces capteur;
    {
        const Vol vol;
        const Vol copie(vol);
        EXPECT_STREQ(vol.lireNomService(), "cdv");
        EXPECT_THAT(copie.lireVersion(), ElementsAre(orix::OXversion(3, 0, 0, 0)));
        EXPECT_THAT(copie.lireVersionsConnues(), ElementsAre(orix::OXversion(3, 0, 0, 0)));
    }
    EXPECT_EQ(transcrire(capteur),
              remplir(R"(900 VOL::OXvol_completData(...): Entrée Constructeur par defaut (v3.0.0).
900 VOL::OXvol_completData(...): Sortie Constructeur par defaut (v3.0.0).
900 VOL::OXvol_completData(const OXvol_completData&): Entrée.
900 VOL::OXvol_completData(const OXvol_completData&): Sortie.
900 const char* VOL::lireNomService() const: Entrée/Retour cdv
900 std::vector<orix::OXversion> VOL::lireVersion() const: Entrée.
900 std::vector<orix::OXversion> VOL::lireVersion() const: Version(s) 3.0.0.0
900 std::vector<orix::OXversion> VOL::lireVersion() const: Sortie.
900 std::vector<orix::OXversion> VOL::lireVersionsConnues() const: Entrée.
900 std::vector<orix::OXversion> VOL::lireVersionsConnues() const: Version(s) 3.0.0.0
900 std::vector<orix::OXversion> VOL::lireVersionsConnues() const: Sortie.
900 VOL::~OXvol_completData(): Entree.
900 VOL::~OXvol_completData(): Sortie.
900 VOL::~OXvol_completData(): Entree.
900 VOL::~OXvol_completData(): Sortie.
)",
                      {{"VOL", "OXvol_completData"}, {"...", g_arguments}}));

    // The status codes and the changed fields are declared valid with their record.
    const auto vol = volComplet();
    capteur.prendre();
    vol->definirVersionValide_v3_0_0();
    std::string classes;
    for (const orix::LigneTrace& ligne : capteur.prendre())
        classes += ligne.message == "Entrée." ? ligne.fichier + " " : "";
    EXPECT_EQ(classes,
              "OXvol_completData OXcode_statData OXcode_statData OXcci_rub_chgtData OXcci_rub_chgtData ");
}

TEST(Enregistrement, LaCopieEstProfondeOuNEstPas)
{
    auto source = volComplet();
    source->ecrire_gpiste(nullptr);
    const Vol copie(*source);
    pourChaqueAcces([&](auto nom, auto, auto, auto membre, auto, auto) {
        EXPECT_EQ(membre(copie) == membre(*source), nom == "gpiste") << nom;
    });
    // 54 texts, two status codes of two texts, two changed fields of three, three points.
    EXPECT_EQ(chaquePanne([&] { const Vol autre(*source); }), 54 + 2 * 3 + 2 * 4 + 3);
    const std::string avant = ecrit(*source);
    source.reset();
    EXPECT_EQ(ecrit(copie), avant);

    // Nor does it depend on its traces.
    const essais::EcouteTraces refus([](const orix::LigneTrace&) { throw 1; });
    EXPECT_EQ(ecrit(Vol(copie)), avant);
    EXPECT_GT(chaquePanne([&] { const Vol autre(copie); }, true), 100);
}
