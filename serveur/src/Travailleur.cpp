#include "Travailleur.h"

namespace serveur {

namespace {
// One commit for so many requests at most: as many as wait. Bounds what a failed one takes with it.
constexpr std::size_t LOT_MAX = 2048;
} // namespace

Travailleur::Travailleur(Magasin& magasin, FileRequetes& requetes, Clients& clients)
    : _magasin(magasin), _requetes(requetes), _clients(clients), _fil([this] { _travailler(); })
{}

void Travailleur::arreter()
{
    _requetes.fermer();
    if (_fil.joinable())
        _fil.join();
}

void Travailleur::_travailler()
{
    std::vector<Requete> requetes = _requetes.prendre(LOT_MAX);
    for (; !requetes.empty(); requetes = _requetes.prendre(LOT_MAX)) {
        auto debut = requetes.begin();
        while (debut != requetes.end()) {
            const auto liste = std::find_if(debut, requetes.end(), [](const Requete& requete) {
                return requete.operation == Operation::LISTE;
            });
            if (liste != debut)
                _executerLot(debut, liste);
            if (liste != requetes.end())
                _lister(*liste);
            debut = liste == requetes.end() ? liste : liste + 1;
        }
    }
}

void Travailleur::_executerLot(std::vector<Requete>::iterator debut, std::vector<Requete>::iterator fin)
{
    std::vector<Demande*> lot;
    std::transform(debut, fin, std::back_inserter(lot), [](Requete& requete) { return &requete; });
    _magasin.executer(lot);
    for (auto requete = debut; requete != fin; ++requete)
        _clients.notifier(*requete->client, {Notification::RESULTAT, requete->operation, requete->resultat,
                                             requete->vol, requete->idOp});
}

void Travailleur::_lister(const Requete& requete)
{
    const int resultat = _magasin.liste(*requete.vol, [&](FichePartagee vol) {
        return _clients.notifier(
            *requete.client, {Notification::ELEMENT, Operation::LISTE, FAIT, std::move(vol), requete.idOp});
    });
    _clients.notifier(*requete.client,
                      {Notification::FIN_LISTE, Operation::LISTE, resultat, nullptr, requete.idOp});
}

} // namespace serveur
