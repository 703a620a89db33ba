#ifndef OXCDVCLIITF_H
#define OXCDVCLIITF_H

#include "orix/Exportation.h"
#include "orix/OXstatut.h"
#include "orix/OXversion.h"

#include <vector>

class OXvol_completData;

/// The client of the cdv service: what an application calls. The answers come as calls of OXcdvCliCB.
///
/// Start: orix::initialiser() first (orix/Processus.h), then active(), then the requests once
/// OXcdvCliCB::activeCB said OXS_OK. The first call of any of these functions creates the client; end it with
/// orix::detruireOXcdvCliItfAdaptateur() (OXcdvCliArret.h).
/// Threads: every function may be called from any thread, from inside a callback too. A request is handed to
/// the ORB and does not wait for an answer; it waits no longer than the call time-out of the configuration,
/// when the server takes nothing in. Errors: nothing is thrown, ever. Every failure is traced and told by the
/// status.
class ORIX_API OXcdvCliItf
{
  public:
    /// Asks for the activation of the service on its current server. nomService: "cdv".
    ///
    /// OXS_OK: the request left, OXcdvCliCB::activeCB will tell the outcome.
    /// OXS_NOYAU_NON_INITIALISE: before initialiser() or after terminer().
    /// OXS_SERVICE_DEJA_ACTIVE, OXS_ACTIVATION_EN_COURS: nothing to do, or wait for activeCB. The second also
    /// while another thread is inside, whose call may still fail.
    /// After any of the others no callback follows, and the next call goes to the service's other server, if
    /// it has two: OXS_CONNEXION_IMPOSSIBLE (nobody answers there; it took at most the connection time-out to
    /// know), OXS_SERVEUR_INEXISTANT (the routing table has none), OXS_ERREUR_CORBA, OXS_NOK,
    /// OXS_NOYAU_NON_INITIALISE when terminer() ran meanwhile. A null name gives OXS_NOK, and
    /// OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE says that memory lacked: both may leave the server as it was.
    static orix::OXstatut active(char* nomService) noexcept;

    /// Ends the connection by the application's will: the server is told, no callback follows.
    ///
    /// OXS_OK; OXS_SERVICE_NON_ACTIVE when there is no connection (nor while an activation is pending);
    /// OXS_NOYAU_NON_INITIALISE; OXS_NOK when the server's reference is not what it should be;
    /// OXS_SERVICE_DEJA_DESACTIVE when the deactivation was interrupted, most often because the server cannot
    /// be reached: the loss is then told by OXcdvCliCB::deconnexionCB, a little later or already; or because
    /// another thread is inside, whose call tells. Only where memory lacked may the connection still be
    /// there: then call again.
    static orix::OXstatut desactive() noexcept;

    /// Version of the interface in use; orix::VERSION_NULLE while the service is not active.
    static orix::OXversion lireVersion() noexcept;

    /// The versions of the interface that this library speaks, active or not; empty when out of memory.
    static std::vector<orix::OXversion> lireVersionsConnues() noexcept;

    /// The five requests.
    ///
    /// vol stays the application's: it is only read, and may be changed or deleted after the return.
    /// idOp receives the number of the operation, the one that the callback will give; the callback may run
    /// before this function has returned. It is not written when the status is OXS_NOYAU_NON_INITIALISE or
    /// OXS_SERVICE_NON_ACTIVE, nor for a null record.
    ///
    /// OXS_OK: the request left. OXS_SERVICE_NON_ACTIVE: there is no connection. OXS_NOYAU_NON_INITIALISE:
    /// before initialiser() or after terminer(). OXS_ERREUR_CORBA: the ORB could not send it. OXS_NOK: the
    /// server gave no reference, or vol is null. OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE: out of memory, nothing
    /// was sent.
    ///
    /// @{
    static orix::OXstatut cree_vol_complet(OXvol_completData* vol, int& idOp) noexcept;
    static orix::OXstatut modifie_vol_complet(OXvol_completData* vol, int& idOp) noexcept;
    static orix::OXstatut supprime_vol_complet(OXvol_completData* vol, int& idOp) noexcept;
    static orix::OXstatut consulte_vol_complet(OXvol_completData* vol, int& idOp) noexcept;
    static orix::OXstatut liste_vol_complet(OXvol_completData* vol, int& idOp) noexcept;
    /// @}
};

#endif
