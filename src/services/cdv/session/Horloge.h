#ifndef CDV_HORLOGE_H
#define CDV_HORLOGE_H

#include "Instant.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace cdv {

/// Time as a session sees it. The tests give it another one.
class Horloge
{
  public:
    /// That of the machine, or of what stands in for the client of the process.
    static std::shared_ptr<Horloge> courante();
    virtual ~Horloge();
    virtual Instant maintenant() const;
    /// Waits for a notification, until that instant at most.
    virtual void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                          Instant fin);
};

} // namespace cdv

#endif
