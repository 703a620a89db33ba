#include "Reconnexion.h"

#include <utility>

namespace cdv {

using orix::OXstatut;

Reconnexion::Reconnexion(const Options& options, std::minstd_rand::result_type graine)
    : _reprise(options.reprise),
      _delaiActivation(options.delaiActivation),
      _premierDelai(std::max(options.delaiReprise, Duree(1))),
      _delaiMax(std::clamp(options.delaiRepriseMax, Duree(1), TRES_LONG)),
      _gigue(std::clamp(options.gigue, 0.0, 1.0)),
      _hasard(graine)
{}

// ---- The application's will

Reconnexion::Action Reconnexion::ouvrir(Instant maintenant) noexcept
{
    if (_fermee)
        return {};
    _prochainEssai = maintenant;
    return _passer(EtatSession::activation);
}

Reconnexion::Action Reconnexion::activer(Instant maintenant) noexcept
{
    if (etat() != EtatSession::perdue && etat() != EtatSession::attente)
        return {};
    _essais = 0;
    _delaiReprise = Duree(0);
    return ouvrir(maintenant);
}

Reconnexion::Action Reconnexion::fermer() noexcept
{
    _fermee = true;
    _prochainEssai = _finReponse = JAMAIS;
    return etat() == EtatSession::fermee ? Action{} : _passer(EtatSession::fermee);
}

bool Reconnexion::peutEtreConnectee() const noexcept
{
    return etat() == EtatSession::active || _reponseAttendue || _aVerifier || _appel == Appel::verification;
}

OXstatut Reconnexion::refus() const noexcept
{
    if (etat() == EtatSession::activation)
        return orix::OXS_ACTIVATION_EN_COURS;
    return _evenement.statut != orix::OXS_OK ? _evenement.statut : orix::OXS_SERVICE_NON_ACTIVE;
}

// ---- Time

Instant Reconnexion::echeance() const noexcept
{
    return _appel == Appel::aucun ? std::min(_prochainEssai, _finReponse) : JAMAIS;
}

Reconnexion::Action Reconnexion::avancer(Instant maintenant, bool occupe) noexcept
{
    if (echeance() > maintenant)
        return {};
    if (_finReponse <= maintenant) {
        _finReponse = JAMAIS;
        _reponseAttendue = false;
        const bool differee = std::exchange(_differee, false);
        Action action = _echouer(orix::OXS_CONNEXION_IMPOSSIBLE, maintenant);
        action.oublier = differee;
        return action;
    }
    _prochainEssai = JAMAIS;
    Action action;
    if (etat() != EtatSession::activation)
        action = _passer(EtatSession::activation);
    if (occupe) {
        _differee = true;
        _finReponse = apres(maintenant, _delaiActivation);
        return action;
    }
    _appel = std::exchange(_aVerifier, false) ? Appel::verification : Appel::activation;
    _contredite = false;
    _reponseAttendue = true; // it may overtake the return of the call
    action.connecter = true;
    return action;
}

Reconnexion::Action Reconnexion::libre(Instant maintenant) noexcept
{
    if (std::exchange(_differee, false)) {
        _finReponse = JAMAIS;
        _prochainEssai = _fermee ? JAMAIS : maintenant;
    }
    return {};
}

// ---- What comes from the client

Reconnexion::Action Reconnexion::appelRendu(OXstatut statut, Instant maintenant) noexcept
{
    const bool verification = std::exchange(_appel, Appel::aucun) == Appel::verification;
    if (statut == orix::OXS_OK || statut == orix::OXS_ACTIVATION_EN_COURS) {
        if (_reponseAttendue && !_fermee)
            _finReponse = apres(maintenant, _delaiActivation);
        return {};
    }
    if (_fermee) {
        _reponseAttendue = false;
        return {};
    }
    if (etat() != EtatSession::activation || _aVerifier)
        return {}; // what came meanwhile says more
    _reponseAttendue = false;
    if (statut != orix::OXS_SERVICE_DEJA_ACTIVE)
        return _echouer(statut, maintenant);
    if (verification && !_contredite) {
        _doute = false;
        return _devenirActive(maintenant);
    }
    if (verification)
        return _verifier(maintenant);
    // Active without our knowing: somebody else did it, or a deactivation was interrupted. An acceptance that
    // is under way is not to be believed any more.
    _appel = Appel::desactivation;
    _doute = true;
    Action action;
    action.desactiver = true;
    return action;
}

Reconnexion::Action Reconnexion::desactivationRendue(Instant maintenant) noexcept
{
    _appel = Appel::aucun;
    if (etat() != EtatSession::activation || _aVerifier)
        return {};
    return _echouer(orix::OXS_SERVICE_DEJA_ACTIVE, maintenant);
}

Reconnexion::Action Reconnexion::reponse(OXstatut statut, std::string serveur, std::string machine,
                                         Instant maintenant) noexcept
{
    _reponseAttendue = _differee = false;
    _finReponse = JAMAIS;
    if (etat() == EtatSession::fermee)
        return {};
    if (statut != orix::OXS_OK)
        return etat() == EtatSession::activation ? _echouer(statut, maintenant) : Action{};
    if (etat() == EtatSession::active)
        return {};
    _serveur = std::move(serveur);
    _machine = std::move(machine);
    return _doute ? _verifier(maintenant) : _devenirActive(maintenant);
}

Reconnexion::Action Reconnexion::deconnexion(OXstatut statut, Instant maintenant) noexcept
{
    if (etat() == EtatSession::active)
        return _perdre(statut, maintenant);
    _doute = _contredite = true;
    return {};
}

/// The client has no connection any more. Its notice may have come before we believed the acceptance, and
/// then no other one comes.
Reconnexion::Action Reconnexion::requeteRefusee(OXstatut statut, unsigned long long connexion,
                                                Instant maintenant) noexcept
{
    if (statut != orix::OXS_SERVICE_NON_ACTIVE || etat() != EtatSession::active || connexion != _connexion)
        return {};
    return _perdre(statut, maintenant);
}

// ---- Changes of state

Reconnexion::Action Reconnexion::_passer(EtatSession etat, OXstatut statut) noexcept
{
    _evenement = Evenement{};
    _evenement.etat = etat;
    _evenement.statut = statut;
    Action action;
    action.annoncer = true;
    return action;
}

Reconnexion::Action Reconnexion::_verifier(Instant maintenant) noexcept
{
    _aVerifier = true;
    _prochainEssai = maintenant;
    return {};
}

Reconnexion::Action Reconnexion::_devenirActive(Instant maintenant) noexcept
{
    _prochainEssai = JAMAIS;
    _aVerifier = false;
    _essais = 0;
    _activeDepuis = maintenant;
    if (_connexion > 0)
        _absences += _derniereAbsence = maintenant - _perdueDepuis;
    _tourFini = true;
    ++_connexion;
    const Action action = _passer(EtatSession::active);
    _evenement.serveur = std::move(_serveur);
    _evenement.machine = std::move(_machine);
    return action;
}

Reconnexion::Action Reconnexion::_perdre(OXstatut statut, Instant maintenant) noexcept
{
    ++_pertes;
    _perdueDepuis = maintenant;
    Action action = _reessayerPlusTard(statut, maintenant, true);
    action.perte = true;
    return action;
}

void Reconnexion::compter(Statistiques& statistiques, Instant maintenant) const noexcept
{
    using Millisecondes = std::chrono::milliseconds;
    const bool absente = _connexion > 0 && _pertes == _connexion;
    const std::chrono::nanoseconds absence =
        absente ? maintenant - _perdueDepuis : std::chrono::nanoseconds(0);
    statistiques.connexions = _connexion;
    statistiques.pertes = _pertes;
    statistiques.sansConnexion = std::chrono::duration_cast<Millisecondes>(_absences + absence);
    statistiques.dernierePerte =
        std::chrono::duration_cast<Millisecondes>(absente ? absence : _derniereAbsence);
}

Reconnexion::Action Reconnexion::_echouer(OXstatut statut, Instant maintenant) noexcept
{
    if (statut != orix::OXS_NOYAU_NON_INITIALISE && ++_essais == 1) {
        _prochainEssai = maintenant; // the client has turned to the other server
        return {};
    }
    _tourFini = true;
    if (statut == orix::OXS_NOYAU_NON_INITIALISE) { // no server has anything to do with it
        _prochainEssai = JAMAIS;
        return _passer(EtatSession::perdue, statut);
    }
    return _reessayerPlusTard(statut, maintenant, false);
}

Reconnexion::Action Reconnexion::_reessayerPlusTard(OXstatut statut, Instant maintenant, bool perte) noexcept
{
    _essais = 0;
    _prochainEssai = JAMAIS;
    const Action action = _passer(_reprise ? EtatSession::attente : EtatSession::perdue, statut);
    _evenement.perte = perte;
    if (!_reprise)
        return action;
    // At once after a good while; servers that accept and drop in a loop get the delays, too.
    if (perte && maintenant - _activeDepuis >= std::max(_delaiReprise, _premierDelai))
        _delaiReprise = Duree(0);
    else
        _evenement.delai = _prochainDelai();
    _prochainEssai = apres(maintenant, _evenement.delai);
    return action;
}

Duree Reconnexion::_prochainDelai() noexcept
{
    _delaiReprise = std::min(_delaiReprise == Duree(0) ? _premierDelai : _delaiReprise * 2, _delaiMax);
    const double facteur = std::uniform_real_distribution<double>(1 - _gigue, 1 + _gigue)(_hasard);
    return std::min(std::chrono::duration_cast<Duree>(_delaiReprise * facteur), _delaiMax);
}

} // namespace cdv
