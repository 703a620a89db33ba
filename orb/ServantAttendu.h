#ifndef SERVANTATTENDU_H
#define SERVANTATTENDU_H

#include "EntetesORB.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace orix::orb {

/// Reference count of a servant whose owner must know when the ORB no longer uses it. The object adapter
/// holds a reference from the activation until the last request inside has ended, so once the servant is
/// deactivated and only the owner's reference remains, it may be deleted. The count never deletes: the owner
/// does.
class ServantAttendu : public virtual PortableServer::RefCountServantBase, // of some ORBs a base of the next
                       public virtual PortableServer::ServantBase
{
  public:
    void _add_ref() override
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        ++_references;
    }
    void _remove_ref() override
    {
        // Notified with the lock held: the owner may delete this object as soon as it can have the lock.
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (--_references <= 1)
            _inutilise.notify_all();
    }

    /// Waits until the ORB no longer uses the servant; false when it still does at the end of the delay.
    bool attendreRetrait(std::chrono::milliseconds delai)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        return _inutilise.wait_for(verrou, delai, [this] { return _references <= 1; });
    }

  private:
    std::mutex _mutex;
    std::condition_variable _inutilise;
    int _references = 1; // the owner's
};

} // namespace orix::orb

#endif
