// The record as its application sees it: fields, lists, ownership, and the traces of each operation.

#include "CapteurTraces.h"
#include "Masque.h"
#include "PanneMemoire.h"
#include "Transcription.h"
#include "VolsEssai.h"

using namespace essais;
using orix::OXstatut;
using testing::IsSubsetOf;
using Textes = std::vector<std::string>;
using Vol = OXvol_completData;

namespace {

/// A field and its accessors. A table of them, for compilers that add checks take minutes over generated
/// calls.
template <class T>
struct Champ
{
    std::string nom;
    T* (*faire)(const char*);
    T* Vol::*place;
    const T* (Vol::*lectureSeule)() const;
    const T* (Vol::*lecture)(OXstatut&) const;
    void (Vol::*ecritureSeule)(T*);
    void (Vol::*ecriture)(T*, OXstatut&);

    T* creer() const { return faire(nom.c_str()); }
    const T* lire(const Vol& vol) const { return (vol.*lectureSeule)(); }
    const T* lire(const Vol& vol, OXstatut& statut) const { return (vol.*lecture)(statut); }
    void ecrire(Vol& vol, T* valeur) const { (vol.*ecritureSeule)(valeur); }
    void ecrire(Vol& vol, T* valeur, OXstatut& statut) const { (vol.*ecriture)(valeur, statut); }
};

#define RIEN(nom)
#define CHAMP(nom, faire)                                                                                    \
    {#nom, faire, &Vol::m_##nom, &Vol::lire_##nom, &Vol::lire_##nom, &Vol::ecrire_##nom, &Vol::ecrire_##nom},
#define TEXTE(nom) CHAMP(nom, OXdupliqueChaine)
#define CODE_STAT(nom) CHAMP(nom, codeStat)
const Champ<char> TEXTES[] = {OXVOL_COMPLET_CHAMPS(TEXTE, RIEN)};
const Champ<OXcode_statData> CODES_STAT[] = {OXVOL_COMPLET_CHAMPS(RIEN, CODE_STAT)};

template <class Action>
void pourChaqueAcces(Action action)
{
    for (const auto& champ : TEXTES)
        action(champ);
    for (const auto& champ : CODES_STAT)
        action(champ);
}

#define APPEL(operation)                                                                                     \
    [](auto& vol, auto&&... arguments) -> decltype(auto) { return vol.operation(arguments...); }

char g_point[] = "AGEN";

/// Calls action for each list: its name, its limit, what makes an entry, its operations.
template <class Action>
void pourChaqueListe(Action action)
{
#define LISTE(nom, limite, elem)                                                                             \
    action(                                                                                                  \
        std::string(#nom), limite, [] { return elem; }, APPEL(nombre_##nom), APPEL(lire_##nom),              \
        APPEL(ajouter_##nom));
    LISTE(rub_chgt, 6, rubChgt("piste"))
    LISTE(point, 10, g_point)
}

std::string ecrit(const Vol& vol) { return testing::PrintToString(vol); }

/// "level function: message" of each line of the record's own source so far.
Textes lignes(CapteurTraces& capteur) { return capteur.prendreLignes("OXvol_completData"); }

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

// Every line that one field of each kind, each list and the record itself trace, and every status.
TEST(Enregistrement, Transcription)
{
    std::string texte;
    OXstatut statut = orix::OXS_NOK;
    CapteurTraces capteur;
    const auto scene = [&](const char* titre) {
        texte += std::string("# ") + titre + ", " + orix::texteStatut(statut) + "\n";
        for (const orix::LigneTrace& ligne : capteur.prendre())
            texte += std::to_string(ligne.niveau) + " " + ligne.fichier + " " + ligne.fonction + ": " +
                     ligne.message + "\n";
    };
    {
        Vol vol;
        scene("construction");
        vol.lire_gpiste(statut), vol.lire_gpiste();
        scene("reading of a text that is not set");
        vol.ecrire_gpiste(OXdupliqueChaine("14L")), vol.lire_gpiste(statut);
        scene("a text");
        vol.lire_pcode_stat_depart(statut), vol.ecrire_pcode_stat_depart(codeStat("OUV"), statut);
        vol.lire_pcode_stat_depart();
        scene("a status code");
        pourChaqueListe([&](auto, int limite, auto creer, auto nombre, auto lire, auto ajouter) {
            ajouter(vol, nullptr, statut);
            scene("a list, null entry");
            capteur.prendre();
            while (ajouter(vol, creer(), statut) < limite)
                capteur.prendre();
            scene("last entry");
            auto* const enTrop = creer();
            ajouter(vol, enTrop, statut);
            if constexpr (std::is_same_v<decltype(enTrop), OXcci_rub_chgtData* const>)
                delete enTrop; // it was refused; a point is copied
            scene("one too many");
            EXPECT_EQ(nombre(vol), limite);
            nombre(vol), lire(vol, 0), lire(vol, limite, statut);
            scene("looks");
            EXPECT_EQ(lire(vol, -1, statut), nullptr);
            scene("before the first");
        });
    }
    capteur.prendre();
#define NUL(nom) nullptr,
    Vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) 3, nullptr, 3, nullptr);
    scene("construction, lists of nothing");
#undef NUL
    const auto vol = volComplet();
    capteur.prendre();
    vol->definirVersionValide_v3_0_0();
    scene("declared valid");
    Vol(*vol).lireNomService(), vol->lireVersion(), vol->lireVersionsConnues();
    scene("copy, name and versions");
    essais::comparerTranscription("unit/enregistrement.txt", masquer(texte, "0x[0-9a-f]+", "0x..."));
}

TEST(Enregistrement, ChaqueChampSeLitEtSEcritSousSonNom)
{
    const std::string construit = ecrit(*volComplet());
    const long avant = essais::bilanMemoire();
    {
        Vol vol;
        pourChaqueAcces([&](const auto& champ) {
            EXPECT_NE(construit.find(champ.nom + ">"), std::string::npos)
                << "the constructor's argument went elsewhere";
            OXstatut statut = orix::OXS_NOK;
            EXPECT_EQ(champ.lire(vol, statut), nullptr);
            EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);
            champ.ecrire(vol, champ.creer());
            champ.ecrire(vol, champ.creer());
            champ.ecrire(vol, vol.*champ.place); // its own: must survive
            EXPECT_NE(ecrit(vol).find(champ.nom + ">"), std::string::npos);
            EXPECT_EQ(champ.lire(vol, statut), vol.*champ.place);
            EXPECT_EQ(statut, orix::OXS_OK);
            champ.ecrire(vol, nullptr);
            EXPECT_EQ(champ.lire(vol), nullptr);
        });
    }
    EXPECT_EQ(essais::bilanMemoire(), avant) << "each value is released once";
}

TEST(Enregistrement, AucunAccesseurNeDependDeSesTraces)
{
    const auto vol = volComplet();
    vol->ecrire_gpiste(nullptr);
    int pannes = 0;
    pourChaqueAcces([&](const auto& champ) {
        SCOPED_TRACE(champ.nom);
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return champ.lire(v, s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return champ.lire(v) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return champ.ecrire(v, nullptr, s), 0; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return champ.ecrire(v, nullptr), 0; });
    });
    pourChaqueListe([&](auto nom, auto, auto, auto nombre, auto lire, auto ajouter) {
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
    const Textes longs{
        "100 OXvol_completData: Taille supérieure a la limite max pour le tableau m_trub_chgt.",
        "100 OXvol_completData: Taille supérieure a la limite max pour le tableau m_tpoint."};
    CapteurTraces capteur(orix::NTO_NOTABLE);
    const std::tuple<int, int, Textes> CAS[] = {{6, 10, {}}, {-2, -1, {}}, {7, 11, longs}};
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
#define NUL(nom) nullptr,
        const Vol vol(OXVOL_COMPLET_CHAMPS(NUL, NUL) nrub, rubs, npoint, points);
#undef NUL
        EXPECT_EQ(lignes(capteur), plaintes);
        EXPECT_EQ(vol.nombre_rub_chgt(), rubsGardes);
        EXPECT_EQ(vol.nombre_point(), pointsGardes);
    }
}

TEST(Enregistrement, LaCopieEstProfondeOuNEstPas)
{
    auto source = volComplet();
    source->ecrire_gpiste(nullptr);
    const Vol copie(*source);
    pourChaqueAcces([&](const auto& champ) {
        EXPECT_EQ(copie.*champ.place == (*source).*champ.place, champ.nom == "gpiste") << champ.nom;
    });
    // One block, and one for the texts of each status code and changed field.
    EXPECT_EQ(chaquePanne([&] { const Vol autre(*source); }), 1 + 2 + 2);
    const std::string avant = ecrit(*source);
    source.reset();
    EXPECT_EQ(ecrit(copie), avant);

    // Nor does it depend on its traces.
    const essais::EcouteTraces refus([](const orix::LigneTrace&) { throw 1; });
    EXPECT_EQ(ecrit(Vol(copie)), avant);
    EXPECT_GT(chaquePanne([&] { const Vol autre(copie); }, true), 50);
}

// What stands in the block of a copy is written over, given back and cleared like what does not.
TEST(Enregistrement, UneCopieSEcritCommeUnAutre)
{
    const auto source = volComplet();
    const long avant = essais::bilanMemoire();
    for (const bool vide : {true, false}) {
        Vol copie(*source);
        pourChaqueAcces([&](const auto& champ) {
            champ.ecrire(copie, copie.*champ.place); // its own: must survive
            if (copie.*champ.place != nullptr && !vide)
                champ.ecrire(copie, champ.creer());
        });
        EXPECT_EQ(ecrit(copie), ecrit(*source));
        auto& code = *copie.m_pcode_stat_depart;
        code.ecrire_glibelle(code.m_glibelle);
        code.ecrire_gcode(OXdupliqueChaine("RTD"));
        EXPECT_STREQ(Vol(copie).m_pcode_stat_depart->m_gcode, "RTD");
        if (vide)
            pourChaqueAcces([&](const auto& champ) { champ.ecrire(copie, nullptr); });
        copie.ajouter_rub_chgt(rubChgt("parking"));
        copie.ajouter_point(g_point);
        EXPECT_EQ(copie.m_gpiste == nullptr, vide);
        EXPECT_EQ(ecrit(Vol(copie)), ecrit(copie)); // of both kinds at once
    }
    EXPECT_EQ(essais::bilanMemoire(), avant) << "each value is released once";
}
