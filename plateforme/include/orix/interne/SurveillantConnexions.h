#ifndef ORIX_SURVEILLANTCONNEXIONS_H
#define ORIX_SURVEILLANTCONNEXIONS_H

#include "orix/Exportation.h"

#include "orix_baseS.h"

#include <string>

namespace orix {

class IAdaptateurClient;

/// Pings the servers that are put under its supervision. A server is lost after pingsManques misses in a row;
/// whatever it sends meanwhile proves it alive. Of a loss the adapter is told by
/// notifierAutomateDeconnexionCB(), then, unless that one throws, by notifierDeconnexionCB(OXS_ECHEC_PING).
///
/// A client that is still registered with the kernel one period after its supervision ended is told the same:
/// its deactivation was interrupted, and it would otherwise stay connected to nobody for ever.
class ORIX_API SurveillantConnexions
{
  public:
    /// Supervises the server, in place of an earlier one of that service. adaptateur is not owned.
    virtual void ajouterSurveillanceServeur(const std::string& nomService, orix_corba::InterfacePing_ptr ping,
                                            IAdaptateurClient* adaptateur) = 0;
    /// No event of that supervision starts after the return. Does nothing when there is none.
    virtual void supprimerSurveillanceServeur(const std::string& nomService) = 0;

  protected:
    virtual ~SurveillantConnexions();
};

/// The connection monitor of the process; supervises between initialiser() and terminer().
ORIX_API SurveillantConnexions* oxSurveillantConnexions();

} // namespace orix

#endif
