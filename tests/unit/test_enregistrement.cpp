// The record as its application sees it: fields, lists, ownership, and the traces of each operation.
#include "OXvol_completData.h"

#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "VolsEssai.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

using essais::CapteurTraces;
using essais::chaquePanne;
using essais::codeStat;
using essais::PanneMemoire;
using essais::rubChgt;
using essais::volComplet;
using orix::OXstatut;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSubsetOf;
using Textes = std::vector<std::string>;
using Vol = OXvol_completData;

namespace {

/// A field, its accessors and a value for it.
template <class T>
struct Champ
{
    std::string nom, type;
    T* Vol::*membre;
    const T* (Vol::*lire)() const;
    const T* (Vol::*lireStatut)(OXstatut&) const;
    void (Vol::*ecrire)(T*);
    void (Vol::*ecrireStatut)(T*, OXstatut&);
    T* (*creer)();
};

template <class Action>
void pourChaque(Action action)
{
#define CHAMP(TYPE, nom, valeur)                                                                             \
    action(Champ<TYPE>{#nom, #TYPE, &Vol::m_##nom, &Vol::lire_##nom, &Vol::lire_##nom, &Vol::ecrire_##nom,   \
                       &Vol::ecrire_##nom, [] { return valeur; }});
#define TEXTE(nom) CHAMP(char, nom, OXdupliqueChaine(#nom))
#define CODE_STAT(nom) CHAMP(OXcode_statData, nom, codeStat(#nom))
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
#undef CHAMP
}

/// A list, its operations and an entry for it.
template <class T>
struct Liste
{
    std::string nom, type;
    int limite;
    bool copie; ///< keeps a copy of what is added
    int (Vol::*nombre)() const;
    int (Vol::*nombreStatut)(OXstatut&) const;
    const T* (Vol::*lire)(int) const;
    const T* (Vol::*lireStatut)(int, OXstatut&) const;
    int (Vol::*ajouter)(T*);
    int (Vol::*ajouterStatut)(T*, OXstatut&);
    T* (*creer)();
};

char g_point[] = "AGEN";

template <class Action>
void pourChaqueListe(Action action)
{
#define LISTE(TYPE, nom, limite, copie, elem)                                                                \
    action(Liste<TYPE>{#nom, #TYPE, limite, copie, &Vol::nombre_##nom, &Vol::nombre_##nom, &Vol::lire_##nom, \
                       &Vol::lire_##nom, &Vol::ajouter_##nom, &Vol::ajouter_##nom, [] { return elem; }});
    LISTE(OXcci_rub_chgtData, rub_chgt, 6, false, rubChgt("piste"))
    LISTE(char, point, 10, true, g_point)
#undef LISTE
}

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
/// What codeStat() and OXdupliqueChaine() were given.
std::string cle(const char* texte) { return texte; }
std::string cle(const OXcode_statData* code) { return code->m_gcode; }

/// "level function: message" of each line of the record's own source so far.
Textes lignes(CapteurTraces& capteur)
{
    Textes textes;
    for (const orix::LigneTrace& ligne : capteur.prendre()) {
        if (ligne.fichier == "OXvol_completData")
            textes.push_back(std::to_string(ligne.niveau) + " " + ligne.fonction + ": " + ligne.message);
    }
    return textes;
}

/// What is written at 100 while the value constructor runs.
Textes plaintesDuConstructeur(int nrub, OXcci_rub_chgtData** rubs, int npoint, char** points, int nrubAttendu,
                              int npointAttendu)
{
    CapteurTraces capteur(orix::NTO_NOTABLE);
#define NUL(nom) nullptr,
    const Vol vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) nrub, rubs, npoint, points);
#undef NUL
    Textes plaintes;
    for (const orix::LigneTrace& ligne : capteur.prendre()) {
        const bool signature =
            ligne.fonction.rfind("OXvol_completData::OXvol_completData(char*, char*, ", 0) == 0;
        EXPECT_TRUE(signature || ligne.fonction == "OXvol_completData") << ligne.fonction;
        plaintes.push_back((signature ? "signature: " : "") + ligne.message);
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
    const auto construit = volComplet();
    Vol vol;
    CapteurTraces capteur;
    pourChaque([&](const auto& champ) {
        EXPECT_EQ(cle((*construit).*champ.membre), champ.nom) << "the constructor's argument went elsewhere";
        const std::string lire = "const " + champ.type + "* OXvol_completData::lire_" + champ.nom;
        const std::string ecrire = "void OXvol_completData::ecrire_" + champ.nom + "(" + champ.type + "*";
        const std::string absent =
            "100 lire_" + champ.nom + ": Sortie invalide, le champ est un pointeur nul.";
        OXstatut statut = orix::OXS_NOK;
        lignes(capteur);
        EXPECT_EQ((vol.*champ.lireStatut)(statut), nullptr);
        EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);
        EXPECT_EQ((vol.*champ.lire)(), nullptr);
        EXPECT_THAT(
            lignes(capteur),
            ElementsAre(absent, "900 " + lire + "() const: Entrée/Sortie, version sans statut", absent));

        auto* const pose = champ.creer();
        (vol.*champ.ecrire)(pose);
        const std::string debut = "700 " + ecrire + ", orix::OXstatut&): ";
        EXPECT_THAT(lignes(capteur),
                    ElementsAre("900 " + ecrire + "): Entrée/Sortie, version sans statut", debut + "Entrée.",
                                debut + "Valeur = " + valeur(pose), debut + "Sortie."));
        EXPECT_EQ((vol.*champ.lireStatut)(statut), pose);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_THAT(lignes(capteur),
                    ElementsAre("900 " + lire + "(orix::OXstatut&) const: Valeur = " + valeur(pose)));
    });
}

TEST(Enregistrement, EcrireRemplaceEtNulEfface)
{
    const auto vol = volComplet();
    pourChaque([&](const auto& champ) {
        const long plein = essais::bilanMemoire();
        ((*vol).*champ.ecrire)(champ.creer());
        ((*vol).*champ.ecrire)((*vol).*champ.membre); // its own: must survive
        EXPECT_EQ(essais::bilanMemoire(), plein) << champ.nom << ": the former value is released once";
        EXPECT_EQ(cle((*vol).*champ.membre), champ.nom);
        OXstatut statut = orix::OXS_NOK;
        ((*vol).*champ.ecrireStatut)(nullptr, statut);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ((*vol).*champ.membre, nullptr);
        EXPECT_LT(essais::bilanMemoire(), plein) << champ.nom;
    });
}

TEST(Enregistrement, ChaqueListeSeRemplitJusquASaLimite)
{
    pourChaqueListe([](const auto& liste) {
        const std::string ajouter = "int OXvol_completData::ajouter_" + liste.nom + "(" + liste.type + "*";
        const std::string ajouterStatut = ajouter + ", orix::OXstatut&): ";
        const std::string lire = "const " + liste.type + "* OXvol_completData::lire_" + liste.nom + "(int";
        const std::string lireStatut = lire + ", orix::OXstatut&) const: ";
        const std::string limite = std::to_string(liste.limite);
        const auto comptage = [&](const std::string& nombre) {
            const std::string compter = "900 int OXvol_completData::nombre_" + liste.nom + "(";
            const std::string statut = compter + "orix::OXstatut&) const: ";
            return Textes{compter + ") const: Entrée/Sortie, version sans statut", statut + "Entrée.",
                          statut + "Taille = " + nombre, statut + "Sortie."};
        };
        Vol vol;
        OXstatut statut = orix::OXS_NOK;
        CapteurTraces capteur;

        auto* const premier = liste.creer();
        EXPECT_EQ((vol.*liste.ajouter)(premier), 1);
        EXPECT_THAT(lignes(capteur), ElementsAre("900 " + ajouter + "): Entrée/Sortie, version sans statut",
                                                 "900 " + ajouterStatut + "elem = " + ecrit<void*>(premier),
                                                 "900 " + ajouterStatut + "Nouvelle taille = 1"));
        const auto* const garde = (vol.*liste.lire)(0);
        EXPECT_EQ(garde != premier, liste.copie);
        EXPECT_THAT(lignes(capteur),
                    ElementsAre("900 " + lire + ") const: Entrée/Sortie, version sans statut.",
                                "900 " + lireStatut + "Index = 0",
                                "900 " + lireStatut + "Resultat = " + valeur(garde)));
        EXPECT_EQ((vol.*liste.nombre)(), 1);
        EXPECT_EQ(lignes(capteur), comptage("1"));

        EXPECT_EQ((vol.*liste.ajouterStatut)(nullptr, statut), -1);
        EXPECT_EQ(statut, orix::OXS_PARAMETRE_INVALIDE);
        EXPECT_EQ(lignes(capteur).back(),
                  "100 ajouter_" + liste.nom + ": Tentative d'ajout d'un pointeur nul.");
        for (int n = 2; n <= liste.limite; ++n)
            EXPECT_EQ((vol.*liste.ajouterStatut)(liste.creer(), statut), n);
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_EQ((vol.*liste.ajouterStatut)(premier, statut), -1) << "taken, it would be released twice";
        EXPECT_EQ(statut, orix::OXS_TABLEAU_DEBORDEMENT);
        EXPECT_EQ(lignes(capteur).back(), "100 " + ajouterStatut + "Sortie sur tableau saturé. Index:" +
                                              limite + " taille:" + limite);

        for (const int index : {liste.limite, -1}) {
            EXPECT_EQ((vol.*liste.lireStatut)(index, statut), nullptr);
            EXPECT_EQ(statut, orix::OXS_TABLEAU_INDEX_INVALIDE);
            Textes attendues = comptage(limite);
            attendues.insert(attendues.begin(), "900 " + lireStatut + "Index = " + std::to_string(index));
            attendues.push_back("100 " + lireStatut + "Données non positionnées a l'index:" +
                                std::to_string(index) + " index maximum: " + limite);
            EXPECT_EQ(lignes(capteur), attendues);
        }
    });
}

TEST(Enregistrement, AucunAccesseurNeDependDeSesTraces)
{
    const auto vol = volComplet();
    vol->ecrire_gpiste(nullptr);
    int pannes = 0;
    pourChaque([&](const auto& champ) {
        SCOPED_TRACE(champ.nom);
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return (v.*champ.lireStatut)(s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return (v.*champ.lire)() != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return (v.*champ.ecrireStatut)(nullptr, s), 0; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return (v.*champ.ecrire)(nullptr), 0; });
    });
    pourChaqueListe([&](const auto& liste) {
        SCOPED_TRACE(liste.nom);
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return (v.*liste.nombre)(); });
        for (const int index : {1, 7})
            pannes += eprouver(
                *vol, [&](Vol& v, OXstatut& s) { return (v.*liste.lireStatut)(index, s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return (v.*liste.ajouterStatut)(nullptr, s); });
    });
    pannes += eprouver(
        *vol, [&](Vol& v, OXstatut& s) { return v.ajouter_point(g_point, s); },
        orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
    EXPECT_GT(pannes, 1000);
}

TEST(Enregistrement, LeConstructeurCorrigeLesListesEtLeDit)
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

TEST(Enregistrement, TracesDeLaVieDUnEnregistrement)
{
    CapteurTraces capteur;
    {
        const Vol vol;
        EXPECT_THAT(capteur.prendreTextes(), ElementsAre("900 Entrée Constructeur par defaut (v3.0.0).",
                                                         "900 Sortie Constructeur par defaut (v3.0.0)."));

        const Vol copie(vol);
        const std::string copier = "900 OXvol_completData::OXvol_completData(const OXvol_completData&): ";
        EXPECT_THAT(lignes(capteur), ElementsAre(copier + "Entrée.", copier + "Sortie."));
        EXPECT_STREQ(vol.lireNomService(), "cdv");
        EXPECT_THAT(
            lignes(capteur),
            ElementsAre("900 const char* OXvol_completData::lireNomService() const: Entrée/Retour cdv"));
        EXPECT_THAT(copie.lireVersion(), ElementsAre(orix::OXversion(3, 0, 0, 0)));
        EXPECT_THAT(copie.lireVersionsConnues(), ElementsAre(orix::OXversion(3, 0, 0, 0)));
        Textes attendues;
        for (const std::string nom : {"lireVersion", "lireVersionsConnues"})
            for (const std::string message : {"Entrée.", "Version(s) 3.0.0.0", "Sortie."})
                attendues.push_back("900 std::vector<orix::OXversion> OXvol_completData::" + nom +
                                    "() const: " + message);
        EXPECT_EQ(lignes(capteur), attendues);
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

TEST(Enregistrement, LaCopieEstProfondeOuNEstPas)
{
    auto source = volComplet();
    source->ecrire_gpiste(nullptr);
    const Vol copie(*source);
    pourChaque([&](const auto& champ) {
        EXPECT_EQ(copie.*champ.membre == (*source).*champ.membre, champ.nom == "gpiste") << champ.nom;
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
