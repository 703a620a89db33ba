#ifndef TRAVAILLEUR_H
#define TRAVAILLEUR_H

#include "Service.h"

namespace serveur {

/// The thread that executes the requests on the store: as many as wait, in one transaction; then notifies
/// their clients, in the order of the requests.
class Travailleur
{
  public:
    /// All of them outlive this object.
    Travailleur(Magasin& magasin, FileRequetes& requetes, Clients& clients);
    ~Travailleur() { arreter(); }
    Travailleur(const Travailleur&) = delete;
    Travailleur& operator=(const Travailleur&) = delete;

    /// Refuses new requests, and returns when those accepted have been executed.
    void arreter();

  private:
    void _travailler();
    void _executerLot(std::vector<Requete>::iterator debut, std::vector<Requete>::iterator fin);
    void _lister(const Requete& requete);

    Magasin& _magasin;
    FileRequetes& _requetes;
    Clients& _clients;
    std::thread _fil;
};

} // namespace serveur

#endif
