// Deferred calls: who owns what until when, what reaches the callbacks, what is traced.
#include "OXcdvCliCBfoncteur.h"

#include "CallbacksEnregistres.h"
#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "VolsEssai.h"

#include <gmock/gmock.h>

#include <tuple>

using essais::Appel;
using essais::bilanMemoire;
using essais::Callbacks;
using essais::CapteurTraces;
using essais::volComplet;

namespace {

struct Temoin
{
    explicit Temoin(int& destructions) : _destructions(destructions) {}
    ~Temoin() { ++_destructions; }

    int& _destructions;
};

/// Runs the call and destroys it, as an executor does; gives what the application received.
Appel executer(orix::IExecutable* appel)
{
    const std::unique_ptr<orix::IExecutable> executable(appel);
    executable->executer();
    return Callbacks::instance().attendre();
}

OXvol_completData* vol(const char* identifiant)
{
    auto* const vol = new OXvol_completData;
    vol->ecrire_gidentifiant(OXdupliqueChaine(identifiant));
    return vol;
}

} // namespace

TEST(PointeursProprietaires, UneCopiePrendLaPropriete)
{
    int destructions = 0;
    Temoin* const objet = new Temoin(destructions);
    {
        const orix::SmartPtr<Temoin> premier = orix::GetSmartPtr(objet);
        {
            const orix::SmartPtr<Temoin> deuxieme(premier);
            const orix::SmartPtr<Temoin> troisieme(deuxieme);
            EXPECT_EQ(static_cast<Temoin*>(troisieme), objet);
            const orix::SmartPtr<Temoin> tiree(premier); // from one that owns nothing any more
            EXPECT_EQ(destructions, 0);
        }
        EXPECT_EQ(destructions, 1);
        EXPECT_EQ(static_cast<Temoin*>(premier), objet) << "still answers its pointer";
    }
    EXPECT_EQ(destructions, 1);

    const std::unique_ptr<Temoin> rendu(orix::SmartPtr<Temoin>(new Temoin(destructions)).release());
    EXPECT_EQ(destructions, 1);
    EXPECT_EQ(static_cast<Temoin*>(orix::SmartPtr<Temoin>(nullptr)), nullptr);
}

TEST(PointeursProprietaires, UnTableauEstRendEntier)
{
    int destructions = 0;
    {
        const auto tableau = orix::GetSmartTab(new Temoin[2]{Temoin(destructions), Temoin(destructions)});
        const auto copie = tableau;
    }
    EXPECT_EQ(destructions, 2);
    const orix::SmartTab<const char> texte(OXdupliqueChaine("cdv"));
    EXPECT_STREQ(texte, "cdv");
}

TEST(Foncteurs, ChaqueCallbackRecoitSesArgumentsPuisToutEstRendu)
{
    Callbacks::instance().attendre(std::chrono::milliseconds(0)); // what the first use keeps
    const long avant = bilanMemoire();
    {
        using Creer = orix::IExecutable* (*)(int, OXvol_completData*, int);
        const std::pair<const char*, Creer> operations[] = {
            {"cree_vol_completCB", &orix::creerOXcdvCliCB_cree_vol_complet},
            {"modifie_vol_completCB", &orix::creerOXcdvCliCB_modifie_vol_complet},
            {"consulte_vol_completCB", &orix::creerOXcdvCliCB_consulte_vol_complet}};
        for (const auto& [nom, creer] : operations) {
            const Appel appel = executer(creer(3, vol("AF1234"), 42));
            EXPECT_EQ(appel.nom, nom);
            EXPECT_EQ(appel.statut, 3);
            EXPECT_EQ(appel.identifiant, "AF1234");
            EXPECT_EQ(appel.idOp, 42);
            EXPECT_FALSE(executer(creer(2, nullptr, 1)).identifiant) << "a null record goes as null";
        }

        const std::tuple<orix::IExecutable*, const char*, int, int> autres[] = {
            {orix::creerOXcdvCliCB_liste_vol_complet(vol("AF1234"), 42), "liste_vol_completCB", -1, 42},
            {orix::creerOXcdvCliCB_supprime_vol_complet(2, 43), "supprime_vol_completCB", 2, 43},
            {orix::creerOXcdvCliCB_fin_liste_vol_complet(0, 44), "fin_liste_vol_completCB", 0, 44},
            {::creerOXcdvCliCB_deconnexion(orix::OXS_ECHEC_PING), "deconnexionCB", orix::OXS_ECHEC_PING, -1}};
        for (const auto& [executable, nom, statut, idOp] : autres) {
            const Appel appel = executer(executable);
            EXPECT_EQ(appel.nom, nom);
            EXPECT_EQ(appel.statut, statut);
            EXPECT_EQ(appel.idOp, idOp);
        }
        const Appel active = executer(::creerOXcdvCliCB_active(orix::OXS_OK, OXdupliqueChaine("serveur_1"),
                                                               OXdupliqueChaine("machine_1")));
        EXPECT_EQ(active.nom, "activeCB");
        EXPECT_EQ(active.serveur, "serveur_1");
        EXPECT_EQ(active.machine, "machine_1");
    }
    EXPECT_EQ(bilanMemoire(), avant);
}

