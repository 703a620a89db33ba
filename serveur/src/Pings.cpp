#include "Pings.h"

#include "LiaisonORB.h"

#include "orix/Trace.h"

#include <iterator>
#include <utility>

namespace serveur {

namespace {

constexpr unsigned CONNEXION_PINGS = 1; // of each client's process; notifications use the default one

/// What is known of one client's answers, and their receiver.
class Reponses : public POA_orix_corba::AMI_InterfacePingHandler, public PortableServer::RefCountServantBase
{
  public:
    using Action = orix::Vitalite::Action;

    Reponses(std::shared_ptr<const Client> client, const Pings::Reglages& reglages)
        : _client(std::move(client)), _vitalite(reglages, orix::Vitalite::Instant::clock::now())
    {}

    Action examiner()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const Action action = _vitalite.examiner(orix::Vitalite::Instant::clock::now(), _client->activite());
        _sortis += action == Action::pinger;
        return action;
    }

    const char* motif() ///< of the loss
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _vitalite.reniee() ? "il n'est plus client de ce serveur" : "il ne répond plus";
    }

    void manquer()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (--_sortis == 0) // else it is an older one, which was missed in its time
            _vitalite.manquer(_client->activite());
    }

    void testerConnexionClient() override
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        --_sortis;
        _reconnu = true;
        _vitalite.repondre();
    }

    void testerConnexionClient_excep(Messaging::ExceptionHolder* exception) override
    {
        try {
            exception->raise_exception();
        } catch (const orix_corba::ServeurDeconnecte&) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            // Until the client has treated the answer to its activation, it knows of no server.
            if (_reconnu || _client->activite() != 0)
                _vitalite.renier();
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "Pings", "testerConnexionClient_excep", texteException());
        }
        manquer();
    }

    void testerConnexionServeur() override {}
    void testerConnexionServeur_excep(Messaging::ExceptionHolder*) override {}

  private:
    const std::shared_ptr<const Client> _client;
    std::mutex _mutex;
    orix::Vitalite _vitalite;
    int _sortis = 0;       // pings that neither were answered nor failed yet, those missed included
    bool _reconnu = false; // the client has shown that it holds this server as its own
};

} // namespace

/// The pings of one client.
class Pings::Suivi : orix::INonCopiable
{
  public:
    Suivi(const std::shared_ptr<const Client>& client, const Reglages& reglages)
        : _client(client), _reponses(new Reponses(client, reglages))
    {
        const CORBA::Object_var objet = orix::orb::surConnexion(client->reference(), CONNEXION_PINGS);
        _ping = orix_corba::InterfacePing::_unchecked_narrow(objet);
        _repondeur = _reponses->_this(); // last: it is to be deactivated
    }
    ~Suivi()
    {
        try {
            const PortableServer::POA_var poa = _reponses->_default_POA();
            const PortableServer::ObjectId_var id = poa->servant_to_id(_reponses.in());
            poa->deactivate_object(id);
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "Pings", "~Suivi", texteException());
        }
    }

    Reponses& reponses() { return *_reponses.in(); }

    void pinger(const NomsServeur& noms)
    {
        try {
            _ping->sendc_testerConnexionClient(_repondeur, NOM_SERVICE, noms.serveur.c_str(),
                                               noms.machine.c_str(), _client->identite().numero);
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "Pings", "pinger", texteException());
            _reponses->manquer();
        }
    }

  private:
    const std::shared_ptr<const Client> _client;
    const PortableServer::Servant_var<Reponses> _reponses;
    orix_corba::InterfacePing_var _ping;
    orix_corba::AMI_InterfacePingHandler_var _repondeur;
};

Pings::Pings(const Reglages& reglages, NomsServeur noms, Clients& clients)
    : _reglages(reglages),
      _noms(std::move(noms)),
      _clients(clients),
      _fil("cdv-pings", [this] { return _tourner(); })
{}

Pings::~Pings()
{
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _arret = true;
        _reveil.notify_all();
    }
    _fil.joindre();
}

bool Pings::_tourner()
{
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        if (_reveil.wait_for(verrou, _reglages.periode, [this] { return _arret; }))
            return false;
    }
    _faireTour();
    return true;
}

void Pings::_faireTour()
{
    _clients.recueillir();
    for (auto suivi = _suivis.begin(); suivi != _suivis.end();)
        suivi = _clients.trouver(suivi->first) == nullptr ? _suivis.erase(suivi) : std::next(suivi);
    for (const std::shared_ptr<Client>& client : _clients.tous()) {
        const int numero = client->identite().numero;
        std::unique_ptr<Suivi>& suivi = _suivis[numero];
        if (suivi == nullptr) { // its first ping waits for the next round: it is only being activated
            suivi = std::make_unique<Suivi>(client, _reglages);
            continue;
        }
        switch (suivi->reponses().examiner()) {
        case Reponses::Action::pinger:
            suivi->pinger(_noms);
            break;
        case Reponses::Action::perdu:
            _clients.abandonner(numero, suivi->reponses().motif());
            break;
        case Reponses::Action::attendre:
            break;
        }
    }
}

} // namespace serveur
