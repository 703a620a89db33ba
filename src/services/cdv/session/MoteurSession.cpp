#include "MoteurSession.h"

#include "ClientService.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "orix/EnvoisGroupes.h"
#include "orix/Trace.h"

#include <new>

namespace cdv {

using orix::OXstatut;

namespace {

using Requete = OXstatut (*)(OXvol_completData*, int&);
/// By Genre.
constexpr Requete REQUETES[] = {&OXcdvCliItf::cree_vol_complet, &OXcdvCliItf::modifie_vol_complet,
                                &OXcdvCliItf::supprime_vol_complet, &OXcdvCliItf::consulte_vol_complet,
                                &OXcdvCliItf::liste_vol_complet};

ClientService& client() { return ClientService::unique(); }

/// A server is better known by its state alone than not at all.
std::string siPossible(const char* texte) noexcept
{
    try {
        return texte != nullptr ? texte : "";
    } catch (const std::bad_alloc&) {
        return {};
    }
}

Notification notification(Notification::Sorte sorte, int code, OXvol_completData* vol) noexcept
{
    Notification notification{sorte, code, std::nullopt};
    try {
        if (vol != nullptr)
            notification.vol = Vol::prendre(*vol);
    } catch (const std::bad_alloc&) {
        notification.sorte = Notification::Sorte::perdue;
    }
    return notification;
}

} // namespace

void signalerException(const char* raison) noexcept
{
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "MoteurSession", "livrer",
                          "Exception non prévue dans un appel de l'application : " << raison);
}

// ---- Opening and closing

MoteurSession::MoteurSession(const Options& options, std::shared_ptr<Horloge> horloge)
    : _options(options),
      _service(options.service),
      _horloge(std::move(horloge)),
      _annonceReservee(std::make_shared<Annonce>(_options.observateur, Evenement{})),
      _releve(std::make_shared<Releve>(*this)),
      _reconnexion(options, std::random_device{}())
{}

void MoteurSession::ouvrir(Session& session, const Options& options, std::shared_ptr<Horloge> horloge)
{
    const auto moteur = std::make_shared<MoteurSession>(options, std::move(horloge));
    client().installer(moteur);
    try {
        moteur->_demarrer();
    } catch (...) {
        client().retirer();
        throw;
    }
    // Whoever sees the engine there may close it. An observer may call back before this function returns.
    std::atomic_store(&session._moteur, moteur);
    moteur->_commencer();
}

void MoteurSession::_demarrer()
{
    const std::shared_ptr<MoteurSession> moi = shared_from_this();
    _connexion = std::thread([moi] { moi->_tenirConnexion(); });
    try {
        _minuterie = std::thread([moi] { moi->_minuter(); });
    } catch (...) { // no thread to be had
        {
            const Verrou verrou(_mutex);
            _ferme = true;
            _reveilConnexion.notify_all();
        }
        _connexion.join();
        throw;
    }
}

void MoteurSession::_commencer()
{
    const Verrou verrou(_mutex);
    const Instant maintenant = _horloge->maintenant();
    if (_options.surStatistiques && _options.periodeStatistiques > Duree(0))
        _prochainReleve = apres(maintenant, _options.periodeStatistiques);
    _suivre(_reconnexion.ouvrir(maintenant));
    _reveilMinuterie.notify_all();
}

void MoteurSession::fermer()
{
    Verrou verrou(_mutex);
    if (std::exchange(_ferme, true))
        return _attendreCalme(verrou);
    const bool rappel = _dansRappel();
    const bool connectee = _reconnexion.peutEtreConnectee();
    const bool reponseDue = _reconnexion.reponseAttendue();
    if (reponseDue)
        client().laisser();
    _demandes.conclureToutes(Resultat::Etat::ferme);
    _suivre(_reconnexion.fermer());
    _reveilConnexion.notify_all();
    verrou.unlock();

    _connexion.join();
    verrou.lock();
    if (reponseDue && !_reconnexion.reponseAttendue())
        client().oublier(); // the call has failed: nothing follows
    verrou.unlock();
    if (connectee && client().desactiver() == orix::OXS_OK)
        client().serviceRendu();
    if (rappel) { // what remains to be delivered waits for this very thread: it follows, on the one left
                  // behind
        _minuterie.detach();
    } else {
        _minuterie.join();
        verrou.lock();
        _changement.wait(verrou, [this] { return _estCalme(); });
        verrou.unlock();
    }
    client().retirer(); // now: of the next session nothing is told before the end of this one
    verrou.lock();
    _fermeture = true;
    _changement.notify_all();
}

