#ifndef ECRITUREPARMOITIES_H
#define ECRITUREPARMOITIES_H

#include "Magasin.h"

namespace serveur {

/// What the stores' writers share: a group that fails is executed again by halves, down to the request that
/// is to blame.
class EcritureParMoities : public Ecriture
{
  protected:
    using Place = Lot::const_iterator;
    enum class Issue
    {
        faite,
        fautive, ///< somebody's fault: to be tried again by halves
        vaine,   ///< nobody's fault, and the same for all of them: nothing was done; was traced
        inconnue ///< see ISSUE_INCONNUE
    };

    /// Executes the group in one transaction. Up to fin, which it brings forward to where what is given back
    /// grew too large. Throws std::bad_alloc, which counts as a fault: nothing was done then either.
    virtual Issue _tenter(Place debut, Place& fin) = 0;
    /// Undoes what a try without success has left.
    virtual void _annuler() noexcept = 0;
    /// Why the last try was without success.
    virtual const char* _pourquoi() const noexcept = 0;

    /// Where it stopped: the end, or before.
    Place _executerLot(Place debut, Place fin) noexcept;

    /// Notes the record that the request gives back; whether there is room for more.
    void _rendre(Demande& demande, FichePartagee vol);
    void _oublier(Demande& demande) noexcept; ///< the contrary
    bool _restePlace() const { return _rendus <= OCTETS_RENDUS_MAX; }

  private:
    Place _executer(Place debut, Place fin) noexcept;
    void _abandonner(Place debut, Place fin, const char* pourquoi) noexcept;

    std::size_t _rendus = 0; // octets that the group gives back
};

} // namespace serveur

#endif
