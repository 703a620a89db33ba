#ifndef SERVEUR_H
#define SERVEUR_H

#include "Executeurs.h"
#include "Exposition.h"
#include "Pings.h"
#include "Service.h"

namespace serveur {

/// The service in a process whose middleware is initialised. Its parts, in the order in which they need each
/// other.
class Serveur
{
  public:
    struct Reglages
    {
        NomsServeur noms;
        Pings::Reglages pings;
        Clients::Reglages clients;
        bool clientsAilleurs = false;      ///< see FrontNoyau
        orix::Configuration configuration; ///< of the process: who may do what
    };

    /// The store outlives this object, and this object the middleware. Clients can come from the return on.
    Serveur(Magasin& magasin, const Reglages& reglages);
    ~Serveur();

    const std::string& pointAcces() const { return _pointAcces; } ///< "iiop:HOST:PORT" or "ssliop:HOST:PORT"

    Droits& droits() { return _droits; } ///< those of now

    // What an operator asks. Any thread, until the end of this object.

    /// Whether every thread that executes has gone on in that time.
    bool avance(std::chrono::nanoseconds delai) const { return _executeurs.avancent(delai); }
    /// Why nobody should count on the service now, in one line; null when it works.
    const char* mal() const;
    const Mesures& mesures() const { return _mesures; }
    EtatServeur etat() const;

    /// Executes what was accepted, sends every notification, tells the clients, and serves nobody any more.
    /// Does not wait for clients longer than some seconds.
    void arreter();

  private:
    Mesures _mesures;
    Droits _droits;
    Magasin& _magasin;
    std::atomic<bool> _arret{false};
    Aiguillage _aiguillage;
    Executeurs _executeurs; // outlives the clients, who wait for it
    Clients _clients;
    PortableServer::Servant_var<Service> _service; // null once withdrawn from its POA
    PortableServer::ObjectId_var _idService;
    std::unique_ptr<Pings> _pings;
    std::string _pointAcces;
};

} // namespace serveur

#endif
