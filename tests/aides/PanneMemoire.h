#ifndef PANNEMEMOIRE_H
#define PANNEMEMOIRE_H

#include "Essais.h"
#include "orix/INonCopiable.h"

#include <new>

namespace essais {

/// Allocations less releases by operator new and delete on this thread so far.
long bilanMemoire() noexcept;

/// Calls the function before each operator new of that thread, what the function allocates excepted. Without
/// thread: no more; a call that is going on is waited for.
void observerAllocations(std::thread::id fil, std::function<void()> temoin);

/// While it lives, the n-th operator new of a thread (1: the next) throws std::bad_alloc. One at a time.
class PanneMemoire : orix::INonCopiable
{
  public:
    /// HorsORB: not counting what is allocated inside the ORB, which may keep a lock when it lacks memory.
    enum Ou
    {
        Partout,
        HorsORB
    };
    enum Duree
    {
        UneFois,
        Desormais ///< those after the n-th fail too
    };
    explicit PanneMemoire(int n, Ou ou = Partout, Duree duree = UneFois,
                          std::thread::id fil = std::this_thread::get_id()) noexcept;
    /// For the threads of that name together, outside the ORB. nom stays the caller's.
    PanneMemoire(const char* nom, int n) noexcept;
    ~PanneMemoire();

    bool survenue() const noexcept; ///< whether the failure has come
};

/// From now on no allocation of this thread succeeds.
void manquerToujours() noexcept;

/// While it lives, memory does not lack on this thread: for what the test itself does in the midst of a
/// failure.
class SansPanne : orix::INonCopiable
{
  public:
    SansPanne() noexcept;
    ~SansPanne();

  private:
    const bool _avant;
};

/// Runs the action once as it is, then with its first allocation failing, then its second, and so on until
/// none is left to fail. Every failure must leave the action as std::bad_alloc and leave nothing allocated:
/// else throws std::logic_error. Returns how many failures there were.
/// avaleesPermises: a failure may also stay inside, as one in a destructor must.
template <class Action>
int chaquePanne(Action action, bool avaleesPermises = false)
{
    action(); // what is made at the first use, and kept, is not a leak
    const long bilan = bilanMemoire();
    for (int n = 1;; ++n) {
        bool survenue = false;
        bool signalee = false;
        {
            const PanneMemoire panne(n);
            try {
                action();
            } catch (const std::bad_alloc&) {
                signalee = true;
            }
            survenue = panne.survenue();
        }
        if (bilanMemoire() != bilan)
            throw std::logic_error("leak after failure " + std::to_string(n));
        if (survenue != signalee && !avaleesPermises)
            throw std::logic_error("swallowed failure " + std::to_string(n));
        if (!survenue)
            return n - 1;
    }
}

} // namespace essais

#endif
