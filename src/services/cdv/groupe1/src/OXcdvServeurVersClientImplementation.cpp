#include "OXcdvServeurVersClientImplementation.h"

#include "OXcdvCliCBfoncteur.h"
#include "OXcdvCliItfAdaptateur.h"
#include "VolRecu.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"

#include <cstring>
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

// The signatures are part of the traces: written here, for compilers spell them each in its own way.
#define SIGNATURE(arguments) "virtual void POA_OXcdv_v3_0_0_ServeurVersClientImplementation::" arguments

/// A notification that carries a record.
struct Operation
{
    const char* nom;
    const char* signature;
    bool avecResultat;
    orix::IExecutable* (*creer)(int resultat, OXvol_completData* vol, int idOp);
};

constexpr Operation CREE{
    "cree_vol_complet",
    SIGNATURE("cree_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long)"), true,
    orix::creerOXcdvCliCB_cree_vol_complet};
constexpr Operation MODIFIE{
    "modifie_vol_complet",
    SIGNATURE("modifie_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long)"), true,
    orix::creerOXcdvCliCB_modifie_vol_complet};
constexpr Operation CONSULTE{
    "consulte_vol_complet",
    SIGNATURE("consulte_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long)"), true,
    orix::creerOXcdvCliCB_consulte_vol_complet};
constexpr Operation LISTE{
    "liste_vol_complet", SIGNATURE("liste_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long)"), false,
    [](int, OXvol_completData* vol, int idOp) { return orix::creerOXcdvCliCB_liste_vol_complet(vol, idOp); }};

/// faire: makes the record.
template <class Faire>
void recevoir(const Operation& operation, int resultat, int idOp, Faire faire)
{
    poster(operation.signature, operation.nom, [&] { return operation.creer(resultat, faire(), idOp); });
}

/// The arguments of a notification that carries a record.
struct Notification
{
    const Operation& operation;
    CORBA::Long resultat = 0;
    VolRecu vol = {};
    CORBA::Long idOp = 0;

    void lire(orix::orb::LecteurRequete& lecteur)
    {
        if (operation.avecResultat)
            resultat = lecteur.entier();
        vol.lire(lecteur);
        idOp = lecteur.entier();
    }
};

} // namespace

using Implementation = POA_OXcdv_v3_0_0_ServeurVersClientImplementation;

Implementation::~POA_OXcdv_v3_0_0_ServeurVersClientImplementation() = default;

_CORBA_Boolean Implementation::_servir(omniCallHandle& appel)
{
    for (const Operation* const operation : {&LISTE, &CREE, &MODIFIE, &CONSULTE}) {
        if (std::strcmp(appel.operation_name(), operation->nom) != 0)
            continue;
        Notification recue{*operation};
        orix::orb::servirLue(*this, appel, recue, [&recue] {
            recevoir(recue.operation, recue.resultat, recue.idOp, [&recue] { return recue.vol.faire(); });
        });
        return true;
    }
    return ServantGarde::_servir(appel);
}

void Implementation::cree_vol_complet(CORBA::Long nResuVarda, const OXvol_completData_v3_0_0& p_vol_complet,
                                      CORBA::Long nIdOp)
{
    recevoir(CREE, nResuVarda, nIdOp, [&] { return new OXvol_completData(p_vol_complet); });
}

void Implementation::modifie_vol_complet(CORBA::Long nResuVarda,
                                         const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    recevoir(MODIFIE, nResuVarda, nIdOp, [&] { return new OXvol_completData(p_vol_complet); });
}

void Implementation::supprime_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp)
{
    poster(SIGNATURE("supprime_vol_complet(CORBA::Long, CORBA::Long)"), "supprime_vol_complet",
           [&] { return orix::creerOXcdvCliCB_supprime_vol_complet(nResuVarda, nIdOp); });
}

void Implementation::consulte_vol_complet(CORBA::Long nResuVarda,
                                          const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    recevoir(CONSULTE, nResuVarda, nIdOp, [&] { return new OXvol_completData(p_vol_complet); });
}

void Implementation::liste_vol_complet(const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp)
{
    recevoir(LISTE, 0, nIdOp, [&] { return new OXvol_completData(p_vol_complet); });
}

void Implementation::fin_liste_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp)
{
    poster(SIGNATURE("fin_liste_vol_complet(CORBA::Long, CORBA::Long)"), "fin_liste_vol_complet",
           [&] { return orix::creerOXcdvCliCB_fin_liste_vol_complet(nResuVarda, nIdOp); });
}
