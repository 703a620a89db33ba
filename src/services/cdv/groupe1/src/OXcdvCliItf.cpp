#include "OXcdvCliItf.h"

#include "LiaisonORB.h"
#include "OXcdvCliDoublure.h"
#include "OXcdvCliItfAdaptateur.h"

#include <new>

using namespace orix;

namespace {

#define TRACER(niveau, fonction, texte) ORIX_TRACE(niveau, "OXcdvCliItf", fonction, texte)

struct Fonction
{
    const char* signature;
    const char* nom;
    bool attrapeCORBA = false;
    const char* nomService = nullptr; ///< shown by the entry trace when there is one
};

/// A trace of the handlers: it may fail for the very reason that it is to tell.
template <class Tracer>
void tracerSansLever(Tracer tracer) noexcept
{
    try {
        tracer();
    } catch (...) {
        // There is nobody left to tell.
    }
}

/// What every function does: the entry trace, the call of the adapter or of what stands in for it, and
/// nothing gets out. repli makes the result from the status of a failure.
template <class Appel, class AppelDoublure, class Repli>
auto executer(const Fonction& fonction, Appel appel, AppelDoublure appelDoublure, Repli repli) noexcept
    -> decltype(repli(OXS_NOK))
{
    const auto imprevue = [&] {
        tracerSansLever([&] { TRACER(NTO_NOTABLE, fonction.nom, "Exception non prévue."); });
        return repli(OXS_NOK);
    };
    try {
        if (fonction.nomService != nullptr)
            TRACER(NTO_PROGRES, fonction.signature, "Entrée/Sortie, nomService = " << fonction.nomService);
        else
            TRACER(NTO_PROGRES, fonction.signature, "Entrée/Sortie.");
        if (OXcdvCliDoublure* const doublure = lireDoublureOXcdvCliItf())
            return appelDoublure(*doublure);
        return appel(*oxcdvCliItfAdaptateur());
    } catch (const Echec& e) {
        tracerSansLever([&] {
            TRACER(NTO_REFUS, fonction.signature, "Exception Echec, code = " << codeEtTexte(e.lireCode()));
        });
        return repli(e.lireCode());
    } catch (const CORBA::Exception& e) {
        if (!fonction.attrapeCORBA)
            return imprevue();
        tracerSansLever(
            [&] { TRACER(NTO_REFUS, fonction.signature, "Exception CORBA : " << orb::information(e)); });
        return repli(OXS_ERREUR_CORBA);
    } catch (const std::bad_alloc&) {
        tracerSansLever([&] { TRACER(NTO_NOTABLE, fonction.nom, "Problème d'allocation mémoire"); });
        return repli(OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
    } catch (...) {
        return imprevue();
    }
}

OXstatut statutTelQuel(OXstatut statut) { return statut; }

using Requete = OXcdvCliDoublure::Requete;

/// A request of the facade: its signature and its name, as the traces show them.
struct Demande
{
    Requete requete;
    OXstatut (OXcdvCliItfAdaptateur::*fonction)(OXvol_completData*, int&);
    const char* signature;
    const char* nom;
};

OXstatut demander(const Demande& demande, OXvol_completData* vol, int& idOp) noexcept
{
    return executer(
        {demande.signature, demande.nom, /*attrapeCORBA*/ true},
        [&](OXcdvCliItfAdaptateur& adaptateur) { return (adaptateur.*demande.fonction)(vol, idOp); },
        [&](OXcdvCliDoublure& doublure) { return doublure.demander(demande.requete, vol, idOp); },
        statutTelQuel);
}

} // namespace

OXstatut OXcdvCliItf::active(char* nomService) noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "active", false, nomService != nullptr ? nomService : ""},
        // std::string refuses a null name with an exception.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.StringChecker)
        [&](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.active(std::string(nomService)); },
        [&](OXcdvCliDoublure& doublure) { return doublure.active(nomService); }, statutTelQuel);
}

OXstatut OXcdvCliItf::desactive() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "desactive"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.desactive(); },
        [](OXcdvCliDoublure& doublure) { return doublure.desactive(); }, statutTelQuel);
}

OXversion OXcdvCliItf::lireVersion() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "lireVersion"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.lireVersion(); },
        [](OXcdvCliDoublure& doublure) { return doublure.lireVersion(); },
        [](OXstatut) { return VERSION_NULLE; });
}

std::vector<OXversion> OXcdvCliItf::lireVersionsConnues() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "lireVersionsConnues"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.lireVersionsConnues(); },
        [](OXcdvCliDoublure& doublure) { return doublure.lireVersionsConnues(); },
        [](OXstatut) { return std::vector<OXversion>(); });
}

OXstatut OXcdvCliItf::cree_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(
        {Requete::cree, &OXcdvCliItfAdaptateur::cree_vol_complet, __PRETTY_FUNCTION__, "cree_vol_complet"},
        vol, idOp);
}

OXstatut OXcdvCliItf::modifie_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander({Requete::modifie, &OXcdvCliItfAdaptateur::modifie_vol_complet, __PRETTY_FUNCTION__,
                     "modifie_vol_complet"},
                    vol, idOp);
}

OXstatut OXcdvCliItf::supprime_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander({Requete::supprime, &OXcdvCliItfAdaptateur::supprime_vol_complet, __PRETTY_FUNCTION__,
                     "supprime_vol_complet"},
                    vol, idOp);
}

OXstatut OXcdvCliItf::consulte_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander({Requete::consulte, &OXcdvCliItfAdaptateur::consulte_vol_complet, __PRETTY_FUNCTION__,
                     "consulte_vol_complet"},
                    vol, idOp);
}

OXstatut OXcdvCliItf::liste_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(
        {Requete::liste, &OXcdvCliItfAdaptateur::liste_vol_complet, __PRETTY_FUNCTION__, "liste_vol_complet"},
        vol, idOp);
}
