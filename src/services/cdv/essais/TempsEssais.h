#ifndef CDV_TEMPSESSAIS_H
#define CDV_TEMPSESSAIS_H

#include "OXcdvCliDoublure.h"

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>

namespace cdv {

/// The time of a service in memory, and of those who use it: the machine's.
class TempsEssais : public orix::OXcdvCliTemps
{
  public:
    Instant maintenant() const noexcept override;
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  Instant fin) override;
    virtual void avancer(std::chrono::milliseconds duree); ///< throws std::logic_error
};

/// It stands still but for avancer(), which wakes those who wait for an instant that has come.
class TempsVirtuel : public TempsEssais
{
  public:
    Instant maintenant() const noexcept override;
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  Instant fin) override;
    void avancer(std::chrono::milliseconds duree) override;

  private:
    struct Attente
    {
        std::condition_variable& condition;
        std::mutex& verrou;
        Instant fin;
        int tenues; ///< by who is about to wake it: until then it stays
    };

    mutable std::mutex _mutex; // taken while a waiter's is held, never before
    std::condition_variable _lachee;
    Instant _maintenant{};
    std::list<Attente> _attentes;
};

} // namespace cdv

#endif