/// Until a closed session is really over; what runs on this thread does not wait for itself.
void MoteurSession::_attendreCalme(Verrou& verrou)
{
    const bool rappel = _dansRappel();
    _changement.wait(verrou, [&] { return rappel || (_fermeture && _estCalme()); });
}

void MoteurSession::_interdireDansRappel(std::string_view quoi) const
{
    if (_dansRappel())
        throw std::logic_error(
            "cdv::" + std::string(quoi) +
            " would wait for its own thread: call it outside of completions and observers");
}

// ---- Connection

void MoteurSession::_tenirConnexion()
{
    Verrou verrou(_mutex);
    while (!_ferme) {
        Reconnexion::Action action = _reconnexion.avancer(_horloge->maintenant(), client().occupe());
        _suivre(action);
        if (action.connecter) {
            verrou.unlock();
            const OXstatut statut = client().activer(_service.data());
            verrou.lock();
            action = _reconnexion.appelRendu(statut, _horloge->maintenant());
            _suivre(action);
        }
        if (action.desactiver) {
            verrou.unlock();
            client().desactiver();
            verrou.lock();
            _suivre(_reconnexion.desactivationRendue(_horloge->maintenant()));
        }
        if (_ferme)
            return;
        _essaiPrevu = _reconnexion.echeance();
        _horloge->attendre(_reveilConnexion, verrou, _essaiPrevu);
        _essaiPrevu = Instant::min();
    }
}

/// Under the lock.
void MoteurSession::_suivre(const Reconnexion::Action& action) noexcept
{
    if (action.oublier)
        client().oublier();
    if (action.perte)
        _demandes.conclureToutes(Resultat::Etat::perdu, _reconnexion.evenement().statut);
    if (action.annoncer) {
        _changement.notify_all();
        _annoncer();
    }
    if (_reconnexion.echeance() < _essaiPrevu)
        _reveilConnexion.notify_all();
    _reveiller();
}

void MoteurSession::_annoncer() noexcept
{
    if (!_options.observateur)
        return;
    try {
        _aLivrer.ajouter(std::make_shared<Annonce>(_options.observateur, _reconnexion.evenement()));
        _annonceDue = false; // this one is newer
    } catch (const std::bad_alloc&) {
        _annonceDue = true;
    }
}

/// Whoever may wait for what has changed. Under the lock.
void MoteurSession::_reveiller() noexcept
{
    _reprise.notify_all();
    _changement.notify_all();
    if (_resteALivrer() || _ferme || _demandes.prochaineEcheance() < _reveilPrevu)
        _reveilMinuterie.notify_all();
}

void MoteurSession::activeCB(OXstatut statut, const char* serveur, const char* machine)
{
    std::shared_ptr<MoteurSession> moteur;
    while ((moteur = client().destinataire(moteur)))
        if (moteur->_surReponse(statut, serveur, machine))
            return;
    // The answer to an activation whose session has been closed meanwhile.
    if (statut == orix::OXS_OK && client().aDesactiver())
        client().desactiver();
    client().oublier();
    if ((moteur = client().moteur()))
        moteur->_surLibre();
}

void MoteurSession::_surLibre()
{
    const Verrou verrou(_mutex);
    _suivre(_reconnexion.libre(_horloge->maintenant()));
}

/// False when the session is closed, or not open yet.
bool MoteurSession::_surReponse(OXstatut statut, const char* serveur, const char* machine)
{
    Verrou verrou(_mutex);
    if (_reconnexion.etat() == EtatSession::fermee)
        return false;
    _suivre(_reconnexion.reponse(statut, siPossible(serveur), siPossible(machine), _horloge->maintenant()));
    _livrer(verrou);
    return true;
}

