#ifndef PINGS_H
#define PINGS_H

#include "Clients.h"
#include "FrontNoyau.h"

#include "orix/interne/Vitalite.h"

namespace serveur {

/// Pings every client, on a connection of its own so that a ping does not queue behind notifications: for the
/// first time once it has shown that it knows the answer to its activation, or when it has had a period for
/// that. A client is dropped when it answers that this server is not its own, or after two misses in a row;
/// whatever it sends meanwhile proves it alive. A round that fails is traced, and the next one comes.
class Pings : orix::INonCopiable
{
  public:
    using Reglages = orix::Vitalite::Reglages;

    /// clients and the ORB outlive this object.
    Pings(const Reglages& reglages, NomsServeur noms, Clients& clients);
    ~Pings();

  private:
    class Suivi;
    class Premiers;

    bool _tourner();
    void _faireTour(Client::Instant maintenant);
    void _examiner(const std::shared_ptr<Client>& client, Client::Instant maintenant, Premiers& premiers);

    const Reglages _reglages;
    const NomsServeur _noms;
    Clients& _clients;
    std::map<int, std::unique_ptr<Suivi>> _suivis; // used by the thread only
    Client::Instant _prochainTour;                 // of the thread too
    std::atomic<bool> _arret{false};
    Fil _fil; // last: it uses everything above
};

} // namespace serveur

#endif
