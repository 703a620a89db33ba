#ifndef OXCDVCLIARRET_H
#define OXCDVCLIARRET_H

#include "orix/Exportation.h"

namespace orix {

/// Ends the cdv client of this process: deactivates the service, then frees everything the client holds. For
/// the owner of the process, before orix::terminer(). Does nothing when OXcdvCliItf was never used.
///
/// No other thread may be inside OXcdvCliItf. May be called from a callback. Waits until the notifications
/// and pings that are being received have been (no longer than the call time-out of the configuration).
/// Callbacks already queued still run. Afterwards OXcdvCliItf may be used again: it starts from a fresh,
/// inactive client.
ORIX_API void detruireOXcdvCliItfAdaptateur();

} // namespace orix

#endif
