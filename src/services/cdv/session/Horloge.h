#ifndef CDV_HORLOGE_H
#define CDV_HORLOGE_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace cdv {

using Instant = std::chrono::steady_clock::time_point;

/// Time as the sessions see it. The tests put another one in its place.
class Horloge
{
  public:
    static constexpr Instant JAMAIS = Instant::max();

    virtual ~Horloge();
    virtual Instant maintenant() const;
    /// Waits for a notification, until that instant at most.
    virtual void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                          Instant fin);

    /// The clock of the sessions opened from now on; never null.
    static std::shared_ptr<Horloge> courante();
    static void installer(std::shared_ptr<Horloge> horloge);
};

} // namespace cdv

#endif
