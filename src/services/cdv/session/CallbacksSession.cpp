// The application's side of the callbacks, on behalf of the session that is open. One that comes when none
// is, or for a session that was closed meanwhile, has no effect.
#include "ClientService.h"
#include "MoteurSession.h"
#include "OXcdvCliCB.h"
#include "RappelsProcessus.h"
#include "orix/TexteSur.h"

#include <dlfcn.h>

using cdv::ClientService;
using cdv::Genre;
using cdv::MoteurSession;

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char* serveur, const char* machine)
{
    MoteurSession::activeCB(statut, serveur, machine);
}

void OXcdvCliCB::deconnexionCB(orix::OXstatut statut)
{
    if (const auto moteur = ClientService::unique().moteur())
        moteur->deconnexionCB(statut);
}

namespace {
void repondre(Genre genre, int code, OXvol_completData* vol, int idOp)
{
    if (const auto moteur = ClientService::unique().moteur())
        moteur->reponseCB(genre, code, vol, idOp);
}
} // namespace

void OXcdvCliCB::cree_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    repondre(Genre::creer, nResuVarda, vol, nIdOp);
}

void OXcdvCliCB::modifie_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    repondre(Genre::modifier, nResuVarda, vol, nIdOp);
}

void OXcdvCliCB::supprime_vol_completCB(int nResuVarda, int nIdOp)
{
    repondre(Genre::supprimer, nResuVarda, nullptr, nIdOp);
}

void OXcdvCliCB::consulte_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    repondre(Genre::consulter, nResuVarda, vol, nIdOp);
}

void OXcdvCliCB::liste_vol_completCB(OXvol_completData* vol, int nIdOp)
{
    if (const auto moteur = ClientService::unique().moteur())
        moteur->volListeCB(vol, nIdOp);
}

void OXcdvCliCB::fin_liste_vol_completCB(int nResuVarda, int nIdOp)
{
    repondre(Genre::lister, nResuVarda, nullptr, nIdOp);
}

namespace {
/// The file of the process that holds that address.
Dl_info fichierDe(const void* adresse) noexcept
{
    Dl_info fichier{};
    dladdr(adresse, &fichier);
    return fichier;
}
} // namespace

void cdv::exigerRappels()
{
    static const char ici = 0;
    for (const void* const rappel : orix::lireRappelsOXcdvCliCB()) {
        const Dl_info fichier = fichierDe(rappel);
        if (fichier.dli_fbase != fichierDe(&ici).dli_fbase)
            throw Erreur(
                orix::OXS_NOK,
                orix::texteSur(fichier.dli_fname != nullptr ? fichier.dli_fname : "another file") +
                    " defines callbacks (OXcdvCliCB), which hide those of the sessions: a program uses "
                    "sessions, or callbacks of its own (then cdv::Vol comes from libOXcdvVol)");
    }
}
