#include "Clients.h"

#include "orix/Trace.h"
#include "orix/interne/Echec.h"

#include <random>

namespace serveur {

Clients::Clients(const Reglages& reglages) : _reglages(reglages), _prochain(std::random_device{}()) {}

Clients::~Clients() { arreter(std::chrono::milliseconds(0)); }

int Clients::ajouter(const std::string& nom, const std::string& machine, const std::string& appelant,
                     orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
                     orix_corba__Client_ptr client)
{
    recueillir();
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_arret)
        throw orix::Echec(orix::OXS_SERVICE_NON_ACTIVE);
    if (_clients.size() >= _reglages.nombreMax)
        throw orix::Echec(orix::OXS_NOK);
    int numero = 0;
    while (numero == 0 || _clients.count(numero) != 0)
        numero = static_cast<int>(_prochain++ & 0x7FFFFFFFu);
    _clients[numero] = std::make_shared<Client>(
        Client::Identite{numero, nom, machine, appelant}, notifications, client, _reglages.capaciteFile,
        [this](int parti, const std::string& raison) { abandonner(parti, raison); });
    ORIX_TRACE(orix::NTO_NOTABLE, "Clients", "ajouter",
               "Client " << numero << " activé : " << nom << " sur " << machine << " (" << appelant << ")");
    return numero;
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

bool Clients::notifier(Client& client, Notification notification)
{
    const Depot depot = client.notifier(std::move(notification), _reglages.delaiFilePleine);
    if (depot == Depot::PLEINE)
        abandonner(client.identite().numero, "il ne prend pas ses notifications");
    return depot == Depot::FAIT;
}

void Clients::abandonner(int numero, const std::string& raison)
{
    std::shared_ptr<Client> client;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto place = _clients.find(numero);
        if (place == _clients.end())
            return;
        client = place->second;
        _partis.push_back(client);
        _clients.erase(place);
        _depart.notify_all();
    }
    client->abandonner();
    ORIX_TRACE(orix::NTO_NOTABLE, "Clients", "abandonner",
               "Client " << numero << " parti (" << client->identite().nom << " sur "
                         << client->identite().machine << ") : " << raison);
}

void Clients::recueillir()
{
    std::vector<std::shared_ptr<Client>> finis;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto debut = std::stable_partition(_partis.begin(), _partis.end(),
                                                 [](const auto& client) { return !client->aFini(); });
        finis.assign(debut, _partis.end());
        _partis.erase(debut, _partis.end());
    }
    for (const auto& client : finis)
        client->joindre();
}

void Clients::arreter(std::chrono::milliseconds delai)
{
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _arret = true;
    }
    for (const auto& client : tous())
        client->congedier();
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _depart.wait_for(verrou, delai, [this] { return _clients.empty(); });
    }
    for (const auto& client : tous())
        abandonner(client->identite().numero, "il n'a pas tout pris à l'arrêt du service");
    std::vector<std::shared_ptr<Client>> partis;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        partis.swap(_partis);
    }
    for (const auto& client : partis)
        client->joindre();
}

} // namespace serveur
