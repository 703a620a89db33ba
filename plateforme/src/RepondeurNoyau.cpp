#include "orix/interne/RepondeurNoyau.h"

#include "ExceptionCourante.h"
#include "LiaisonORB.h"
#include "NoyauImplementation.h"
#include "ReferencesPOA.h"
#include "orix/Trace.h"
#include "orix/interne/IAdaptateurClient.h"

#include <charconv>

namespace orix {

namespace {

void tracerSiTardive(int numeroOperation, bool conclue)
{
    if (!conclue)
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "RepondeurNoyau", "conclure",
                              "Réponse ignorée : la demande d'activation " << numeroOperation
                                                                           << " n'est plus en attente");
}

/// The requests that follow the activation ask for no response: they need a connection that is known to live.
/// What comes from its other end is the server's.
void assurerConnexion(CORBA::Object_ptr serveur, int numeroOperation) noexcept
{
    try {
        if (!CORBA::is_nil(serveur) && orb::repond(serveur))
            NoyauImplementation::instance().noterService(numeroOperation, orb::identiteAppele());
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "RepondeurNoyau", "activerService",
                              "Le serveur qui accepte ne répond pas : " << texteExceptionCourante());
    }
}

/// The status that stands for the failure that the holder carries.
OXstatut statutEchec(Messaging::ExceptionHolder* exception)
{
    const auto tracer = [] {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "RepondeurNoyau", "activerService_excep",
                              "La demande d'activation a échoué : " << texteExceptionCourante());
    };
    try {
        exception->raise_exception();
    } catch (const CORBA::TRANSIENT&) {
        tracer();
        return OXS_CONNEXION_IMPOSSIBLE;
    } catch (const CORBA::COMM_FAILURE&) {
        tracer();
        return OXS_CONNEXION_IMPOSSIBLE;
    } catch (...) {
        tracer();
    }
    return OXS_ERREUR_CORBA;
}

} // namespace

RepondeurNoyau::RepondeurNoyau(CORBA::ORB_ptr orb, PortableServer::POA_ptr poaORIX)
    : _poa(PortableServer::POA::_duplicate(poaORIX)), _courant(poa::resoudreCourant(orb))
{}

RepondeurNoyau::~RepondeurNoyau() = default;

PortableServer::POA_ptr RepondeurNoyau::_default_POA() { return PortableServer::POA::_duplicate(_poa); }

int RepondeurNoyau::_numeroOperation() const
{
    const std::string texte = poa::identifiantCourant(_courant);
    int numero = 0;
    std::from_chars(texte.data(), texte.data() + texte.size(), numero);
    return numero;
}

void RepondeurNoyau::activerService(CORBA::Long statut, const char* serveur, const char* machine,
                                    const orix_corba::NiveauReference& niveau, CORBA::Long numeroClient)
{
    const int numeroOperation = _numeroOperation();
    assurerConnexion(niveau.reference, numeroOperation);
    const auto notifier = [&](IAdaptateurClient& adaptateur) {
        adaptateur.activeCB(statut, serveur, machine, niveau, numeroClient);
    };
    tracerSiTardive(numeroOperation,
                    NoyauImplementation::instance().conclureReponse(numeroOperation, notifier));
}

void RepondeurNoyau::activerService_excep(Messaging::ExceptionHolder* exception)
{
    const OXstatut statut = statutEchec(exception);
    const int numeroOperation = _numeroOperation();
    const auto notifier = [statut](IAdaptateurClient& adaptateur) {
        adaptateur.notifierEchecActivation(statut);
    };
    tracerSiTardive(numeroOperation, NoyauImplementation::instance().conclure(numeroOperation, notifier));
}

} // namespace orix
