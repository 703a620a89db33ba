#include "Ecoulement.h"

namespace outils {

using Etat = cdv::Resultat::Etat;

Ecoulement::Bilan Ecoulement::executer(const cdv::Vol& exemple,
                                       const std::function<void(cdv::Vol&, std::uint64_t ecrits)>& surVol)
{
    const Interruption::Garde garde(_interruption, [this] { _session.fermer(); });
    for (;;) {
        cdv::Flux flux = _session.parcourir(exemple);
        while (std::optional<cdv::Vol> vol = flux.suivant()) {
            if (!_estNouveau(*vol) || (_reglages.retient && !_reglages.retient(*vol)) ||
                ++_bilan.recus <= _reglages.passes)
                continue;
            surVol(*vol, ++_bilan.ecrits);
            if (_bilan.ecrits == _reglages.limite)
                return _bilan;
        }
        if (flux.resultat())
            return _bilan;
        if (!_attendreServeur(flux.resultat())) {
            _bilan.echec = Issue(flux.resultat());
            if (_interruption.demandee())
                _bilan.echec->statut = INTERROMPU;
            return _bilan;
        }
        ++_bilan.pertes;
    }
}

/// The next listing may come from another server, in an order of its own: what has been seen is known by its
/// key, not by its rank.
bool Ecoulement::_estNouveau(const cdv::Vol& vol)
{
    const auto identifiant = vol.lire(cdv::Champ::gidentifiant);
    if (_reglages.patience.count() != 0 && identifiant && !_venus.emplace(*identifiant).second)
        return false;
    _finPatience.reset();
    return true;
}

/// True when the listing is worth asking for again: its connection was lost, and there is another one.
bool Ecoulement::_attendreServeur(const cdv::Resultat& resultat)
{
    const bool perdue = resultat.etat == Etat::perdu ||
                        (resultat.etat == Etat::nonEnvoye && resultat.statut != orix::OXS_ERREUR_CORBA);
    if (!perdue)
        return false;
    const auto maintenant = std::chrono::steady_clock::now();
    if (!_finPatience)
        _finPatience = maintenant + _reglages.patience;
    const auto reste = std::chrono::ceil<cdv::Duree>(*_finPatience - maintenant);
    return reste > cdv::Duree(0) && _session.attendreActive(reste);
}

} // namespace outils
