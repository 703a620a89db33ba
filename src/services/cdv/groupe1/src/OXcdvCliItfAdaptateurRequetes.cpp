// The requests, and the questions about the connection: what takes no part in the line of events.
#include "EnvoiSansReponse.h"
#include "OXcdvCliItfAdaptateur.h"
#include "OXcdvCliItfAdaptateurTraces.h"
#include "VueVolComplet.h"
#include "orix/interne/GestionIdOp.h"
#include "orix/interne/Noyau.h"

#include <stdexcept>

namespace orix {

namespace {

// Made once: it is on the path of every request and of every ping.
const std::string NON_ACTIVE = "Opération non permise car le client n'est pas activé.";

} // namespace

OXstatut OXcdvCliItfAdaptateur::cree_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "cree_vol_complet", &Proxy::sendc_cree_vol_complet, vol, idOp);
}
OXstatut OXcdvCliItfAdaptateur::modifie_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "modifie_vol_complet", &Proxy::sendc_modifie_vol_complet, vol, idOp);
}
OXstatut OXcdvCliItfAdaptateur::supprime_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "supprime_vol_complet", &Proxy::sendc_supprime_vol_complet, vol,
                    idOp);
}
OXstatut OXcdvCliItfAdaptateur::consulte_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "consulte_vol_complet", &Proxy::sendc_consulte_vol_complet, vol,
                    idOp);
}
OXstatut OXcdvCliItfAdaptateur::liste_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "liste_vol_complet", &Proxy::sendc_liste_vol_complet, vol, idOp);
}

OXstatut OXcdvCliItfAdaptateur::_envoyer(const char* signature, const char* nom, EnvoiRequete sendc,
                                         OXvol_completData* vol, int& idOp)
{
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE)
        return OXS_NOYAU_NON_INITIALISE;
    TRACER(NTO_PROGRES, signature, "Entrée.");
    verifierActivation(NON_ACTIVE);
    const std::shared_ptr<const Correspondant> correspondant = std::atomic_load(&_correspondant);
    const bool joignable = correspondant && !CORBA::is_nil(correspondant->proxy);
    if (!joignable && !estActive())
        verifierActivation(NON_ACTIVE); // the connection went in the meantime: that is to be told
    if (vol == nullptr)
        throw std::invalid_argument(nom);
    idOp = Singleton<GestionIdOp>::lireInstance()->obtenirIdOp();
    if (!joignable) {
        TRACER(NTO_NOTABLE, nom, "Sortie en erreur, proxy non initialise");
        return OXS_NOK;
    }
    TRACER(NTO_NOTABLE, nom, "Envoi d'un message " << nom << " en version v3_0_0.");
    // Once: where the ORB makes its nil objects it does not order their making before their use elsewhere.
    static const auto sansRepondeur = orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_nil();
    orb::envoyer(correspondant->proxy.in(), sendc, nom, sansRepondeur, VueVolComplet(*vol).lire(),
                 CORBA::Long(idOp), CORBA::Long(correspondant->numeroClient));
    TRACER_SANS_ECHEC(NTO_PROGRES, signature, "Sortie.");
    return OXS_OK;
}

void OXcdvCliItfAdaptateur::verifierActivation(const std::string& message) const
{
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.");
    if (!estActive()) {
        TRACER(NTO_REFUS, "verifierActivation", message);
        throw Echec(OXS_SERVICE_NON_ACTIVE);
    }
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Sortie.");
}

void OXcdvCliItfAdaptateur::testerConnexionClient(const char*, const char*, const char*, int numeroClient)
{
    try {
        verifierActivation(NON_ACTIVE);
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "testerConnexionClient",
                          "Exception Echec, code = " << codeEtTexte(e.lireCode()));
        throw orix_corba::ServeurDeconnecte();
    }
    if (numeroClient != _numeroClient.load()) {
        TRACER(NTO_REFUS, "testerConnexionClient", "Client " << numeroClient << "non trouvé.");
        throw orix_corba::ServeurDeconnecte();
    }
}

void OXcdvCliItfAdaptateur::testerConnexionServeur(int)
{
    TRACER(NTO_REFUS, "testerConnexionServeur", "Ne doit pas être appelé");
}

OXversion OXcdvCliItfAdaptateur::lireVersion() const
{
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.");
    if (!estActive()) {
        TRACER(NTO_NOTABLE, "lireVersion", "Sortie OXS_SERVICE_NON_ACTIVE");
        throw Echec(OXS_SERVICE_NON_ACTIVE);
    }
    TRACER(NTO_PROGRES, "lireVersion", "Version = " << _version);
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Sortie.");
    return _version;
}

std::vector<OXversion> OXcdvCliItfAdaptateur::lireVersionsConnues() const
{
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.");
    std::vector<OXversion> versions{_version};
    if (versions.size() == 2)
        TRACER(NTO_PROGRES, "lireVersionsConnues", "Version(s) " << versions[0] << " et " << versions[1]);
    else
        TRACER(NTO_PROGRES, "lireVersionsConnues", "Version(s) " << versions[0]);
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Sortie.");
    return versions;
}

} // namespace orix
