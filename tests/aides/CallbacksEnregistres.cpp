#include "CallbacksEnregistres.h"

#include "OXcdvCliCB.h"
#include "OXvol_completData.h"

namespace essais {

namespace {

Appel resultat(const char* nom, int statut, int idOp)
{
    Appel appel;
    appel.nom = nom;
    appel.statut = statut;
    appel.idOp = idOp;
    return appel;
}

} // namespace

Callbacks& Callbacks::instance()
{
    static Callbacks callbacks;
    return callbacks;
}

void Callbacks::noter(Appel appel, OXvol_completData* vol)
{
    appel.fil = std::this_thread::get_id();
    if (vol != nullptr && vol->m_gidentifiant != nullptr)
        appel.identifiant = vol->m_gidentifiant;
    const bool gardee = garder; // before pendant(), which may let the test go on and change it
    if (pendant)
        pendant(appel, vol);
    if (gardee)
        _appels.poser(std::move(appel));
}

Appel Callbacks::attendre(std::chrono::milliseconds delai)
{
    return _appels.prendre(resultat("rien", -1, -1), delai);
}

Appel Callbacks::attendre(const std::string& nom, std::chrono::milliseconds delai)
{
    const auto fin = std::chrono::steady_clock::now() + delai;
    for (;;) {
        const auto reste = fin - std::chrono::steady_clock::now();
        Appel appel = attendre(std::chrono::duration_cast<std::chrono::milliseconds>(reste));
        if (appel.nom == nom || appel.nom == "rien")
            return appel;
    }
}

} // namespace essais

using essais::Callbacks;
using essais::resultat;

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char* serveur, const char* machine)
{
    essais::Appel appel = resultat("activeCB", statut, -1);
    appel.serveur = serveur;
    appel.machine = machine;
    Callbacks::instance().noter(std::move(appel));
}
void OXcdvCliCB::deconnexionCB(orix::OXstatut statut)
{
    Callbacks::instance().noter(resultat("deconnexionCB", statut, -1));
}
void OXcdvCliCB::cree_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    Callbacks::instance().noter(resultat("cree_vol_completCB", nResuVarda, nIdOp), vol);
}
void OXcdvCliCB::modifie_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    Callbacks::instance().noter(resultat("modifie_vol_completCB", nResuVarda, nIdOp), vol);
}
void OXcdvCliCB::supprime_vol_completCB(int nResuVarda, int nIdOp)
{
    Callbacks::instance().noter(resultat("supprime_vol_completCB", nResuVarda, nIdOp));
}
void OXcdvCliCB::consulte_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp)
{
    Callbacks::instance().noter(resultat("consulte_vol_completCB", nResuVarda, nIdOp), vol);
}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData* vol, int nIdOp)
{
    Callbacks::instance().noter(resultat("liste_vol_completCB", -1, nIdOp), vol);
}
void OXcdvCliCB::fin_liste_vol_completCB(int nResuVarda, int nIdOp)
{
    Callbacks::instance().noter(resultat("fin_liste_vol_completCB", nResuVarda, nIdOp));
}
