#ifndef CLIENTS_H
#define CLIENTS_H

#include "Client.h"
#include "Expediteurs.h"
#include "Reveil.h"

#include <map>

namespace serveur {

/// The clients of this server, by number. Every operation may be called from any thread.
class Clients : orix::INonCopiable
{
  public:
    struct Reglages
    {
        std::size_t memoireMax = std::size_t{256} << 20; ///< octets of requests and answers that wait
        std::size_t nombreMax = 1000;                    ///< strangers must not make them without end
        std::size_t parAdresse = 200;                    ///< nobody takes the places of all the others
    };

    /// aiguillage and mesures outlive this object.
    Clients(const Reglages& reglages, Aiguillage& aiguillage, Mesures& mesures);
    ~Clients();

    /// Returns the number given to the client: one that no other client of this server has or had, and that
    /// another server or an earlier life of this one is unlikely to have given. When there are too many, of
    /// its address or in all, the oldest that has not answered a ping yet is let go for it. Throws
    /// orix::Echec: OXS_SERVICE_NON_ACTIVE during the stop, OXS_NOK when there is no such one;
    /// std::bad_alloc, std::system_error.
    int ajouter(const std::string& nom, const std::string& machine, const std::string& appelant,
                orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications, orix_corba__Client_ptr face);
    std::shared_ptr<Client> trouver(int numero) const; ///< null when there is none
    std::vector<std::shared_ptr<Client>> tous() const;
    const Memoire& memoire() const { return _memoire; } ///< of all that waits
    std::size_t filsEnvoi() const { return _expediteurs.nombre(); }
    /// Rings for the pings: a client has shown for the first time that it knows its number.
    Reveil& reveil() { return _reveil; }

    // An end allocates nothing: none of these throws.

    /// Lets the client go without a word. Does nothing when the number is unknown.
    void abandonner(int numero, Depart raison, const std::string& precision = {});

    /// Refuses new clients and new requests, has those accepted executed and answered, tells each client that
    /// the server stops. Does not wait longer than the delay, then lets go of those that are left.
    void arreter(std::chrono::milliseconds delai);

  private:
    using ParNumero = std::map<int, std::shared_ptr<Client>>;

    /// The number of the client that is to make place for one from that address; 0: there is place. Throws
    /// orix::Echec when none can.
    int _aCeder(const std::string& adresse) const;

    const Reglages _reglages;
    Aiguillage& _aiguillage;
    Mesures& _mesures;
    Memoire _memoire;
    mutable std::mutex _mutex;
    ParNumero _clients;
    std::condition_variable _depart;
    Reveil _reveil;
    unsigned _prochain;
    bool _arret = false;
    Expediteurs _expediteurs; // last: it uses everything above
};

} // namespace serveur

#endif
