#include "OXcdvCliItf.h"

#include "LiaisonORB.h"
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

/// What every function does: the entry trace, the call of the adapter, and nothing gets out. repli makes the
/// result from the status of a failure.
template <class Appel, class Repli>
auto executer(const Fonction& fonction, Appel appel, Repli repli) noexcept -> decltype(repli(OXS_NOK))
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

using Requete = OXstatut (OXcdvCliItfAdaptateur::*)(OXvol_completData*, int&);

OXstatut demander(const char* signature, const char* nom, Requete requete, OXvol_completData* vol,
                  int& idOp) noexcept
{
    return executer(
        {signature, nom, /*attrapeCORBA*/ true},
        [&](OXcdvCliItfAdaptateur& adaptateur) { return (adaptateur.*requete)(vol, idOp); }, statutTelQuel);
}

} // namespace

OXstatut OXcdvCliItf::active(char* nomService) noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "active", false, nomService != nullptr ? nomService : ""},
        // std::string refuses a null name with an exception.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.StringChecker)
        [&](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.active(std::string(nomService)); },
        statutTelQuel);
}

OXstatut OXcdvCliItf::desactive() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "desactive"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.desactive(); }, statutTelQuel);
}

OXversion OXcdvCliItf::lireVersion() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "lireVersion"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.lireVersion(); },
        [](OXstatut) { return VERSION_NULLE; });
}

std::vector<OXversion> OXcdvCliItf::lireVersionsConnues() noexcept
{
    return executer(
        {__PRETTY_FUNCTION__, "lireVersionsConnues"},
        [](OXcdvCliItfAdaptateur& adaptateur) { return adaptateur.lireVersionsConnues(); },
        [](OXstatut) { return std::vector<OXversion>(); });
}

OXstatut OXcdvCliItf::cree_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(__PRETTY_FUNCTION__, "cree_vol_complet", &OXcdvCliItfAdaptateur::cree_vol_complet, vol,
                    idOp);
}

OXstatut OXcdvCliItf::modifie_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(__PRETTY_FUNCTION__, "modifie_vol_complet", &OXcdvCliItfAdaptateur::modifie_vol_complet,
                    vol, idOp);
}

OXstatut OXcdvCliItf::supprime_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(__PRETTY_FUNCTION__, "supprime_vol_complet", &OXcdvCliItfAdaptateur::supprime_vol_complet,
                    vol, idOp);
}

OXstatut OXcdvCliItf::consulte_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(__PRETTY_FUNCTION__, "consulte_vol_complet", &OXcdvCliItfAdaptateur::consulte_vol_complet,
                    vol, idOp);
}

OXstatut OXcdvCliItf::liste_vol_complet(OXvol_completData* vol, int& idOp) noexcept
{
    return demander(__PRETTY_FUNCTION__, "liste_vol_complet", &OXcdvCliItfAdaptateur::liste_vol_complet, vol,
                    idOp);
}
