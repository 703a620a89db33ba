#ifndef REVEIL_H
#define REVEIL_H

#include "orix/INonCopiable.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace serveur {

/// Wakes the one thread that waits for it. What rings while nobody waits is heard at the next wait.
class Reveil : orix::INonCopiable
{
  public:
    void sonner()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _sonne = true;
        _condition.notify_one();
    }

    void attendre(std::chrono::steady_clock::time_point limite)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _condition.wait_until(verrou, limite, [this] { return _sonne; });
        _sonne = false;
    }

  private:
    std::mutex _mutex;
    std::condition_variable _condition;
    bool _sonne = false;
};

} // namespace serveur

#endif
