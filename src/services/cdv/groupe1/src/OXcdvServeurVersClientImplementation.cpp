#include "OXcdvServeurVersClientImplementation.h"

#include "OXcdvCliCBfoncteur.h"
#include "OXcdvCliItfAdaptateur.h"
#include "VueVolComplet.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"

#include <new>

namespace {

constexpr const char* FICHIER = "OXcdvServeurVersClientImplementation";

#define SIGNALER(operation, texte) ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, FICHIER, operation, texte)

/// What every notification does: hands the deferred call, made by creer, to the executor, and gives the ORB
/// its thread back.
template <class Creer>
void poster(const char* signature, const char* operation, Creer creer)
{
    ORIX_TRACE(orix::NTO_PROGRES, FICHIER, signature, "Entrée. (callback ORIX de réception de message)");
    // A notification that comes during or after the end of the adapter must not bring another into being.
    const auto* const adaptateur = orix::Singleton<orix::OXcdvCliItfAdaptateur>::lireExistante();
    if (adaptateur == nullptr || !adaptateur->estActive())
        return;
    try {
        ORIX_TRACE(orix::NTO_NOTABLE, FICHIER, operation,
                   "Creation de l'objet OXcdvCliCB::" << operation << "CB.");
        orix::objetCB()->posterExecutable(1, "cdv", creer());
    } catch (const orix::Echec& e) {
        SIGNALER(operation, "Exception Echec, code = " << orix::codeEtTexte(e.lireCode()));
    } catch (const std::bad_alloc&) {
        SIGNALER(operation, "Probleme d'allocation memoire lors de la reception d'un message");
    } catch (...) {
        SIGNALER(operation, "Exception non prevue lors de l'appel d'un callback applicatif.");
    }
    ORIX_TRACE_SANS_ECHEC(orix::NTO_PROGRES, FICHIER, signature, "Sortie après traitements applicatifs.");
}

} // namespace

using Implementation = POA_OXcdv_v3_0_0_ServeurVersClientImplementation;

Implementation::~POA_OXcdv_v3_0_0_ServeurVersClientImplementation() = default;

void Implementation::cree_vol_complet(CORBA::Long nResuVarda, const OXvol_completData_v3_0_0& p_vol_complet,
                                      CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "cree_vol_complet", [&] {
        return orix::creerOXcdvCliCB_cree_vol_complet(nResuVarda, new OXvol_completData(p_vol_complet),
                                                      nIdOp);
    });
}

void Implementation::modifie_vol_complet(CORBA::Long nResuVarda,
                                         const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "modifie_vol_complet", [&] {
        return orix::creerOXcdvCliCB_modifie_vol_complet(nResuVarda, new OXvol_completData(p_vol_complet),
                                                         nIdOp);
    });
}

void Implementation::supprime_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "supprime_vol_complet",
           [&] { return orix::creerOXcdvCliCB_supprime_vol_complet(nResuVarda, nIdOp); });
}

void Implementation::consulte_vol_complet(CORBA::Long nResuVarda,
                                          const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "consulte_vol_complet", [&] {
        return orix::creerOXcdvCliCB_consulte_vol_complet(nResuVarda, new OXvol_completData(p_vol_complet),
                                                          nIdOp);
    });
}

void Implementation::liste_vol_complet(const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "liste_vol_complet", [&] {
        return orix::creerOXcdvCliCB_liste_vol_complet(new OXvol_completData(p_vol_complet), nIdOp);
    });
}

void Implementation::fin_liste_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp)
{
    poster(__PRETTY_FUNCTION__, "fin_liste_vol_complet",
           [&] { return orix::creerOXcdvCliCB_fin_liste_vol_complet(nResuVarda, nIdOp); });
}
