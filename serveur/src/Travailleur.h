#ifndef TRAVAILLEUR_H
#define TRAVAILLEUR_H

#include "Service.h"

namespace serveur {

/// The thread that executes the requests on the store: as many as wait, in one transaction; then notifies
/// their clients, in the order of the requests.
class Travailleur : orix::INonCopiable
{
  public:
    /// All of them outlive this object.
    Travailleur(Magasin& magasin, FileRequetes& requetes, Clients& clients);
    ~Travailleur() { arreter(); }

    /// Refuses new requests, and returns when those accepted have been executed.
    void arreter();

  private:
    using Requetes = std::vector<Requete>;

    // An answer is not missed for lack of memory: none of these throws.
    bool _travailler();
    void _executerLot(Requetes::iterator debut, Requetes::iterator fin);
    void _lister(const Requete& requete);
    void _repondre(Notification::Genre genre, const Requete& requete, int resultat);

    Magasin& _magasin;
    FileRequetes& _requetes;
    Clients& _clients;
    // Of the thread:
    const FichePartagee _inconnue; // stands for a record that memory lacked for
    Requetes _prises;
    Magasin::Lot _lot;
    Fil _fil; // last: it uses everything above
};

} // namespace serveur

#endif