void MoteurSession::deconnexionCB(OXstatut statut)
{
    Verrou verrou(_mutex);
    if (_ferme)
        return;
    _suivre(_reconnexion.deconnexion(statut, _horloge->maintenant()));
    _livrer(verrou);
}

void MoteurSession::activer()
{
    const Verrou verrou(_mutex);
    _suivre(_reconnexion.activer(_horloge->maintenant()));
}

bool MoteurSession::attendreActive(Duree delai, const std::atomic<bool>* abandon)
{
    Verrou verrou(_mutex);
    _interdireDansRappel("Session::attendreActive()");
    const Instant fin = apres(_horloge->maintenant(), delai);
    while (_reconnexion.etat() == EtatSession::activation || _reconnexion.etat() == EtatSession::attente) {
        if (_horloge->maintenant() >= fin || (abandon != nullptr && *abandon))
            return false;
        _horloge->attendre(_changement, verrou, fin);
    }
    return _reconnexion.etat() == EtatSession::active;
}

unsigned long long MoteurSession::connexion() const
{
    const Verrou verrou(_mutex);
    return _reconnexion.etat() == EtatSession::active ? _reconnexion.connexion() : 0;
}

void MoteurSession::attendreAutre(unsigned long long connexion, Duree delai, const std::atomic<bool>& abandon)
{
    Verrou verrou(_mutex);
    const Instant fin = apres(_horloge->maintenant(), delai);
    while (_reconnexion.etat() == EtatSession::active && _reconnexion.connexion() == connexion && !abandon &&
           _horloge->maintenant() < fin)
        _horloge->attendre(_changement, verrou, fin);
}

void MoteurSession::reveiller()
{
    const Verrou verrou(_mutex);
    _changement.notify_all();
}

bool MoteurSession::attendreFin(Duree delai)
{
    orix::EnvoisGroupes::envoyer(); // or what is waited for never comes
    Verrou verrou(_mutex);
    _interdireDansRappel("Session::attendreFin()");
    const Instant fin = apres(_horloge->maintenant(), delai);
    while (_demandes.enCours() > 0 || !_estCalme()) {
        if (_horloge->maintenant() >= fin)
            return false;
        _horloge->attendre(_changement, verrou, fin);
    }
    return true;
}

bool MoteurSession::attendrePremierTour()
{
    Verrou verrou(_mutex);
    _changement.wait(verrou, [this] { return _reconnexion.premierTourFini() || _ferme; });
    return _reconnexion.etat() == EtatSession::active;
}

EtatSession MoteurSession::etat() const
{
    const Verrou verrou(_mutex);
    return _reconnexion.etat();
}

Evenement MoteurSession::dernierEvenement() const
{
    const Verrou verrou(_mutex);
    return _reconnexion.evenement();
}

std::size_t MoteurSession::nombreEnCours() const
{
    const Verrou verrou(_mutex);
    return _demandes.enCours();
}

Statistiques MoteurSession::statistiques() const
{
    Statistiques statistiques;
    statistiques.processus = orix::statistiques();
    const Verrou verrou(_mutex);
    _demandes.compter(statistiques);
    _reconnexion.compter(statistiques, _horloge->maintenant());
    return statistiques;
}

// ---- Requests

void MoteurSession::demander(const std::shared_ptr<Demande>& demande, Genre genre, const Vol& vol,
                             const Session::Delai& delai)
{
    OXvol_completData& donnees = const_cast<OXvol_completData&>(vol.brut()); // the facade only reads them
    Verrou verrou(_mutex);
    if (_reconnexion.etat() != EtatSession::active) {
        Livraisons aucunFil;
        TableDemandes::refuser(demande, genre, _reconnexion.refus(), _ferme ? aucunFil : _aLivrer);
        _demandes.noterRefus(genre);
        _reveiller();
        verrou.unlock();
        if (!aucunFil.estVide())
            demande->livrer();
        return;
    }
    const unsigned long long connexion = _reconnexion.connexion();
    const TableDemandes::Rang rang =
        _demandes.commencer(demande, genre, delai.value_or(_options.delaiRequete), _horloge->maintenant());
    _reveiller();
    verrou.unlock();

    int idOp = 0;
    const OXstatut statut = REQUETES[static_cast<int>(genre)](&donnees, idOp);

    verrou.lock();
    if (statut == orix::OXS_OK)
        _demandes.partie(rang, idOp, _horloge->maintenant());
    else
        _demandes.nonPartie(rang, statut);
    _suivre(_reconnexion.requeteRefusee(statut, connexion, _horloge->maintenant()));
}

