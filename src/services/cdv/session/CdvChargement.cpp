#include "CdvChargement.h"

#include "Instant.h"
#include "MoteurSession.h"
#include "OXcdvCliCode.h"
#include "orix/EnvoisGroupes.h"

#include <algorithm>
#include <utility>

namespace cdv {

using Etat = Resultat::Etat;
using Maintenant = std::chrono::steady_clock;

/// A record of a load, until it has ended.
struct Chargement::Element
{
    Vol vol;
    SurFin surFin;
    Voies::Demande prochaine; ///< what is to be asked again
    Resultat dernier;         ///< why
    bool doute = false;       ///< something may have been done
    int essais = 0;           ///< that had no answer although the server was there
};

Chargement::Voies Chargement::_vers(Session& session, const Session::Delai& delai)
{
    const auto abandon = std::make_shared<std::atomic<bool>>(false);
    Voies voies;
    voies.demander = [&session, delai](Voies::Demande demande, const Vol& vol, Session::Fin fin) {
        using Requete = void (Session::*)(const Vol&, Session::Fin, Session::Delai);
        constexpr Requete REQUETES[] = {&Session::creer, &Session::modifier, &Session::supprimer,
                                        &Session::consulter};
        (session.*REQUETES[demande])(vol, std::move(fin), delai);
    };
    voies.attendreActive = [&session, abandon](Duree duree) {
        if (session.etat() == EtatSession::perdue)
            session.activer();
        const auto moteur = session._lireMoteur();
        return moteur && moteur->attendreActive(duree, abandon.get());
    };
    voies.connexion = [&session] {
        const auto moteur = session._lireMoteur();
        return moteur ? moteur->connexion() : 0;
    };
    voies.attendreAutre = [&session, abandon](unsigned long long connexion, Duree duree) {
        if (const auto moteur = session._lireMoteur())
            moteur->attendreAutre(connexion, duree, *abandon);
    };
    voies.reveiller = [&session, abandon] {
        *abandon = true;
        if (const auto moteur = session._lireMoteur())
            moteur->reveiller();
    };
    return voies;
}

Chargement::Chargement(Session& session, Reglages reglages)
    : Chargement(_vers(session, reglages.delai), std::move(reglages))
{}

Chargement::Chargement(Voies voies, Reglages reglages)
    : _voies(std::move(voies)),
      _reglages(std::move(reglages)),
      _fenetre(std::max<std::size_t>(1, _reglages.fenetre))
{
    _aRefaire.reserve(_fenetre);
    _enReprise.reserve(_fenetre);
    _fil = std::thread([this] { _tenir(); });
}

Chargement::~Chargement()
{
    interrompre();
    attendreFin();
    {
        const Verrou verrou(_mutex);
        _fini = true;
        _changement.notify_all();
    }
    _fil.join();
}

bool Chargement::creer(Vol&& vol, SurFin surFin) { return _ajouter(Voies::CREER, vol, std::move(surFin)); }
bool Chargement::modifier(Vol&& vol, SurFin surFin)
{
    return _ajouter(Voies::MODIFIER, vol, std::move(surFin));
}
bool Chargement::supprimer(Vol&& vol, SurFin surFin)
{
    return _ajouter(Voies::SUPPRIMER, vol, std::move(surFin));
}

bool Chargement::_ajouter(Voies::Demande demande, Vol& vol, SurFin surFin)
{
    const auto element = std::make_shared<Element>();
    Verrou verrou(_mutex);
    const auto place = [this] { return _arret || _bilan.enCours < _fenetre; };
    if (!place()) {
        verrou.unlock();
        orix::EnvoisGroupes::envoyer(); // or what is waited for never comes
        verrou.lock();
        _changement.wait(verrou, place);
    }
    if (_arret)
        return false;
    element->vol = std::move(vol);
    element->surFin = std::move(surFin);
    ++_bilan.enCours;
    verrou.unlock();
    _demander(element, demande);
    return true;
}

Chargement::Bilan Chargement::attendreFin(std::optional<Duree> delai)
{
    orix::EnvoisGroupes::envoyer();
    Verrou verrou(_mutex);
    _changement.wait_until(verrou, apres(Maintenant::now(), delai.value_or(TRES_LONG)),
                           [this] { return _bilan.enCours == 0; });
    return _bilan;
}

Chargement::Bilan Chargement::bilan() const
{
    const Verrou verrou(_mutex);
    return _bilan;
}

void Chargement::interrompre()
{
    {
        const Verrou verrou(_mutex);
        _arret = true;
        _changement.notify_all();
    }
    _voies.reveiller();
}

/// Asks again, until the end of the load.
void Chargement::_tenir()
{
    Verrou verrou(_mutex);
    for (;;) {
        _changement.wait(verrou, [this] { return _fini || !_aRefaire.empty(); });
        if (_aRefaire.empty())
            return;
        const bool active = _attendreServeur(verrou);
        _enReprise.swap(_aRefaire);
        if (active)
            _bilan.refaites += _enReprise.size();
        else
            _renoncer(_enReprise.front()->dernier);
        verrou.unlock();
        {
            const orix::EnvoisGroupes groupe;
            for (const Partage& element : _enReprise)
                if (active)
                    _demander(element, element->prochaine);
                else
                    _finir(element, Fin::abandonne, element->dernier);
        }
        _enReprise.clear();
        verrou.lock();
    }
}

/// Until what had no answer may be asked again; false when it is not to be.
bool Chargement::_attendreServeur(Verrou& verrou)
{
    const auto maintenant = Maintenant::now();
    if (!_finPatience)
        _finPatience = apres(maintenant, _reglages.patience);
    const auto reste = std::chrono::ceil<Duree>(*_finPatience - maintenant);
    if (_arret || reste <= Duree(0))
        return false;
    const unsigned long long suspecte = std::exchange(_suspecte, 0);
    verrou.unlock();
    if (suspecte != 0) // as a rule the loss is about to be known
        _voies.attendreAutre(suspecte, std::min(reste, _reglages.patience / ESSAIS));
    const bool active = _voies.attendreActive(reste);
    verrou.lock();
    return active && !_arret; // it may have come to its end meanwhile
}

/// With the lock.
void Chargement::_renoncer(const Resultat& resultat)
{
    if (std::exchange(_arret, true))
        return;
    _bilan.arret = resultat.etat;
    _bilan.statut = resultat.statut;
    _changement.notify_all();
}

void Chargement::_demander(const Partage& element, Voies::Demande demande)
{
    try {
        _voies.demander(demande, element->vol, [this, element, demande](Resultat resultat) {
            _recevoir(element, demande, std::move(resultat));
        });
    } catch (...) { // no memory for the request
        Resultat resultat;
        resultat.statut = orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
        _finir(element, Fin::abandonne, resultat);
    }
}

void Chargement::_recevoir(const Partage& element, Voies::Demande demande, Resultat resultat)
{
    constexpr Fin FAITS[] = {Fin::cree, Fin::modifie, Fin::supprime};
    resultat.lecture = false; // a reading is a step of the change that is told
    if (resultat.etat != Etat::fait && resultat.etat != Etat::refuse)
        return _sansReponse(element, demande, std::move(resultat));
    {
        const Verrou verrou(_mutex);
        _perdue = false;
        _finPatience.reset();
    }
    if (resultat.etat == Etat::refuse)
        return _surRefus(element, demande, std::move(resultat));
    if (demande != Voies::CONSULTER)
        return _finir(element, FAITS[demande], resultat);
    if (resultat.vol && *resultat.vol == element->vol) {
        {
            const Verrou verrou(_mutex);
            ++_bilan.constates;
        }
        return _finir(element, Fin::cree, resultat);
    }
    resultat.etat = Etat::refuse;
    resultat.code = code::EXISTE_DEJA;
    _existe(element, std::move(resultat));
}

void Chargement::_surRefus(const Partage& element, Voies::Demande demande, Resultat resultat)
{
    const bool doute = std::exchange(element->doute, false);
    if (demande == Voies::CREER && resultat.code == code::EXISTE_DEJA)
        return doute ? _demander(element, Voies::CONSULTER) : _existe(element, std::move(resultat));
    if (demande == Voies::CONSULTER && resultat.code == code::INTROUVABLE)
        return _demander(element, Voies::CREER); // somebody has deleted it meanwhile
    const bool supprime = demande == Voies::SUPPRIMER && resultat.code == code::INTROUVABLE && doute;
    _finir(element, supprime ? Fin::supprime : Fin::refuse, resultat);
}

void Chargement::_existe(const Partage& element, Resultat resultat)
{
    if (_reglages.existants == Existants::modifier)
        return _demander(element, Voies::MODIFIER);
    _finir(element, _reglages.existants == Existants::ignorer ? Fin::ignore : Fin::refuse, resultat);
}

void Chargement::_sansReponse(const Partage& element, Voies::Demande demande, Resultat resultat)
{
    const bool partie = resultat.etat != Etat::nonEnvoye;
    const bool sansConnexion =
        resultat.statut == orix::OXS_SERVICE_NON_ACTIVE || resultat.statut == orix::OXS_ACTIVATION_EN_COURS;
    const unsigned long long connexion = partie || sansConnexion ? 0 : _voies.connexion();
    // That status may come of a send that had begun.
    const bool peutEtreFaite = partie || resultat.statut == orix::OXS_ERREUR_CORBA;
    element->doute = element->doute || (peutEtreFaite && demande != Voies::CONSULTER);
    if ((resultat.etat == Etat::delai || connexion != 0) && ++element->essais >= ESSAIS && !partie)
        return _finir(element, Fin::refuse, resultat); // the library itself does not want it
    Verrou verrou(_mutex);
    _suspecte = std::max(_suspecte, connexion);
    if (resultat.etat == Etat::perdu && !std::exchange(_perdue, true))
        ++_bilan.pertes;
    if (resultat.etat == Etat::ferme || element->essais >= ESSAIS)
        _renoncer(resultat);
    element->prochaine = demande;
    element->dernier = std::move(resultat);
    _aRefaire.push_back(element);
    _changement.notify_all();
}

void Chargement::_finir(const Partage& element, Fin fin, const Resultat& resultat)
{
    static constexpr std::uint64_t Bilan::*COMPTES[] = {&Bilan::crees,     &Bilan::modifies,
                                                        &Bilan::supprimes, &Bilan::ignores,
                                                        &Bilan::refuses,   &Bilan::abandonnes};
    Bilan bilan;
    {
        const Verrou verrou(_mutex);
        ++(_bilan.*COMPTES[static_cast<int>(fin)]);
        bilan = _bilan;
        --bilan.enCours;
    }
    const struct Depart // the last that is done here: whoever waits for the end may destroy the load
    {
        Chargement& chargement;
        ~Depart()
        {
            const Verrou verrou(chargement._mutex);
            --chargement._bilan.enCours;
            chargement._changement.notify_all();
        }
    } depart{*this};
    const std::lock_guard<std::mutex> appels(_appels);
    const SurFin* const aDire[] = {&element->surFin, &_reglages.surFin};
    for (const SurFin* surFin : aDire)
        if (*surFin)
            appelerApplication([&] { (*surFin)(element->vol, fin, resultat); });
    if (_reglages.surAvancement)
        appelerApplication([&] { _reglages.surAvancement(bilan); });
}

} // namespace cdv