TEST(Foncteurs, UnAppelJamaisExecuteOuImpossibleRendSesArguments)
{
    const long avant = bilanMemoire();
    delete orix::creerOXcdvCliCB_cree_vol_complet(0, vol("AF1234"), 1);
    delete orix::creerOXcdvCliCB_active(orix::OXS_NOK, OXdupliqueChaine("s"), OXdupliqueChaine("m"));
    {
        const char* const serveur = OXdupliqueChaine("s");
        const char* const machine = OXdupliqueChaine("m");
        const essais::PanneMemoire panne(1);
        EXPECT_THROW(orix::creerOXcdvCliCB_active(orix::OXS_OK, serveur, machine), std::bad_alloc);
    }
    EXPECT_EQ(bilanMemoire(), avant);
}

TEST(Foncteurs, SeulsCeuxDeTroisArgumentsTracent)
{
    using Foncteur = orix::FoncteurExecutable3<void (*)(int, OXvol_completData*, int), int,
                                               orix::SmartPtr<OXvol_completData>, int>;
    const std::string classe = "orix::FoncteurExecutable3<P, T1, T2, T3>";
    const std::string types = "SmartPtr<OXvol_completData>; T3 = int]";
    CapteurTraces capteur(orix::NTO_PROGRES);
    orix::IExecutable* const appel = orix::creerOXcdvCliCB_modifie_vol_complet(0, nullptr, 1);
    delete appel;
    const std::vector<orix::LigneTrace> lignes = capteur.prendre();
    ASSERT_EQ(lignes.size(), 3u);
    for (const orix::LigneTrace& ligne : lignes) {
        EXPECT_EQ(ligne.niveau, 700);
        EXPECT_EQ(ligne.fichier, "Executable");
        EXPECT_NE(ligne.fonction.find(types), std::string::npos) << ligne.fonction;
    }
    EXPECT_EQ(lignes[0].message, "sizeof = " + std::to_string(sizeof(Foncteur)));
    EXPECT_EQ(lignes[0].fonction.rfind(classe + "* orix::creerFoncteurExecutable(P, T1, T2, T3) ", 0), 0u);
    EXPECT_EQ(lignes[1].message, "Entrée/Sortie.");
    EXPECT_EQ(lignes[1].fonction.rfind(classe + "::FoncteurExecutable3(P, T1, T2, T3) ", 0), 0u);
    EXPECT_EQ(lignes[2].message, "Entrée/Sortie.");
    EXPECT_EQ(lignes[2].fonction.rfind(classe + "::~FoncteurExecutable3() ", 0), 0u);

    delete orix::creerOXcdvCliCB_liste_vol_complet(nullptr, 1);
    delete orix::creerOXcdvCliCB_supprime_vol_complet(0, 1);
    delete orix::creerOXcdvCliCB_deconnexion(orix::OXS_OK);
    EXPECT_TRUE(capteur.prendre().empty());
}