void MoteurSession::_minuter()
{
    Verrou verrou(_mutex);
    for (;;) {
        const Instant maintenant = _horloge->maintenant();
        _demandes.expirer(maintenant);
        if (_prochainReleve <= maintenant && !_ferme) {
            if (!_releve->enAttente.exchange(true)) // else the application is behind
                _aLivrer.ajouter(_releve);
            _prochainReleve = apres(maintenant, _options.periodeStatistiques);
        }
        _reveiller();
        if (_resteALivrer() && _livreur == std::thread::id()) {
            _livrer(verrou);
            continue;
        }
        if (_ferme && !_resteALivrer())
            return;
        _reveilPrevu = std::min(_demandes.prochaineEcheance(), _ferme ? JAMAIS : _prochainReleve);
        _horloge->attendre(_reveilMinuterie, verrou, _reveilPrevu);
        _reveilPrevu = Instant::min();
    }
}

std::shared_ptr<Livrable> MoteurSession::_prochaineLivraison() noexcept
{
    if (!_aLivrer.estVide())
        return _aLivrer.prendre();
    _annonceDue = false;
    const Evenement& evenement = _reconnexion.evenement();
    Evenement& annonce = _annonceReservee->evenement;
    annonce = {evenement.etat, evenement.statut, {}, {}, evenement.delai, evenement.perte};
    annonce.serveur = siPossible(evenement.serveur.c_str());
    annonce.machine = siPossible(evenement.machine.c_str());
    return _annonceReservee;
}

/// Runs what is there to be run, unless another thread is at it. No more than what is there: what it adds
/// must not keep the callback thread from the next event.
void MoteurSession::_livrer(Verrou& verrou) noexcept
{
    if (_livreur != std::thread::id())
        return;
    _livreur = std::this_thread::get_id();
    for (std::size_t n = _aLivrer.nombre() + (_annonceDue ? 1 : 0); n > 0 && _resteALivrer(); --n) {
        std::shared_ptr<Livrable> livrable = _prochaineLivraison();
        verrou.unlock();
        appelerApplication([&] { livrable->livrer(); });
        livrable.reset(); // what the application gave is released without the lock
        verrou.lock();
    }
    _livreur = std::thread::id();
    _changement.notify_all();
    if (_resteALivrer() || _ferme)
        _reveilMinuterie.notify_all();
}

// ---- Notifications

void MoteurSession::reponseCB(Genre genre, int code, OXvol_completData* vol, int idOp)
{
    _notifier(genre, idOp, notification(Notification::Sorte::fin, code, vol));
}

void MoteurSession::volListeCB(OXvol_completData* vol, int idOp)
{
    if (vol != nullptr)
        _notifier(Genre::lister, idOp, notification(Notification::Sorte::vol, 0, vol));
}

void MoteurSession::_notifier(Genre genre, int idOp, Notification notification)
{
    using Accueil = TableDemandes::Accueil;
    Verrou verrou(_mutex);
    const TableDemandes::Rang appel = _demandes.dernierAppel();
    Accueil accueil = Accueil::aRevoir;
    while (!_ferme) {
        accueil = _demandes.accueillir(genre, idOp, notification, appel, _horloge->maintenant());
        if (accueil != Accueil::aRevoir)
            break;
        _reprise.wait(verrou);
    }
    _reveiller();
    _livrer(verrou);
    verrou.unlock();
    if (accueil == Accueil::inconnue)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_PROGRES, "MoteurSession", "notifier",
                              "Notification que personne n'attend, numéro d'opération = " << idOp);
}

} // namespace cdv
