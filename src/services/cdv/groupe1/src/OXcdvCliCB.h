#ifndef OXCDVCLICB_H
#define OXCDVCLICB_H

#include "orix/Exportation.h"
#include "orix/OXstatut.h"

#include <array>

class OXvol_completData;

/// The callbacks of the cdv service: the application supplies these functions, the library calls them.
///
/// Thread: all run on the one callback thread of the process, one after another, in the order in which the
/// events arrived; never on the caller's thread, the library's or the ORB's. A callback that takes its time
/// delays the next ones, and once the queue is full the server, which lets a client go that takes in nothing
/// for long; it disturbs no ping. One that never returns is left behind by orix::terminer() and by the exit
/// of the process. From inside a callback every function of OXcdvCliItf may be called, and
/// orix::detruireOXcdvCliItfAdaptateur() when no other thread is inside OXcdvCliItf. orix::terminer() is
/// refused there (OXS_NOK), orix::initialiser() too (OXS_NOYAU_DEJA_INITIALISE); std::exit() is not.
///
/// Ownership: the record and the strings given are the library's and die when the callback returns. Copy what
/// is to be kept; never delete them.
///
/// Errors: what a callback throws, of whatever type, is traced and goes no further; the next callback runs.
/// It must not end its thread otherwise (pthread_exit, cancellation).
///
/// Operation numbers: nIdOp is the number that the request gave back. A notification may run before the
/// request call has returned that number on its own thread.
class ORIX_API OXcdvCliCB
{
  public:
    /// The answer to an accepted OXcdvCliItf::active(). OXS_OK: the service is active, on that server and
    /// machine. Otherwise it is not, the strings may be empty, and the next active() goes to the other
    /// server, if any; OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE: the server agreed, and memory lacked here;
    /// OXS_NOYAU_NON_INITIALISE: orix::terminer() came first.
    static void activeCB(orix::OXstatut statut, const char* serveur, const char* machine);

    /// The connection is over: by the server's will (its reason, OXS_SERVICE_NON_ACTIVE for an orderly end)
    /// or lost (OXS_ECHEC_PING). After any other reason than the orderly one, the next active() goes to the
    /// other server. Requests not answered by now will not be. Never called after a desactive() that returned
    /// OXS_OK.
    static void deconnexionCB(orix::OXstatut statut);

    /// Outcome of a creation: the server's code (OXcdvCliCode.h; 0: done) and the record as the server keeps
    /// it.
    static void cree_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp);
    /// Outcome of a change: the server's code and the whole record after it.
    static void modifie_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp);
    /// Outcome of a deletion.
    static void supprime_vol_completCB(int nResuVarda, int nIdOp);
    /// Outcome of a consultation: the server's code and the record.
    static void consulte_vol_completCB(int nResuVarda, OXvol_completData* vol, int nIdOp);
    /// One record of a listing: any number of these, then one fin_liste_vol_completCB of the same nIdOp.
    static void liste_vol_completCB(OXvol_completData* vol, int nIdOp);
    /// End of a listing, with the server's code.
    static void fin_liste_vol_completCB(int nResuVarda, int nIdOp);
};

namespace orix {

/// The addresses of the callbacks that the library calls, in the order of their declaration. When several
/// files of a process define some, the first loaded is called, and the others hear nothing: this tells them.
ORIX_API std::array<const void*, 8> lireRappelsOXcdvCliCB() noexcept;

} // namespace orix

#endif
