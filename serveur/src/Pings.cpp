#include "Pings.h"

#include "LiaisonORB.h"

#include "orix/Trace.h"

namespace serveur {

namespace {

constexpr int PINGS_MANQUES_MAX = 2;
constexpr unsigned CONNEXION_PINGS = 1; // of each client's process; notifications use the default one

/// What is known of one client's answers, and their receiver.
class Reponses : public POA_orix_corba::AMI_InterfacePingHandler, public PortableServer::RefCountServantBase
{
  public:
    using Horloge = std::chrono::steady_clock;

    enum Verdict
    {
        ATTENDRE,
        PINGER,
        PERDU,
        RENIE ///< the client said that this server is not its own
    };

    /// To be asked once a period; vie: the client has sent something since the last time.
    Verdict examiner(std::chrono::milliseconds delai, bool vie)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_renie)
            return RENIE;
        if (vie) {
            _manques = 0;
            _reconnu = true;
        } else if (_enCours && Horloge::now() - _depart >= delai) {
            _compter();
        }
        if (_manques >= PINGS_MANQUES_MAX)
            return PERDU;
        if (_enCours)
            return ATTENDRE;
        _enCours = true;
        _compte = false;
        _depart = Horloge::now();
        return PINGER;
    }

    void manquer()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (!_compte)
            _compter();
        _enCours = false;
    }

    void testerConnexionClient() override
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _enCours = false;
        _reconnu = true;
        _manques = 0;
    }

    void testerConnexionClient_excep(Messaging::ExceptionHolder* exception) override
    {
        try {
            exception->raise_exception();
        } catch (const orix_corba::ServeurDeconnecte&) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            // Until the client has treated the answer to its activation, it knows of no server.
            _renie = _reconnu;
        } catch (const CORBA::Exception& e) {
            ORIX_TRACE(orix::NTO_REFUS, "Pings", "testerConnexionClient_excep", orix::orb::information(e));
        }
        manquer();
    }

    void testerConnexionServeur() override {}
    void testerConnexionServeur_excep(Messaging::ExceptionHolder*) override {}

  private:
    void _compter()
    {
        ++_manques;
        _compte = true;
    }

    std::mutex _mutex;
    Horloge::time_point _depart; // of the last ping
    bool _enCours = false;       // the last ping is not answered yet
    bool _compte = false;        // and was already counted as missed, once or more
    bool _reconnu = false;       // the client has shown that it holds this server as its own
    bool _renie = false;
    int _manques = 0; // in a row
};

} // namespace

/// The pings of one client.
class Pings::Suivi
{
  public:
    explicit Suivi(const Client& client)
        : _numero(client.identite().numero), _reponses(new Reponses), _repondeur(_reponses->_this())
    {
        const CORBA::Object_var objet = orix::orb::surConnexion(client.reference(), CONNEXION_PINGS);
        _ping = orix_corba::InterfacePing::_unchecked_narrow(objet);
    }
    ~Suivi()
    {
        try {
            const PortableServer::POA_var poa = _reponses->_default_POA();
            const PortableServer::ObjectId_var id = poa->servant_to_id(_reponses.in());
            poa->deactivate_object(id);
        } catch (const CORBA::Exception& exception) {
            ORIX_TRACE(orix::NTO_REFUS, "Pings", "~Suivi", orix::orb::information(exception));
        }
    }
    Suivi(const Suivi&) = delete;
    Suivi& operator=(const Suivi&) = delete;

    Reponses& reponses() { return *_reponses.in(); }

    void pinger(const NomsServeur& noms)
    {
        try {
            _ping->sendc_testerConnexionClient(_repondeur, NOM_SERVICE, noms.serveur.c_str(),
                                               noms.machine.c_str(), _numero);
        } catch (const CORBA::Exception& exception) {
            ORIX_TRACE(orix::NTO_REFUS, "Pings", "pinger", orix::orb::information(exception));
            _reponses->manquer();
        }
    }

  private:
    const int _numero;
    const PortableServer::Servant_var<Reponses> _reponses;
    const orix_corba::AMI_InterfacePingHandler_var _repondeur;
    orix_corba::InterfacePing_var _ping;
};

Pings::Pings(const Reglages& reglages, NomsServeur noms, Clients& clients)
    : _reglages(reglages), _noms(std::move(noms)), _clients(clients), _fil([this] { _tourner(); })
{}

Pings::~Pings()
{
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _arret = true;
        _reveil.notify_all();
    }
    _fil.join();
}

void Pings::_tourner()
{
    std::unique_lock<std::mutex> verrou(_mutex);
    while (!_reveil.wait_for(verrou, _reglages.periode, [this] { return _arret; })) {
        verrou.unlock();
        _faireTour();
        verrou.lock();
    }
}

void Pings::_faireTour()
{
    _clients.recueillir();
    std::map<int, std::unique_ptr<Suivi>> suivis; // those of the clients that are left
    for (const std::shared_ptr<Client>& client : _clients.tous()) {
        const int numero = client->identite().numero;
        const auto connu = _suivis.find(numero);
        if (connu == _suivis.end()) { // its first ping waits for the next round: it is only being activated
            suivis[numero] = std::make_unique<Suivi>(*client);
            continue;
        }
        std::unique_ptr<Suivi>& suivi = suivis[numero] = std::move(connu->second);
        switch (suivi->reponses().examiner(_reglages.delai, client->prendreVie())) {
        case Reponses::PINGER:
            suivi->pinger(_noms);
            break;
        case Reponses::PERDU:
            _clients.abandonner(numero, "il ne répond plus");
            break;
        case Reponses::RENIE:
            _clients.abandonner(numero, "il n'est plus client de ce serveur");
            break;
        case Reponses::ATTENDRE:
            break;
        }
    }
    _suivis = std::move(suivis);
}

} // namespace serveur
