#ifndef OXCDVCLICONNEXION_H
#define OXCDVCLICONNEXION_H

#include "orix/Exportation.h"

namespace orix {

/// The connection of the cdv client of this process, as the client itself knows it.
struct OXcdvCliConnexion
{
    /// How far it is.
    enum class Etat : int
    {
        inactive,   ///< no connection, and none asked for; also before the first use of OXcdvCliItf
        activation, ///< a server was asked, OXcdvCliCB::activeCB will tell
        active      ///< requests may be made
    };

    /// Moves before the application hears of it: OXcdvCliCB::activeCB and deconnexionCB run later, on the
    /// callback thread.
    Etat etat = Etat::inactive;
    /// The number that the server gave to this client when it accepted; its own traces name the client by it.
    /// 0 unless active.
    int numeroClient = 0;
    /// 1 or 2: place, in the routing table, of the server that is connected or being asked; while inactive,
    /// of the one that the next activation asks. 0 before the first use of OXcdvCliItf.
    int serveur = 0;
};

/// Reads the state of the connection. No server is asked and no client is created. For display and diagnosis:
/// the answer may be past when it is looked at, so a request is to be judged by its own status.
///
/// May be called from any thread, from callbacks too, while OXcdvCliItf is used by others; never waits. As
/// for the functions of OXcdvCliItf, no thread may be inside while detruireOXcdvCliItfAdaptateur()
/// (OXcdvCliArret.h) runs or the process ends.
ORIX_API OXcdvCliConnexion lireOXcdvCliConnexion() noexcept;

} // namespace orix

#endif
