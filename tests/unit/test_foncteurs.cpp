// Deferred calls: who owns what until when, what reaches the callbacks, what is traced.
#include "OXcdvCliCBfoncteur.h"

#include "CallbacksEnregistres.h"
#include "CapteurTraces.h"
#include "PanneMemoire.h"
#include "Transcription.h"
#include "VolNomme.h"

TEST(Foncteurs, ChaqueAppelRendSesArgumentsUneFois)
{
    essais::Callbacks& callbacks = essais::Callbacks::instance();
    callbacks.garder = false;
    const long avant = essais::bilanMemoire();
    for (const bool execute : {true, false})
        for (orix::IExecutable* const appel :
             {orix::creerOXcdvCliCB_cree_vol_complet(0, essais::vol("AF1234").release(), 1),
              orix::creerOXcdvCliCB_liste_vol_complet(essais::vol("AF1234").release(), 1),
              orix::creerOXcdvCliCB_active(orix::OXS_OK, OXdupliqueChaine("s"), OXdupliqueChaine("m"))}) {
            if (execute)
                appel->executer();
            delete appel;
        }
    {
        const char* const serveur = OXdupliqueChaine("s");
        const char* const machine = OXdupliqueChaine("m");
        const essais::PanneMemoire panne(1);
        EXPECT_THROW(orix::creerOXcdvCliCB_active(orix::OXS_OK, serveur, machine), std::bad_alloc);
    }
    {
        const orix::SmartPtr<int> premier = orix::GetSmartPtr(new int(7));
        const orix::SmartPtr<int> deuxieme(premier);
        const orix::SmartPtr<int> tiree(premier); // from one that owns nothing any more
        EXPECT_EQ(*premier, 7) << "still answers its pointer";
        const auto tableau = orix::GetSmartTab(OXdupliqueChaine("cdv"));
        const auto copie = tableau;
        delete orix::SmartPtr<int>(new int).release();
    }
    EXPECT_EQ(essais::bilanMemoire(), avant);
}

TEST(Foncteurs, SeulsCeuxDeTroisArgumentsTracent)
{
    using Foncteur = orix::FoncteurExecutable3<void (*)(int, OXvol_completData*, int), int,
                                               orix::SmartPtr<OXvol_completData>, int>;
    essais::CapteurTraces capteur(orix::NTO_PROGRES);
    for (orix::IExecutable* const appel : {orix::creerOXcdvCliCB_modifie_vol_complet(0, nullptr, 1),
                                           orix::creerOXcdvCliCB_deconnexion(orix::OXS_OK),
                                           orix::creerOXcdvCliCB_liste_vol_complet(nullptr, 1),
                                           orix::creerOXcdvCliCB_supprime_vol_complet(0, 1)})
        delete appel;
    std::string texte;
    for (const orix::LigneTrace& ligne : capteur.prendre())
        texte += std::to_string(ligne.niveau) + " " + ligne.fichier + " " + ligne.fonction + ": " +
                 ligne.message + "\n";
    const std::string taille = "sizeof = " + std::to_string(sizeof(Foncteur));
    ASSERT_NE(texte.find(taille), std::string::npos) << texte;
    essais::comparerTranscription("unit/foncteurs.txt",
                                  texte.replace(texte.find(taille), taille.size(), "sizeof"));
}
