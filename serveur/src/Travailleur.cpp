#include "Travailleur.h"

#include <algorithm>

namespace serveur {

namespace {
// One commit for so many requests at most: as many as wait. Bounds what a failed one takes with it.
constexpr std::size_t LOT_MAX = 2048;
} // namespace

Travailleur::Travailleur(Magasin& magasin, FileRequetes& requetes, Clients& clients)
    : _magasin(magasin),
      _requetes(requetes),
      _clients(clients),
      _inconnue(Fiche::vide()),
      _prises(LOT_MAX),
      _lot(LOT_MAX),
      _fil("cdv-executions", [this] { return _travailler(); })
{}

void Travailleur::arreter()
{
    _requetes.fermer();
    _fil.joindre();
}

bool Travailleur::_travailler()
{
    _requetes.prendre(_prises);
    auto debut = _prises.begin();
    while (debut != _prises.end()) {
        const auto liste = std::find_if(debut, _prises.end(), [](const Requete& requete) {
            return requete.operation == Operation::liste;
        });
        if (liste != debut)
            _executerLot(debut, liste);
        if (liste != _prises.end())
            _lister(*liste);
        debut = liste == _prises.end() ? liste : liste + 1;
    }
    return !_prises.empty();
}

void Travailleur::_executerLot(Requetes::iterator debut, Requetes::iterator fin)
{
    _lot.clear();
    for (auto requete = debut; requete != fin; ++requete)
        if (requete->aExecuter())
            _lot.push_back(&*requete);
    _magasin.executer(_lot);
    for (auto requete = debut; requete != fin; ++requete)
        _repondre(Notification::Genre::resultat, *requete, requete->resultat);
}

void Travailleur::_lister(const Requete& requete)
{
    int resultat = requete.resultat;
    if (requete.aExecuter())
        resultat = _magasin.liste(*requete.vol, [&](FichePartagee vol) {
            return _clients.notifier(*requete.client, {Notification::Genre::element, Operation::liste, FAIT,
                                                       std::move(vol), requete.idOp});
        });
    _repondre(Notification::Genre::finListe, requete, resultat);
}

void Travailleur::_repondre(Notification::Genre genre, const Requete& requete, int resultat)
{
    _clients.notifier(*requete.client, {genre, requete.operation, resultat,
                                        requete.vol != nullptr ? requete.vol : _inconnue, requete.idOp});
}

} // namespace serveur
