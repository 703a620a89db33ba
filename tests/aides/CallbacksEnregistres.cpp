#include "CallbacksEnregistres.h"

#include "OXcdvCliCB.h"

namespace {
void noter(const essais::Appel& appel, OXvol_completData* vol = nullptr)
{
    essais::Callbacks::instance().noter(appel, vol);
}
} // namespace

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char* serveur, const char* machine)
{
    essais::Appel appel("activeCB", statut);
    appel.serveur = serveur;
    appel.machine = machine;
    noter(appel);
}
void OXcdvCliCB::deconnexionCB(orix::OXstatut statut) { noter({"deconnexionCB", statut}); }
void OXcdvCliCB::cree_vol_completCB(int resultat, OXvol_completData* vol, int idOp)
{
    noter({"cree_vol_completCB", resultat, idOp}, vol);
}
void OXcdvCliCB::modifie_vol_completCB(int resultat, OXvol_completData* vol, int idOp)
{
    noter({"modifie_vol_completCB", resultat, idOp}, vol);
}
void OXcdvCliCB::supprime_vol_completCB(int resultat, int idOp)
{
    noter({"supprime_vol_completCB", resultat, idOp});
}
void OXcdvCliCB::consulte_vol_completCB(int resultat, OXvol_completData* vol, int idOp)
{
    noter({"consulte_vol_completCB", resultat, idOp}, vol);
}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData* vol, int idOp)
{
    noter({"liste_vol_completCB", -1, idOp}, vol);
}
void OXcdvCliCB::fin_liste_vol_completCB(int resultat, int idOp)
{
    noter({"fin_liste_vol_completCB", resultat, idOp});
}
