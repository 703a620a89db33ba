#ifndef EXECUTEURS_H
#define EXECUTEURS_H

#include "Aiguillage.h"
#include "FilServeur.h"
#include "Mesures.h"

#include <list>

namespace serveur {

/// The threads that execute requests on the store: one that commits what is ready of all lines together, and
/// a few that read beside it. Each takes from every line in its turn.
class Executeurs : orix::INonCopiable
{
  public:
    /// All of them outlive this object. Throws ErreurMagasin, std::system_error.
    Executeurs(Magasin& magasin, Aiguillage& aiguillage, Mesures& mesures);
    ~Executeurs();

    /// Returns when what the queues hold still has been executed.
    void arreter();

    /// Whether every thread has gone on, be it to wait, in that time. Any thread, as long as this object
    /// lives.
    bool avancent(std::chrono::nanoseconds delai) const;

  private:
    class Atelier;
    class Redacteur;
    class Lecteur;

    using Battement = std::atomic<std::chrono::steady_clock::time_point>; // when a thread went on

    Aiguillage& _aiguillage;
    std::list<Battement> _battements; // one for each thread
    std::unique_ptr<Redacteur> _redacteur;
    std::list<Lecteur> _lecteurs;
};

} // namespace serveur

#endif
