#include "OXcdvClientVersServeurHandlerImplementation.h"

#include "orix/Trace.h"

#include <new>

namespace {

#define TRACER(niveau, fonction, texte)                                                                      \
    ORIX_TRACE(niveau, "OXcdvClientVersServeurHandlerImplementation", fonction, texte)
#define TRACER_SANS_ECHEC(niveau, fonction, texte)                                                           \
    ORIX_TRACE_SANS_ECHEC(niveau, "OXcdvClientVersServeurHandlerImplementation", fonction, texte)

void tracerReponse(const char* signature, const char* operation)
{
    try {
        TRACER(orix::NTO_PROGRES, signature, "Réponse AMI : notification du client réussie.");
        TRACER(orix::NTO_NOTABLE, operation,
               "Acquittement du client de la bonne réception de la notification de l'échec de l'activation.");
    } catch (...) {
        TRACER_SANS_ECHEC(orix::NTO_NOTABLE, operation, "Exception non prévue.");
    }
}

void tracerEchec(const char* signature, const char* operation)
{
    try {
        TRACER(orix::NTO_PROGRES, signature, "Entrée.");
        TRACER(orix::NTO_PROGRES, operation, "Réponse AMI : échec de la notification du client.");
    } catch (const std::bad_alloc&) {
        TRACER_SANS_ECHEC(orix::NTO_NOTABLE, operation, "Problème d'allocation mémoire.");
    } catch (...) {
        TRACER_SANS_ECHEC(orix::NTO_NOTABLE, operation, "Exception non prévue.");
    }
    TRACER_SANS_ECHEC(orix::NTO_PROGRES, signature, "Sortie.");
}

} // namespace

using Implementation = POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation;

Implementation::~POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation() = default;

void Implementation::cree_vol_complet() { tracerReponse(__PRETTY_FUNCTION__, "cree_vol_complet"); }
void Implementation::cree_vol_complet_excep(Messaging::ExceptionHolder*)
{
    tracerEchec(__PRETTY_FUNCTION__, "cree_vol_complet_excep");
}

void Implementation::modifie_vol_complet() { tracerReponse(__PRETTY_FUNCTION__, "modifie_vol_complet"); }
void Implementation::modifie_vol_complet_excep(Messaging::ExceptionHolder*)
{
    tracerEchec(__PRETTY_FUNCTION__, "modifie_vol_complet_excep");
}

void Implementation::supprime_vol_complet() { tracerReponse(__PRETTY_FUNCTION__, "supprime_vol_complet"); }
void Implementation::supprime_vol_complet_excep(Messaging::ExceptionHolder*)
{
    tracerEchec(__PRETTY_FUNCTION__, "supprime_vol_complet_excep");
}

void Implementation::consulte_vol_complet() { tracerReponse(__PRETTY_FUNCTION__, "consulte_vol_complet"); }
void Implementation::consulte_vol_complet_excep(Messaging::ExceptionHolder*)
{
    tracerEchec(__PRETTY_FUNCTION__, "consulte_vol_complet_excep");
}

void Implementation::liste_vol_complet() { tracerReponse(__PRETTY_FUNCTION__, "liste_vol_complet"); }
void Implementation::liste_vol_complet_excep(Messaging::ExceptionHolder*)
{
    tracerEchec(__PRETTY_FUNCTION__, "liste_vol_complet_excep");
}
