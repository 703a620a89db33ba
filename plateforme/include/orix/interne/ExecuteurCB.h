#ifndef ORIX_EXECUTEURCB_H
#define ORIX_EXECUTEURCB_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include <cstddef>
#include <string>

namespace orix {

class IExecutable;

/// Runs deferred calls on one thread of its own, in the order in which they were posted.
class ORIX_API ExecuteurCB : INonCopiable
{
  public:
    /// Takes ownership of the call, runs it once, destroys it. While the queue is full the caller waits for a
    /// place: nothing is dropped. The wait is waived on the executor's own thread, on a thread that delivers
    /// a kernel event, and while an AttenteLevee lives. On a stopped executor it throws
    /// Echec(OXS_NOYAU_NON_INITIALISE) and destroys the call.
    /// priorite: 1, reserved. nomService: whom the call is for; a post also proves that service's server
    /// alive.
    virtual void posterExecutable(int priorite, const std::string& nomService, IExecutable* executable) = 0;

    /// Places in the queue that are kept for calls posted from inside a delivery (orix/interne/Livraison.h):
    /// so many of those are taken in without any memory being asked for. Made again, they are as many again,
    /// whatever became of the former ones.
    class ORIX_API PlacesReservees : INonCopiable
    {
      public:
        /// Throws std::bad_alloc, and keeps nothing then.
        PlacesReservees(ExecuteurCB* executeur, const std::string& nomService, std::size_t nombre)
            : _executeur(executeur), _nombre(nombre)
        {
            _executeur->reserver(nomService, nombre);
        }
        ~PlacesReservees() { _executeur->liberer(_nombre); }

      private:
        ExecuteurCB* _executeur;
        const std::size_t _nombre;
    };

    /// While one lives, no poster waits for a place in the queue. To be held by whoever must wait for the
    /// posters themselves, so that a full queue cannot keep both waiting.
    class ORIX_API AttenteLevee : INonCopiable
    {
      public:
        explicit AttenteLevee(ExecuteurCB* executeur) : _executeur(executeur)
        {
            _executeur->leverAttente(true);
        }
        ~AttenteLevee() { _executeur->leverAttente(false); }

      private:
        ExecuteurCB* _executeur;
    };

  protected:
    virtual ~ExecuteurCB();
    virtual void leverAttente(bool levee) = 0; ///< counted: as many false as true
    virtual void reserver(const std::string& nomService, std::size_t nombre) = 0; ///< throws std::bad_alloc
    virtual void liberer(std::size_t nombre) noexcept = 0;
};

/// The callback executor of the process; exists from the first use to the end of the process. Runs calls
/// between initialiser() and terminer().
ORIX_API ExecuteurCB* objetCB();

} // namespace orix

#endif
