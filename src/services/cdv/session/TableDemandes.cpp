#include "TableDemandes.h"

#include <new>

namespace cdv {

using orix::OXstatut;

namespace {
Resultat resultat(Resultat::Etat etat, OXstatut statut = orix::OXS_OK)
{
    Resultat resultat;
    resultat.etat = etat;
    resultat.statut = statut;
    return resultat;
}
} // namespace

// ---- A request and its call

TableDemandes::Rang TableDemandes::commencer(const std::shared_ptr<Demande>& demande, Genre genre,
                                             Duree delai, Instant maintenant)
{
    const Rang rang = _dernierAppel + 1;
    const Instant echeance = delai > Duree(0) ? apres(maintenant, delai) : JAMAIS;
    const auto place = _echeances.emplace(std::pair(echeance, rang), demande).first;
    try {
        _appels.emplace(_clefAppel(rang), demande);
    } catch (...) {
        _echeances.erase(place);
        throw;
    }
    demande->_rang = rang;
    demande->_genre = genre;
    demande->_delai = delai;
    demande->_echeance = echeance;
    demande->_debut = maintenant;
    return _dernierAppel = rang;
}

void TableDemandes::partie(Rang rang, int idOp, Instant maintenant) noexcept
{
    Table::node_type noeud = _appels.extract(_clefAppel(rang));
    if (const std::shared_ptr<Demande> demande = noeud.mapped(); !demande->_finie) {
        demande->_idOp = idOp;
        noeud.key() = Clef{idOp, demande->_genre, rang};
        _attentes.insert(std::move(noeud));
        if (const auto depot = _depots.find({demande->_genre, idOp}); depot != _depots.end()) {
            for (Notification& notification : depot->second.notifications)
                _appliquer(demande, notification, maintenant);
            _nombreDepots -= depot->second.notifications.size();
            _depots.erase(depot);
        }
    }
    _oublierDepots();
}

void TableDemandes::nonPartie(Rang rang, OXstatut statut) noexcept
{
    const Table::node_type noeud = _appels.extract(_clefAppel(rang));
    _conclure(noeud.mapped(), resultat(Resultat::Etat::nonEnvoye, statut));
    _oublierDepots();
}

void TableDemandes::refuser(const std::shared_ptr<Demande>& demande, Genre genre, OXstatut statut,
                            Livraisons& fins) noexcept
{
    demande->_finie = true;
    Resultat refus = resultat(Resultat::Etat::nonEnvoye, statut);
    refus.lecture = estLecture(genre);
    if (demande->conclure(std::move(refus)))
        fins.ajouter(demande);
}

// ---- Ends

void TableDemandes::_conclure(const std::shared_ptr<Demande>& demande, Resultat resultat) noexcept
{
    if (std::exchange(demande->_finie, true))
        return;
    _echeances.erase({demande->_echeance, demande->_rang});
    _attentes.erase({demande->_idOp, demande->_genre, demande->_rang});
    resultat.lecture = estLecture(demande->_genre);
    _compter(demande->_genre, resultat.etat);
    if (demande->conclure(std::move(resultat)))
        _fins.ajouter(demande);
}

void TableDemandes::compter(Statistiques& statistiques) const noexcept
{
    for (std::size_t genre = 0; genre < _comptes.size(); ++genre)
        statistiques.demandes[genre] = {_comptes[genre].fins, _comptes[genre].durees.lire()};
    statistiques.enCours = enCours();
}

void TableDemandes::conclureToutes(Resultat::Etat etat, OXstatut statut) noexcept
{
    while (!_attentes.empty())
        _conclure(std::shared_ptr<Demande>(_attentes.begin()->second), resultat(etat, statut));
    for (const auto& [clef, demande] : _appels)
        _conclure(demande, resultat(etat, statut));
}

void TableDemandes::abandonner(const std::shared_ptr<Demande>& demande) noexcept
{
    _conclure(demande, resultat(Resultat::Etat::ferme));
}

void TableDemandes::expirer(Instant maintenant) noexcept
{
    while (prochaineEcheance() <= maintenant)
        _conclure(std::shared_ptr<Demande>(_echeances.begin()->second), resultat(Resultat::Etat::delai));
}

Instant TableDemandes::prochaineEcheance() const noexcept
{
    return _echeances.empty() ? JAMAIS : _echeances.begin()->first.first;
}

void TableDemandes::_replanifier(Demande& demande, Instant echeance) noexcept
{
    auto noeud = _echeances.extract({demande._echeance, demande._rang});
    noeud.key().first = demande._echeance = echeance;
    _echeances.insert(std::move(noeud));
}

// ---- Notifications

TableDemandes::Table::iterator TableDemandes::_chercher(Genre genre, int idOp) noexcept
{
    const auto premiere = _attentes.lower_bound({idOp, genre, 0});
    const bool trouvee = premiere != _attentes.end() && std::get<int>(premiere->first) == idOp &&
                         std::get<Genre>(premiere->first) == genre;
    return trouvee ? premiere : _attentes.end();
}

TableDemandes::Accueil TableDemandes::accueillir(Genre genre, int idOp, Notification& notification,
                                                 Rang dernierAppel, Instant maintenant) noexcept
{
    if (const auto attente = _chercher(genre, idOp); attente != _attentes.end()) {
        const std::shared_ptr<Demande> demande = attente->second;
        if (notification.sorte == Notification::Sorte::vol && _doitAttendre(*demande))
            return Accueil::aRevoir;
        _appliquer(demande, notification, maintenant);
        return Accueil::prise;
    }
    if (!_appelCommenceAvant(dernierAppel))
        return Accueil::inconnue;
    return _deposer(genre, idOp, notification, dernierAppel) ? Accueil::prise : Accueil::aRevoir;
}

bool TableDemandes::_deposer(Genre genre, int idOp, Notification& notification, Rang dernierAppel) noexcept
{
    if (_nombreDepots >= _maxDepots)
        return false;
    try {
        Depot& depot = _depots[{genre, idOp}];
        depot.notifications.push_back(std::move(notification));
        depot.appel = dernierAppel;
    } catch (const std::bad_alloc&) {
        return false; // its call will return, and then there is need for no more memory
    }
    ++_nombreDepots;
    return true;
}

bool TableDemandes::_appelCommenceAvant(Rang rang) const noexcept
{
    return !_appels.empty() && std::get<Rang>(_appels.begin()->first) <= rang;
}

/// A notification that overtakes its call came while the call lasted: once all the calls that lasted then are
/// over, nobody will ask for it.
void TableDemandes::_oublierDepots() noexcept
{
    for (auto depot = _depots.begin(); depot != _depots.end();) {
        if (_appelCommenceAvant(depot->second.appel)) {
            ++depot;
        } else {
            _nombreDepots -= depot->second.notifications.size();
            depot = _depots.erase(depot);
        }
    }
}

void TableDemandes::_appliquer(const std::shared_ptr<Demande>& demande, Notification& notification,
                               Instant maintenant) noexcept
{
    if (demande->_finie)
        return;
    if (notification.sorte == Notification::Sorte::vol) {
        try {
            demande->recevoir(std::move(*notification.vol));
            if (demande->_delai > Duree(0))
                _replanifier(*demande, apres(maintenant, demande->_delai));
            return;
        } catch (const std::bad_alloc&) {
            notification.sorte = Notification::Sorte::perdue;
        }
    }
    if (notification.sorte == Notification::Sorte::perdue)
        return _conclure(demande, resultat(Resultat::Etat::perdu, orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE));
    Resultat fin = resultat(notification.code == 0 ? Resultat::Etat::fait : Resultat::Etat::refuse);
    fin.code = notification.code;
    _compte(demande->_genre).durees.ajouter(maintenant - demande->_debut);
    fin.vol = std::move(notification.vol);
    _conclure(demande, std::move(fin));
}

// ---- Streams

/// Not while another request is unanswered: its answer comes behind the records.
bool TableDemandes::_doitAttendre(Demande& demande) noexcept
{
    const std::size_t limite = demande._retenue ? demande.capacite() / 2 + 1 : demande.capacite();
    const bool attendre = enCours() == 1 && demande.enAttente() >= limite;
    if (attendre && !demande._retenue)
        _replanifier(demande, JAMAIS); // the reader takes its time, not the server
    return demande._retenue = attendre;
}

} // namespace cdv
