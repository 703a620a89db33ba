#ifndef PINGS_H
#define PINGS_H

#include "Clients.h"
#include "FrontNoyau.h"

#include "orix/interne/Vitalite.h"

namespace serveur {

/// Pings every client, on a connection of its own so that a ping does not queue behind notifications. A
/// client is dropped when it answers that this server is not its own, or after two misses in a row; whatever
/// it sends meanwhile proves it alive. A round that fails is traced, and the next one comes.
class Pings : orix::INonCopiable
{
  public:
    using Reglages = orix::Vitalite::Reglages;

    /// clients and the ORB outlive this object.
    Pings(const Reglages& reglages, NomsServeur noms, Clients& clients);
    ~Pings();

  private:
    class Suivi;

    bool _tourner();
    void _faireTour();

    const Reglages _reglages;
    const NomsServeur _noms;
    Clients& _clients;
    std::map<int, std::unique_ptr<Suivi>> _suivis; // used by the thread only
    std::mutex _mutex;
    std::condition_variable _reveil;
    bool _arret = false;
    Fil _fil; // last: it uses everything above
};

} // namespace serveur

#endif
