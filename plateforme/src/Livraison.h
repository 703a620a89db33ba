#ifndef LIVRAISON_H
#define LIVRAISON_H

#include "orix/INonCopiable.h"

namespace orix {

class IAdaptateurClient;

/// The delivery of a kernel event to an adapter: while one lives, no other thread delivers to the same
/// adapter. The thread that delivers may deliver again from inside. The adapter serves as a name only: it is
/// not used here, so it may be gone; whoever delivers checks, once inside, that the event is still wanted.
class Livraison : INonCopiable
{
  public:
    explicit Livraison(const IAdaptateurClient* adaptateur); ///< waits for the end of another thread's
    ~Livraison();

    /// Whether the calling thread is delivering, to whichever adapter.
    static bool estEnCoursIci() noexcept;
    /// Waits until no other thread delivers to the adapter.
    static void attendreFin(const IAdaptateurClient* adaptateur);

  private:
    const IAdaptateurClient* _adaptateur;
};

} // namespace orix

#endif
