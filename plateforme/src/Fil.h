#ifndef FIL_H
#define FIL_H

#include "orix/INonCopiable.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace orix {

/// A thread whose end can be awaited for a bounded time. The work must own, or outlive, all that it uses: a
/// thread that does not end is left to itself.
class Fil : INonCopiable
{
  public:
    ~Fil() { oublier(); }

    /// Throws std::system_error. What the work throws is traced, and ends the thread.
    void lancer(std::function<void()> travail);
    /// True when the thread has ended, or there is none.
    bool attendre(std::chrono::milliseconds delai);
    void oublier();

  private:
    struct Fin
    {
        std::mutex mutex;
        std::condition_variable venue;
        bool atteinte = false;
    };

    std::shared_ptr<Fin> _fin;
    std::thread _thread;
};

/// A thread that does what is due when it is due. A pass does it, and returns when the next one is. What a
/// pass throws is traced, and the pass made again a little later.
class Veilleur : INonCopiable
{
  public:
    using Instant = std::chrono::steady_clock::time_point;
    static constexpr Instant JAMAIS = Instant::max();

    void demarrer(std::function<Instant()> passe);
    /// No pass starts after the return. False when one is still going on at the end of the delay: it is left
    /// to itself.
    bool arreter(std::chrono::milliseconds delai);
    /// Makes the next pass come now.
    void reveiller();

  private:
    struct Etat
    {
        std::mutex mutex;
        std::condition_variable appel;
        bool reveil = false;
        bool arret = false;
    };

    std::mutex _mutex;           // guards _etat
    std::shared_ptr<Etat> _etat; // null: stopped
    Fil _fil;
};

} // namespace orix

#endif
