#ifndef ORIX_NOYAU_H
#define ORIX_NOYAU_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include "orix_baseS.h"

#include <string>

namespace orix {

class IAdaptateurClient;
class ORBthread;
class ParametresActivationService;
class TableInformationsConnexions;

enum EtatNoyau : int
{
    NOYAU_NON_INITIALISE = 0,
    NOYAU_INITIALISE = 1,
    NOYAU_EN_ARRET = 2
};

/// The kernel of this process. Every operation may be called from any thread.
class ORIX_API Noyau : INonCopiable
{
  public:
    virtual int lireEtat() const noexcept = 0; ///< an EtatNoyau
    /// Throws Echec(OXS_NOYAU_NON_INITIALISE) outside initialiser() and terminer().
    virtual ORBthread* lirePointAcces() = 0;

    /// Registers the adapter, not owned, as the client of the service, in place of an earlier one.
    virtual void activerClient(const std::string& nomService, IAdaptateurClient* adaptateur) = 0;
    /// Does nothing when there is none.
    virtual void desactiverClient(const std::string& nomService) = 0;
    virtual TableInformationsConnexions* lireTableConnexions() = 0;

    /// Keeps the parameters of an activation, and owns them from the call on; returns their operation number.
    /// The kernel that is asked is the one that the calling thread was answered by last (orb::resoudre()):
    /// from now on it alone may speak to the adapter's servants, see orix/interne/Interlocuteurs.h. Waits
    /// until an event that is being delivered to the same adapter, by another thread, has been. The adapter
    /// is told once: of the answer, or of a failure (notifierEchecActivation) when it fails or does not come
    /// within delaiActivation, or when the kernel stops.
    virtual int enregistrerParametres(ParametresActivationService* parametres) = 0;
    /// Forgets them: their adapter will not be told. Does nothing when the number is unknown.
    virtual void supprimerParametres(int numeroOperation) = 0;
    /// Withdraws a reply handler's reference from the ORIX POA. Does nothing when it is not there. Throws
    /// nothing.
    virtual void supprimerReference(CORBA::Object_ptr reference) noexcept = 0;

    /// Forgets everything that names this adapter, and waits until no event is being delivered to it by
    /// another thread: afterwards the kernel never calls it again. For the end of an adapter. Throws nothing.
    virtual void oublierAdaptateur(IAdaptateurClient* adaptateur) noexcept = 0;

  protected:
    virtual ~Noyau();
};

/// The kernel; exists from the first use to the end of the process.
ORIX_API Noyau* oxNoyau();

} // namespace orix

#endif
