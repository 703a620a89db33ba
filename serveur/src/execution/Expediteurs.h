#ifndef EXPEDITEURS_H
#define EXPEDITEURS_H

#include "Aiguillage.h"
#include "FilServeur.h"

#include <list>
#include <optional>

namespace serveur {

/// The threads that send answers, for all lines. One of them is always free: a reader that takes nothing, or
/// cannot be connected to, holds up nobody else. Those that are too many leave.
class Expediteurs : orix::INonCopiable
{
  public:
    /// Both outlive this object. Throws std::system_error.
    Expediteurs(Aiguillage& aiguillage, Mesures& mesures);
    ~Expediteurs() { arreter(); }

    /// Once the lines are abandoned: returns when nothing is being sent any more.
    void arreter();
    std::size_t nombre() const; ///< of threads

  private:
    using Fils = std::list<std::optional<Fil>>;

    void _lancer(); ///< with the lock; throws std::bad_alloc, std::system_error
    void _relever() noexcept;
    bool _avancer(Fils::iterator celui);
    bool _partir(Fils::iterator celui);

    Aiguillage& _aiguillage;
    Mesures& _mesures;
    mutable std::mutex _mutex; // guards what follows
    Fils _fils;
    Fils _partis; // to be joined
    std::size_t _libres = 0;
    bool _arret = false;
};

} // namespace serveur

#endif
