#ifndef INTERRUPTION_H
#define INTERRUPTION_H

#include "orix/INonCopiable.h"

#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <thread>

namespace outils {

/// Ctrl-C, and the other polite ways to end a program (SIGTERM, SIGHUP). The first one asks for an end, the
/// second one ends the process at once. A signal that was ignored when the program started stays ignored.
///
/// To be made before any other thread: they all inherit the mask, and only the thread of this object receives
/// these signals. SIGPIPE is ignored for good.
class Interruption : orix::INonCopiable
{
  public:
    Interruption();
    ~Interruption();

    bool demandee() const noexcept { return _demandee.load(); }

    /// While it lives, and no younger one does, the function is called when the end is asked for: on a thread
    /// of its own, or in this constructor when it was asked for already. The destructor waits for a call in
    /// progress. The function may be called twice.
    class Garde : orix::INonCopiable
    {
      public:
        Garde(Interruption& interruption, std::function<void()> action);
        ~Garde();

      private:
        Interruption& _interruption;
        std::function<void()> _precedente;
    };

  private:
    void _attendre();

    sigset_t _signaux;
    std::atomic<bool> _demandee{false};
    std::atomic<bool> _finie{false};
    std::mutex _mutex; ///< of the action, and held while it runs
    std::function<void()> _action;
    std::thread _execution; ///< of the action: apart, so that a second signal is heard though it is slow
    std::thread _fil;
};

} // namespace outils

#endif
