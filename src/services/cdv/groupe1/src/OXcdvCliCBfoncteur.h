#ifndef OXCDVCLICBFONCTEUR_H
#define OXCDVCLICBFONCTEUR_H

#include "OXcdvCliCB.h"
#include "OXvol_completData.h"

#include "Executable.h"
#include "SmartPtr.h"

/// One maker of a deferred call for each callback of the application, with the callback's own arguments. A
/// record and strings (from array new) belong to the call from here on, also when std::bad_alloc is thrown.
namespace orix {

inline IExecutable* creerOXcdvCliCB_active(OXstatut statut, const char* serveur, const char* machine)
{
    return creerFoncteurExecutable(&OXcdvCliCB::activeCB, statut, GetSmartTab(serveur), GetSmartTab(machine));
}

inline IExecutable* creerOXcdvCliCB_deconnexion(OXstatut statut)
{
    return creerFoncteurExecutable(&OXcdvCliCB::deconnexionCB, statut);
}

inline IExecutable* creerOXcdvCliCB_cree_vol_complet(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::cree_vol_completCB, nResuVarda, GetSmartPtr(vol), nIdOp);
}

inline IExecutable* creerOXcdvCliCB_modifie_vol_complet(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::modifie_vol_completCB, nResuVarda, GetSmartPtr(vol), nIdOp);
}

inline IExecutable* creerOXcdvCliCB_supprime_vol_complet(int nResuVarda, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::supprime_vol_completCB, nResuVarda, nIdOp);
}

inline IExecutable* creerOXcdvCliCB_consulte_vol_complet(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::consulte_vol_completCB, nResuVarda, GetSmartPtr(vol), nIdOp);
}

inline IExecutable* creerOXcdvCliCB_liste_vol_complet(OXvol_completData* vol, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::liste_vol_completCB, GetSmartPtr(vol), nIdOp);
}

inline IExecutable* creerOXcdvCliCB_fin_liste_vol_complet(int nResuVarda, int nIdOp)
{
    return creerFoncteurExecutable(&OXcdvCliCB::fin_liste_vol_completCB, nResuVarda, nIdOp);
}

} // namespace orix

// Reachable unqualified too, as the callbacks are.
using orix::creerOXcdvCliCB_active;
using orix::creerOXcdvCliCB_consulte_vol_complet;
using orix::creerOXcdvCliCB_cree_vol_complet;
using orix::creerOXcdvCliCB_deconnexion;
using orix::creerOXcdvCliCB_fin_liste_vol_complet;
using orix::creerOXcdvCliCB_liste_vol_complet;
using orix::creerOXcdvCliCB_modifie_vol_complet;
using orix::creerOXcdvCliCB_supprime_vol_complet;

#endif
