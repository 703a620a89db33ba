#ifndef ORIX_IADAPTATEURCLIENT_H
#define ORIX_IADAPTATEURCLIENT_H

#include "orix/Exportation.h"
#include "orix/OXstatut.h"

#include <string>

namespace orix_corba {
struct NiveauReference;
}

namespace orix {

/// What the kernel asks of the client adapter of a service. The kernel delivers its events one at a time to
/// one adapter, each inside a Livraison, on threads of its own, and at its stop on the one that stops it.
class ORIX_API IAdaptateurClient
{
  public:
    /// The server was lost: statut says how. Called after notifierAutomateDeconnexionCB().
    virtual void notifierDeconnexionCB(int statut) = 0;
    /// The server lets this client go.
    virtual void deconnexionCB(int raison) = 0;
    /// The connection is over: the adapter's state must follow. Throws when the adapter is not connected.
    /// Nothing follows when the kernel stops.
    virtual void notifierAutomateDeconnexionCB() = 0;
    /// The activation that was asked for will not be answered.
    virtual void notifierEchecActivation(OXstatut statut) = 0;
    virtual int lireNumeroClient() = 0;
    virtual OXstatut active(const std::string& nomService) = 0;
    virtual OXstatut desactive() = 0;
    virtual ~IAdaptateurClient();
    /// The server's kernel answered the activation. The strings and niveau are the caller's.
    virtual void activeCB(int statut, const char* serveur, const char* machine,
                          const orix_corba::NiveauReference& niveau, int numeroClient) = 0;
};

} // namespace orix

#endif
