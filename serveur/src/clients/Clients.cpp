#include "Clients.h"

#include "LiaisonORB.h"

#include "orix/Trace.h"
#include "orix/interne/Echec.h"

#include <algorithm>
#include <random>
#include <utility>

namespace serveur {

Clients::Clients(const Reglages& reglages, Aiguillage& aiguillage, Mesures& mesures)
    : _reglages(reglages),
      _aiguillage(aiguillage),
      _mesures(mesures),
      _memoire(reglages.memoireMax),
      _prochain(std::random_device{}()),
      _expediteurs(aiguillage, mesures)
{}

Clients::~Clients() { arreter(std::chrono::milliseconds(0)); }

int Clients::ajouter(const std::string& nom, const std::string& machine, const std::string& appelant,
                     orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
                     orix_corba__Client_ptr face)
{
    const std::string adresse = orix::orb::adresse(appelant);
    std::unique_lock<std::mutex> verrou(_mutex);
    while (const int cede = _aCeder(adresse)) {
        verrou.unlock();
        abandonner(cede, Depart::place);
        verrou.lock();
    }
    if (_arret)
        throw orix::Echec(orix::OXS_SERVICE_NON_ACTIVE);
    int numero = 0;
    while (numero == 0 || _clients.count(numero) != 0)
        numero = static_cast<int>(_prochain++ & 0x7FFFFFFFu);
    const auto client = std::make_shared<Client>(
        Client::Identite{numero, nom, machine, appelant, adresse}, notifications, face, _memoire,
        [this](int parti, Depart raison, const std::string& precision) {
            abandonner(parti, raison, precision);
        });
    _clients.emplace(numero, client);
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Clients", "ajouter",
                          "Client " << numero << " activé : " << nom << " sur " << machine << " (" << appelant
                                    << ")");
    return numero;
}

int Clients::_aCeder(const std::string& adresse) const
{
    const auto estDeLa = [&](const auto& c) { return c.second->identite().adresse == adresse; };
    const auto nombre = std::count_if(_clients.begin(), _clients.end(), estDeLa);
    const bool adressePleine = static_cast<std::size_t>(nombre) >= _reglages.parAdresse;
    if (!adressePleine && _clients.size() < _reglages.nombreMax)
        return 0;
    const Client* ancien = nullptr;
    for (const auto& c : _clients)
        if (!c.second->estConfirme() && (!adressePleine || estDeLa(c)) &&
            (ancien == nullptr || c.second->naissance() < ancien->naissance()))
            ancien = c.second.get();
    if (ancien == nullptr)
        throw orix::Echec(orix::OXS_NOK);
    return ancien->identite().numero;
}

std::shared_ptr<Client> Clients::trouver(int numero) const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto place = _clients.find(numero);
    return place != _clients.end() ? place->second : nullptr;
}

std::vector<std::shared_ptr<Client>> Clients::tous() const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    std::vector<std::shared_ptr<Client>> clients;
    for (const auto& [numero, client] : _clients)
        clients.push_back(client);
    return clients;
}

void Clients::abandonner(int numero, Depart raison, const std::string& precision)
{
    std::shared_ptr<Client> client;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto place = _clients.find(numero);
        if (place == _clients.end())
            return;
        client = std::move(place->second);
        _clients.erase(place);
        _depart.notify_all();
    }
    client->abandonner();
    const auto rang = static_cast<std::size_t>(raison);
    serveur::ajouter(_mesures.departs[rang]);
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Clients", "abandonner",
                          "Client " << numero << " parti (" << client->identite().nom << " sur "
                                    << client->identite().machine << ") : " << DEPARTS[rang].raison
                                    << precision);
}

void Clients::arreter(std::chrono::milliseconds delai)
{
    std::unique_lock<std::mutex> verrou(_mutex);
    _arret = true;
    for (const auto& [numero, client] : _clients)
        _aiguillage.suivre(client, client->congedier());
    _depart.wait_for(verrou, delai, [this] { return _clients.empty(); });
    while (!_clients.empty()) {
        const int numero = _clients.begin()->first;
        verrou.unlock();
        abandonner(numero, Depart::lenteur);
        verrou.lock();
    }
    verrou.unlock();
    _expediteurs.arreter();
}

} // namespace serveur
