#include "Pings.h"

#include "LiaisonORB.h"
#include "ServantGarde.h"

#include "orix/Trace.h"

#include <iterator>
#include <utility>

namespace serveur {

namespace {

// Pings under way at once to clients that have answered none yet: each takes a thread until it ends.
constexpr int PREMIERS_PAR_ADRESSE = 100;
constexpr int PREMIERS = 500;
constexpr std::chrono::minutes OUBLI{1}; // the end of a call is told long before
constexpr unsigned CONNEXION_PINGS = 1;  // of each client's process; notifications use the default one

/// What is known of one client's answers, and their receiver.
class Reponses : public orix::orb::ServantLocal<POA_orix_corba::AMI_InterfacePingHandler>,
                 public PortableServer::RefCountServantBase
{
  public:
    using Action = orix::Vitalite::Action;

    /// reveil: that of the pings.
    Reponses(std::shared_ptr<Client> client, const Pings::Reglages& reglages, Reveil& reveil)
        : _client(std::move(client)),
          _reveil(reveil),
          _vitalite(reglages, orix::Vitalite::Instant::clock::now())
    {}

    Action examiner()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const Action action = _vitalite.examiner(orix::Vitalite::Instant::clock::now(), _client->activite());
        if (action == Action::pinger) {
            ++_sortis;
            _dernier = Client::Instant::clock::now();
        }
        return action;
    }

    bool enCours() ///< whether a ping has not ended, missed or not
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _sortis > 0 && Client::Instant::clock::now() < _dernier + OUBLI;
    }

    Depart motif() ///< of the loss
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _vitalite.reniee() ? Depart::renie : Depart::muet;
    }

    void manquer()
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (--_sortis == 0) // else it is an older one, which was missed in its time
                _vitalite.manquer(_client->activite());
        }
        if (!_client->estConfirme())
            _reveil.sonner(); // for the next that waits for its first ping
    }

    void testerConnexionClient() override
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            --_sortis;
            _vitalite.repondre();
        }
        if (_client->confirmer())
            _reveil.sonner();
    }

    void testerConnexionClient_excep(Messaging::ExceptionHolder* exception) override
    {
        try {
            exception->raise_exception();
        } catch (const orix_corba::ServeurDeconnecte&) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            // Until the client has treated the answer to its activation, it knows of no server.
            if (_client->estConfirme() || _client->activite() != 0)
                _vitalite.renier();
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "Pings", "testerConnexionClient_excep", texteException());
        }
        manquer();
    }

    void testerConnexionServeur() override {}
    void testerConnexionServeur_excep(Messaging::ExceptionHolder*) override {}

  private:
    const std::shared_ptr<Client> _client;
    Reveil& _reveil;
    std::mutex _mutex;
    orix::Vitalite _vitalite;
    Client::Instant _dernier; // ping
    int _sortis = 0;          // pings that neither were answered nor failed yet, those missed included
};

} // namespace

/// The pings of one client.
class Pings::Suivi : orix::INonCopiable
{
  public:
    Suivi(const std::shared_ptr<Client>& client, const Reglages& reglages, Reveil& reveil)
        : _client(client), _reponses(new Reponses(client, reglages, reveil))
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

    const Client& client() const { return *_client; }
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
      _prochainTour(Client::Instant::clock::now() + reglages.periode),
      _fil("cdv-pings", [this] { return _tourner(); })
{}

Pings::~Pings()
{
    _arret = true;
    _clients.reveil().sonner();
    _fil.joindre();
}

bool Pings::_tourner()
{
    _clients.reveil().attendre(_prochainTour);
    if (_arret)
        return false;
    const auto maintenant = Client::Instant::clock::now();
    if (maintenant >= _prochainTour)
        _prochainTour = maintenant + _reglages.periode;
    _faireTour(maintenant);
    return true;
}

/// How many pings are under way to clients that have answered none, those that have gone included.
class Pings::Premiers
{
  public:
    void compter(const Client& client)
    {
        ++_parAdresse[client.identite().adresse];
        ++_total;
    }
    /// Afterwards the client is counted without taking memory.
    bool complets(const Client& client)
    {
        return _parAdresse[client.identite().adresse] >= PREMIERS_PAR_ADRESSE || _total >= PREMIERS;
    }

  private:
    std::map<std::string, int> _parAdresse;
    int _total = 0;
};

void Pings::_faireTour(Client::Instant maintenant)
{
    Premiers premiers;
    for (auto suivi = _suivis.begin(); suivi != _suivis.end();) {
        const Client& client = suivi->second->client();
        const bool enCours = suivi->second->reponses().enCours();
        if (enCours && !client.estConfirme())
            premiers.compter(client);
        suivi =
            enCours || _clients.trouver(suivi->first) != nullptr ? std::next(suivi) : _suivis.erase(suivi);
    }
    for (const std::shared_ptr<Client>& client : _clients.tous())
        _examiner(client, maintenant, premiers);
}

void Pings::_examiner(const std::shared_ptr<Client>& client, Client::Instant maintenant, Premiers& premiers)
{
    const int numero = client->identite().numero;
    auto place = _suivis.find(numero);
    const bool attend = place != _suivis.end() && place->second->reponses().enCours();
    if (!client->estConfirme() && !attend && premiers.complets(*client))
        return; // its turn comes
    if (place == _suivis.end()) {
        if (client->activite() == 0 && maintenant < client->naissance() + _reglages.periode)
            return; // the answer to its activation may still be under way
        place = _suivis.emplace(numero, std::make_unique<Suivi>(client, _reglages, _clients.reveil())).first;
    }
    Suivi& suivi = *place->second;
    switch (suivi.reponses().examiner()) {
    case Reponses::Action::pinger:
        if (!client->estConfirme())
            premiers.compter(*client);
        suivi.pinger(_noms);
        break;
    case Reponses::Action::perdu:
        _clients.abandonner(numero, suivi.reponses().motif());
        break;
    case Reponses::Action::attendre:
        break;
    }
}

} // namespace serveur
