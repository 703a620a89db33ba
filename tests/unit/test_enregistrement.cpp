// The record as its application sees it: fields, lists, ownership, and the traces of each operation.

#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "Transcription.h"
#include "VolsEssai.h"

#include <regex>

using namespace essais;
using orix::OXstatut;
using testing::IsSubsetOf;
using Textes = std::vector<std::string>;
using Vol = OXvol_completData;

namespace {

#define APPEL(operation)                                                                                     \
    [](auto& vol, auto&&... arguments) -> decltype(auto) { return vol.operation(arguments...); }

/// Calls action for each field: its name, what makes a value for it, its member and its accessors.
template <class Action>
void pourChaqueAcces(Action action)
{
#define CHAMP(nom, valeur)                                                                                   \
    action(                                                                                                  \
        std::string(#nom), [] { return valeur; }, [](auto& vol) -> auto& { return vol.m_##nom; },            \
        APPEL(lire_##nom), APPEL(ecrire_##nom));
#define TEXTE(nom) CHAMP(nom, OXdupliqueChaine(#nom))
#define CODE_STAT(nom) CHAMP(nom, codeStat(#nom))
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
#undef CHAMP
}

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
#undef LISTE
}

template <class T>
std::string ecrit(const T& objet)
{
    std::ostringstream flux;
    flux << objet;
    return flux.str();
}

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
            texte += std::regex_replace(std::to_string(ligne.niveau) + " " + ligne.fichier + " " +
                                            ligne.fonction + ": " + ligne.message + "\n",
                                        std::regex("0x[0-9a-f]+"), "0x...");
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
    essais::comparerTranscription("unit/enregistrement.txt", texte);
}

TEST(Enregistrement, ChaqueChampSeLitEtSEcritSousSonNom)
{
    const std::string construit = ecrit(*volComplet());
    const long avant = essais::bilanMemoire();
    {
        Vol vol;
        pourChaqueAcces([&](auto nom, auto creer, auto membre, auto lire, auto ecrire) {
            EXPECT_NE(construit.find(nom + ">"), std::string::npos)
                << "the constructor's argument went elsewhere";
            OXstatut statut = orix::OXS_NOK;
            EXPECT_EQ(lire(vol, statut), nullptr);
            EXPECT_EQ(statut, orix::OXS_CHAMP_NON_INITIALISE);
            ecrire(vol, creer());
            ecrire(vol, creer());
            ecrire(vol, membre(vol)); // its own: must survive
            EXPECT_NE(ecrit(vol).find(nom + ">"), std::string::npos);
            EXPECT_EQ(lire(vol, statut), membre(vol));
            EXPECT_EQ(statut, orix::OXS_OK);
            ecrire(vol, nullptr);
            EXPECT_EQ(lire(vol), nullptr);
        });
    }
    EXPECT_EQ(essais::bilanMemoire(), avant) << "each value is released once";
}

TEST(Enregistrement, AucunAccesseurNeDependDeSesTraces)
{
    const auto vol = volComplet();
    vol->ecrire_gpiste(nullptr);
    int pannes = 0;
    pourChaqueAcces([&](auto nom, auto, auto, auto lire, auto ecrire) {
        SCOPED_TRACE(nom);
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return lire(v, s) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return lire(v) != nullptr; });
        pannes += eprouver(*vol, [&](Vol& v, OXstatut& s) { return ecrire(v, nullptr, s), 0; });
        pannes += eprouver(*vol, [&](Vol& v, auto&) { return ecrire(v, nullptr), 0; });
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
    pourChaqueAcces([&](auto nom, auto, auto membre, auto, auto) {
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
