#include "ClientService.h"

#include "CdvSession.h"
#include "OXcdvCliItf.h"

namespace cdv {

using Garde = std::lock_guard<std::mutex>;

ClientService& ClientService::unique()
{
    static auto* const client = new ClientService;
    return *client;
}

std::shared_ptr<MoteurSession> ClientService::moteur()
{
    const Garde garde(_mutex);
    return _moteur;
}

void ClientService::installer(const std::shared_ptr<MoteurSession>& moteur)
{
    const Garde garde(_mutex);
    if (_moteur)
        throw Erreur(orix::OXS_DEJA_CONNECTE, "a cdv session is already open in this process");
    _moteur = moteur;
}

void ClientService::retirer()
{
    std::shared_ptr<MoteurSession> ancien; // released without the lock
    const Garde garde(_mutex);
    ancien.swap(_moteur);
}

bool ClientService::occupe()
{
    const Garde garde(_mutex);
    return _activation != Laissee::non;
}

void ClientService::laisser()
{
    const Garde garde(_mutex);
    _activation = Laissee::aDesactiver;
}

void ClientService::serviceRendu()
{
    const Garde garde(_mutex);
    if (_activation == Laissee::aDesactiver)
        _activation = Laissee::aIgnorer;
}

void ClientService::oublier()
{
    const Garde garde(_mutex);
    _activation = Laissee::non;
}

std::shared_ptr<MoteurSession> ClientService::destinataire(const std::shared_ptr<MoteurSession>& refusant)
{
    const Garde garde(_mutex);
    if (_activation != Laissee::non)
        return nullptr;
    if (_moteur && _moteur != refusant)
        return _moteur;
    _activation = Laissee::aDesactiver;
    return nullptr;
}

bool ClientService::aDesactiver()
{
    const Garde garde(_mutex);
    return _activation == Laissee::aDesactiver;
}

orix::OXstatut ClientService::activer(char* service)
{
    const Garde garde(_appel);
    return OXcdvCliItf::active(service);
}

orix::OXstatut ClientService::desactiver()
{
    const Garde garde(_appel);
    return OXcdvCliItf::desactive();
}

} // namespace cdv
