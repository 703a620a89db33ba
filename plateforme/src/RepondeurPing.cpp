#include "RepondeurPing.h"

#include "AppelSortant.h"
#include "ExceptionCourante.h"
#include "ReferencesPOA.h"
#include "orix/Trace.h"

#include <cstdlib>
#include <utility>

namespace orix {

namespace {

// Beside the numbers of the kernel's operations in the same POA.
const std::string PREFIXE = "ping-";

std::string identifiant(unsigned long numeroPing) { return PREFIXE + std::to_string(numeroPing); }

} // namespace

RepondeurPing::RepondeurPing(CORBA::ORB_ptr orb, PortableServer::POA_ptr poaORIX, Recepteur recepteur)
    : _poa(PortableServer::POA::_duplicate(poaORIX)),
      _courant(poa::resoudreCourant(orb)),
      _recepteur(std::move(recepteur))
{}

PortableServer::POA_ptr RepondeurPing::_default_POA() { return PortableServer::POA::_duplicate(_poa); }

void RepondeurPing::envoyer(unsigned long numeroPing, orix_corba::InterfacePing_ptr ping,
                            CORBA::Long numeroClient)
{
    try {
        const PortableServer::ObjectId_var id =
            PortableServer::string_to_ObjectId(identifiant(numeroPing).c_str());
        _poa->activate_object_with_id(id, this);
        const CORBA::Object_var reference = _poa->id_to_reference(id);
        const orix_corba::AMI_InterfacePingHandler_var repondeur =
            orix_corba::AMI_InterfacePingHandler::_unchecked_narrow(reference);
        const orb::AppelSortant appel;
        ping->sendc_testerConnexionServeur(repondeur, numeroClient);
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "RepondeurPing", "envoyer",
                              "Ping impossible : " << texteExceptionCourante());
        _recepteur(numeroPing, ReponsePing::echec);
    }
}

void RepondeurPing::retirer(unsigned long numeroPing) noexcept
{
    poa::retirer(_poa, identifiant(numeroPing));
}

void RepondeurPing::_repondre(ReponsePing reponse)
{
    const std::string texte = poa::identifiantCourant(_courant);
    if (texte.compare(0, PREFIXE.size(), PREFIXE) == 0)
        _recepteur(std::strtoul(texte.c_str() + PREFIXE.size(), nullptr, 10), reponse);
}

void RepondeurPing::testerConnexionServeur() { _repondre(ReponsePing::vivant); }

void RepondeurPing::testerConnexionServeur_excep(Messaging::ExceptionHolder* exception)
{
    ReponsePing reponse = ReponsePing::echec;
    try {
        exception->raise_exception();
    } catch (const orix_corba::ClientDeconnecte&) {
        reponse = ReponsePing::clientInconnu;
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "RepondeurPing", "testerConnexionServeur_excep",
                              "Ping en échec : " << texteExceptionCourante());
    }
    _repondre(reponse);
}

void RepondeurPing::testerConnexionClient() {}
void RepondeurPing::testerConnexionClient_excep(Messaging::ExceptionHolder*) {}

} // namespace orix
