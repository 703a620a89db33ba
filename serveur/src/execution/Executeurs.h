#ifndef EXECUTEURS_H
#define EXECUTEURS_H

#include "Aiguillage.h"
#include "FilServeur.h"

#include <list>

namespace serveur {

/// The threads that execute requests on the store: one that commits what is ready of all lines together, and
/// a few that read beside it. Each takes from every line in its turn.
class Executeurs : orix::INonCopiable
{
  public:
    /// Both outlive this object. Throws ErreurMagasin, std::system_error.
    Executeurs(Magasin& magasin, Aiguillage& aiguillage);
    ~Executeurs();

    /// Returns when what the queues hold still has been executed.
    void arreter();

    /// Whether every thread has gone on, be it to wait, since the last time that this was asked. One thread.
    bool avancent();

  private:
    class Battement;
    class Redacteur;
    class Lecteur;

    Aiguillage& _aiguillage;
    std::unique_ptr<Redacteur> _redacteur;
    std::list<Lecteur> _lecteurs;
};

} // namespace serveur

#endif
