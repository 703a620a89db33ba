#ifndef ORIX_LIVRAISON_H
#define ORIX_LIVRAISON_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include <chrono>
#include <thread>

namespace orix {

class IAdaptateurClient;

/// One turn in the line of events of an adapter: while one lives, no other thread has a turn with the same
/// adapter. The kernel delivers its events inside one; the adapter takes one for its own decisions. The
/// thread that has the turn may take it again from inside. The adapter serves as a name only: it is not used
/// here, so it may be gone; whoever delivers checks, once inside, that the event is still wanted.
///
/// Not to be held during a remote call or a wait for requests: those may be waiting for the turn themselves.
/// Callbacks posted from inside do not wait for a place in the queue. Takes no memory. For local variables.
class ORIX_API Livraison : INonCopiable
{
  public:
    using Instant = std::chrono::steady_clock::time_point;

    /// Waits for the end of another thread's; with a limit, until then at most.
    explicit Livraison(const IAdaptateurClient* adaptateur, Instant limite = Instant::max()) noexcept;
    ~Livraison();

    /// False when the limit came first.
    bool estObtenue() const noexcept { return _obtenue; }

    /// Whether the calling thread has a turn, with whichever adapter.
    static bool estEnCoursIci() noexcept;
    /// Waits until no other thread has a turn with the adapter.
    static void attendreFin(const IAdaptateurClient* adaptateur) noexcept;

  private:
    struct Registre;

    const IAdaptateurClient* const _adaptateur;
    const std::thread::id _fil = std::this_thread::get_id();
    Livraison* _suivante = nullptr;
    bool _obtenue = false;
};

} // namespace orix

#endif
