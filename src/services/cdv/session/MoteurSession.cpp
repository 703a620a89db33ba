#include "MoteurSession.h"

#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "orix/Trace.h"

#include <algorithm>

namespace cdv {

using orix::OXstatut;

namespace {

using Requete = OXstatut (*)(OXvol_completData*, int&);
/// By Genre.
constexpr Requete REQUETES[] = {&OXcdvCliItf::cree_vol_complet, &OXcdvCliItf::modifie_vol_complet,
                                &OXcdvCliItf::supprime_vol_complet, &OXcdvCliItf::consulte_vol_complet,
                                &OXcdvCliItf::liste_vol_complet};

/// The one client of the service that a process has, and who uses it. Locked after an engine, never before.
struct Client
{
    enum class Laissee
    {
        non,
        aDesactiver,
        aIgnorer
    };

    std::mutex mutex;
    std::shared_ptr<MoteurSession> moteur;
    Laissee activation =
        Laissee::non; ///< one whose activeCB is still to come, left behind by a closed session
    std::mutex appel; ///< active() and desactive() want one caller at a time
};

/// Lives to the very end of the process: a callback may come as late as that.
Client& client()
{
    static auto* const unique = new Client;
    return *unique;
}

OXstatut activerService(std::string service)
{
    const std::lock_guard<std::mutex> verrou(client().appel);
    return OXcdvCliItf::active(service.data());
}

OXstatut desactiverService()
{
    const std::lock_guard<std::mutex> verrou(client().appel);
    return OXcdvCliItf::desactive();
}

Resultat resultat(Resultat::Etat etat, OXstatut statut = orix::OXS_OK)
{
    Resultat resultat;
    resultat.etat = etat;
    resultat.statut = statut;
    return resultat;
}

Evenement evenement(EtatSession etat, OXstatut statut = orix::OXS_OK)
{
    Evenement evenement;
    evenement.etat = etat;
    evenement.statut = statut;
    return evenement;
}

/// Why a request made now would not leave.
OXstatut raison(const Evenement& evenement)
{
    if (evenement.etat == EtatSession::activation)
        return orix::OXS_ACTIVATION_EN_COURS;
    return evenement.statut != orix::OXS_OK ? evenement.statut : orix::OXS_SERVICE_NON_ACTIVE;
}

} // namespace

// ---- Opening and closing

std::shared_ptr<MoteurSession> MoteurSession::actuel()
{
    const std::lock_guard<std::mutex> verrou(client().mutex);
    return client().moteur;
}

std::shared_ptr<MoteurSession> MoteurSession::installer(const Options& options)
{
    const auto moteur = std::make_shared<MoteurSession>(options);
    const std::lock_guard<std::mutex> verrou(client().mutex);
    if (client().moteur)
        throw Erreur(orix::OXS_DEJA_CONNECTE, "a cdv session is already open in this process");
    client().moteur = moteur;
    return moteur;
}

void MoteurSession::oublierActivation()
{
    const std::lock_guard<std::mutex> verrou(client().mutex);
    if (client().activation == Client::Laissee::aDesactiver)
        client().activation = Client::Laissee::aIgnorer;
}

MoteurSession::MoteurSession(const Options& options) : _options(options), _horloge(Horloge::courante()) {}

void MoteurSession::demarrer()
{
    const std::shared_ptr<MoteurSession> moi = shared_from_this();
    try {
        const Verrou verrou(_mutex);
        _connexion = std::thread([moi] { moi->tenirConnexion(); });
        _minuterie = std::thread([moi] { moi->minuter(); });
        changerEtat(evenement(EtatSession::activation));
        essayer(Duree(0));
    } catch (...) { // no thread to be had
        fermer();
        throw;
    }
}

void MoteurSession::fermer()
{
    Verrou verrou(_mutex);
    const bool rappel = dansRappel();
    if (std::exchange(_ferme, true)) {
        attendreCalme(verrou);
        return;
    }
    const bool active = _evenement.etat == EtatSession::active;
    conclureToutes(Resultat::Etat::ferme, orix::OXS_OK);
    changerEtat(evenement(EtatSession::fermee));
    _reprise.notify_all();
    _reveilMinuterie.notify_all();
    _reveilConnexion.notify_all();
    verrou.unlock();

    if (_connexion.joinable())
        _connexion.join();
    verrou.lock();
    const bool attendue = _activationAttendue;
    verrou.unlock();
    const bool desactive = (active || attendue) && desactiverService() == orix::OXS_OK;

    verrou.lock();
    {
        const std::lock_guard<std::mutex> verrouClient(client().mutex);
        if (_activationAttendue)
            client().activation = desactive ? Client::Laissee::aIgnorer : Client::Laissee::aDesactiver;
        client().moteur.reset();
    }
    if (rappel && _minuterie.joinable()) {
        // What remains to be delivered waits for this very thread: it follows, on the thread that stays
        // behind.
        _minuterie.detach();
    } else if (_minuterie.joinable()) {
        verrou.unlock();
        _minuterie.join();
        verrou.lock();
    }
    _fermeture = true;
    _changement.notify_all();
    attendreCalme(verrou);
}

/// Until a closed session is really over; what runs on this thread does not wait for itself.
void MoteurSession::attendreCalme(Verrou& verrou)
{
    const bool rappel = dansRappel();
    _changement.wait(
        verrou, [&] { return rappel || (_fermeture && _aLivrer.empty() && _livreur == std::thread::id()); });
}

void MoteurSession::interdireDansRappel(const char* quoi) const
{
    if (dansRappel())
        throw std::logic_error(
            std::string("cdv::") + quoi +
            " would wait for its own thread: call it outside of completions and observers");
}

// ---- Connection

void MoteurSession::tenirConnexion()
{
    Verrou verrou(_mutex);
    while (!_ferme) {
        const Instant maintenant = _horloge->maintenant();
        if (_finActivation <= maintenant) {
            _finActivation = Horloge::JAMAIS;
            _activationAttendue = false;
            {
                const std::lock_guard<std::mutex> verrouClient(client().mutex);
                client().activation = Client::Laissee::non;
            }
            activationEchouee(orix::OXS_CONNEXION_IMPOSSIBLE);
            _reveilMinuterie.notify_all();
        } else if (_prochainEssai <= maintenant) {
            _prochainEssai = Horloge::JAMAIS;
            if (_evenement.etat != EtatSession::activation) {
                changerEtat(evenement(EtatSession::activation));
                _reveilMinuterie.notify_all();
            }
            {
                const std::lock_guard<std::mutex> verrouClient(client().mutex);
                if (client().activation != Client::Laissee::non) {
                    _finActivation = dans(_options.delaiActivation);
                    continue; // its answer would pass for ours: surActivationLaissee() goes on
                }
            }
            const bool dejaAttendue =
                std::exchange(_activationAttendue, true); // the answer may overtake the call
            verrou.unlock();
            const OXstatut statut = activerService(_options.service);
            // Active without our knowing: somebody else did it, or a deactivation was interrupted.
            if (statut == orix::OXS_SERVICE_DEJA_ACTIVE && !dejaAttendue)
                desactiverService();
            verrou.lock();

            if (statut == orix::OXS_OK || statut == orix::OXS_ACTIVATION_EN_COURS ||
                (statut == orix::OXS_SERVICE_DEJA_ACTIVE && dejaAttendue)) {
                if (_activationAttendue)
                    _finActivation = dans(_options.delaiActivation);
            } else {
                _activationAttendue = false;
                if (_evenement.etat == EtatSession::activation && !_ferme)
                    activationEchouee(statut);
                _reveilMinuterie.notify_all();
            }
        } else {
            _horloge->attendre(_reveilConnexion, verrou, std::min(_prochainEssai, _finActivation));
        }
    }
}

void MoteurSession::activationEchouee(OXstatut statut)
{
    if (statut == orix::OXS_NOYAU_NON_INITIALISE) // no server has anything to do with it
        changerEtat(evenement(EtatSession::perdue, statut));
    else if (++_essais == 1)
        return essayer(Duree(0)); // the client has turned to the other server
    else
        reessayerPlusTard(statut, false);
    _tourFini = true;
    _changement.notify_all();
}

void MoteurSession::reessayerPlusTard(OXstatut statut, bool perte)
{
    _essais = 0;
    Evenement suite = evenement(_options.reprise ? EtatSession::attente : EtatSession::perdue, statut);
    suite.perte = perte;
    if (!_options.reprise)
        return changerEtat(std::move(suite));

    // At once after a good while; servers that accept and drop in a loop get the delays, too.
    const Duree premier = std::max(_options.delaiReprise, Duree(1));
    const Duree plancher = std::max(_delaiReprise, premier);
    if (perte && _horloge->maintenant() - _activeDepuis >= plancher) {
        _delaiReprise = Duree(0);
    } else {
        _delaiReprise = _delaiReprise == Duree(0) ? premier : _delaiReprise * 2;
        _delaiReprise = std::min(_delaiReprise, _options.delaiRepriseMax);
        const double gigue = std::clamp(_options.gigue, 0.0, 1.0);
        const double facteur = std::uniform_real_distribution<double>(1 - gigue, 1 + gigue)(_hasard);
        suite.delai =
            std::min(std::chrono::duration_cast<Duree>(_delaiReprise * facteur), _options.delaiRepriseMax);
    }
    const Duree delai = suite.delai;
    changerEtat(std::move(suite));
    essayer(delai);
}

/// "For ever" included.
Instant MoteurSession::dans(Duree delai) const
{
    return _horloge->maintenant() + std::min(delai, Duree(std::chrono::hours(24 * 3650)));
}

void MoteurSession::essayer(Duree delai)
{
    _prochainEssai = dans(delai);
    _reveilConnexion.notify_all();
}

void MoteurSession::changerEtat(Evenement suivant)
{
    _evenement = std::move(suivant);
    _changement.notify_all();
    if (_options.observateur)
        _aLivrer.emplace_back([this, copie = _evenement] { _options.observateur(copie); });
}

void MoteurSession::activeCB(OXstatut statut, const char* serveur, const char* machine)
{
    std::shared_ptr<MoteurSession> moteur;
    {
        const std::lock_guard<std::mutex> verrou(client().mutex);
        if (client().activation == Client::Laissee::non)
            moteur = client().moteur;
    }
    if (moteur && moteur->surActivation(statut, serveur, machine))
        return;

    // The answer to an activation whose session has been closed meanwhile.
    bool ignorer = false;
    {
        const std::lock_guard<std::mutex> verrou(client().mutex);
        ignorer = std::exchange(client().activation, Client::Laissee::non) == Client::Laissee::aIgnorer;
        moteur = client().moteur;
    }
    if (statut == orix::OXS_OK && !ignorer)
        desactiverService();
    if (moteur)
        moteur->surActivationLaissee();
}

void MoteurSession::surActivationLaissee()
{
    const Verrou verrou(_mutex);
    if (_evenement.etat != EtatSession::activation || _activationAttendue)
        return;
    _finActivation = Horloge::JAMAIS;
    essayer(Duree(0));
}

bool MoteurSession::surActivation(OXstatut statut, const char* serveur, const char* machine)
{
    Verrou verrou(_mutex);
    _activationAttendue = false;
    _finActivation = Horloge::JAMAIS;
    if (_ferme)
        return false;
    if (statut == orix::OXS_OK && _evenement.etat != EtatSession::active) {
        _prochainEssai = Horloge::JAMAIS;
        _essais = 0;
        _activeDepuis = _horloge->maintenant();
        _tourFini = true;
        Evenement active = evenement(EtatSession::active);
        active.serveur = serveur != nullptr ? serveur : "";
        active.machine = machine != nullptr ? machine : "";
        changerEtat(std::move(active));
    } else if (statut != orix::OXS_OK && _evenement.etat == EtatSession::activation) {
        activationEchouee(statut);
    }
    livrer(verrou);
    return true;
}

void MoteurSession::deconnexionCB(OXstatut statut)
{
    Verrou verrou(_mutex);
    if (_ferme || _evenement.etat != EtatSession::active)
        return; // of a connection that this session does not have, or not any more
    conclureToutes(Resultat::Etat::perdu, statut);
    reessayerPlusTard(statut, true);
    livrer(verrou);
}

void MoteurSession::activer()
{
    const Verrou verrou(_mutex);
    if (_evenement.etat != EtatSession::perdue && _evenement.etat != EtatSession::attente)
        return;
    _essais = 0;
    _delaiReprise = Duree(0);
    changerEtat(evenement(EtatSession::activation));
    essayer(Duree(0));
    _reveilMinuterie.notify_all();
}

bool MoteurSession::attendreActive(Duree delai)
{
    Verrou verrou(_mutex);
    interdireDansRappel("Session::attendreActive()");
    const Instant fin = dans(delai);
    while (_evenement.etat == EtatSession::activation || _evenement.etat == EtatSession::attente) {
        if (_horloge->maintenant() >= fin)
            return false;
        _horloge->attendre(_changement, verrou, fin);
    }
    return _evenement.etat == EtatSession::active;
}

bool MoteurSession::attendrePremierTour()
{
    Verrou verrou(_mutex);
    _changement.wait(verrou, [this] { return _tourFini || _ferme; });
    return _evenement.etat == EtatSession::active;
}

Evenement MoteurSession::dernierEvenement() const
{
    const Verrou verrou(_mutex);
    return _evenement;
}

std::size_t MoteurSession::nombreEnCours() const
{
    const Verrou verrou(_mutex);
    return _enCours;
}

// ---- Requests

void MoteurSession::demander(const std::shared_ptr<Demande>& demande, Genre genre, const Vol& vol,
                             const Session::Delai& delai)
{
    demande->genre = genre;
    demande->delai = delai.value_or(_options.delaiRequete);

    Verrou verrou(_mutex);
    if (_evenement.etat != EtatSession::active) {
        demande->finie = true;
        const bool aLivrer = demande->conclure(resultat(Resultat::Etat::nonEnvoye, raison(_evenement)));
        if (aLivrer && !_ferme) {
            _aLivrer.emplace_back([demande] { demande->livrer(); });
            _reveilMinuterie.notify_all();
        } else if (aLivrer) { // no thread is left that could
            verrou.unlock();
            demande->livrer();
        }
        return;
    }

    const unsigned long long rang = ++_dernierAppel;
    _appels.emplace(rang, demande);
    ++_enCours;
    planifier(demande);
    _reprise.notify_all(); // lifts the bound of a full stream
    verrou.unlock();

    int idOp = 0;
    // The facade only reads the record.
    const OXstatut statut =
        REQUETES[static_cast<int>(genre)](const_cast<OXvol_completData*>(&vol.brut()), idOp);

    verrou.lock();
    _appels.erase(rang);
    if (statut != orix::OXS_OK) {
        conclure(demande, resultat(Resultat::Etat::nonEnvoye, statut));
    } else if (!demande->finie) {
        demande->idOp = idOp;
        const Clef clef{genre, idOp};
        _attentes.insert_or_assign(clef, demande);
        if (const auto depot = _depots.find(clef); depot != _depots.end()) {
            for (Notification& notification : depot->second.notifications)
                appliquer(demande, std::move(notification));
        }
    }
    oublierDepots();
    _reprise.notify_all();
    if (!_aLivrer.empty())
        _reveilMinuterie.notify_all();
}

bool MoteurSession::appelCommenceAvant(unsigned long long appel) const
{
    return !_appels.empty() && _appels.begin()->first <= appel;
}

/// A notification that overtakes its call came while the call lasted: once all the calls that lasted then are
/// over, nobody will ask for it.
void MoteurSession::oublierDepots()
{
    for (auto depot = _depots.begin(); depot != _depots.end();) {
        const bool reclame = _attentes.count(depot->first) > 0;
        if (reclame || !appelCommenceAvant(depot->second.appel)) {
            _nombreDepots -= depot->second.notifications.size();
            depot = _depots.erase(depot);
        } else {
            ++depot;
        }
    }
}

void MoteurSession::planifier(const std::shared_ptr<Demande>& demande)
{
    if (demande->delai <= Duree(0))
        return;
    deplanifier(demande);
    demande->echeance = dans(demande->delai);
    _echeances.emplace(demande->echeance, demande);
    if (demande->echeance < _reveilPrevu)
        _reveilMinuterie.notify_all();
}

void MoteurSession::deplanifier(const std::shared_ptr<Demande>& demande)
{
    if (demande->echeance != Horloge::JAMAIS)
        _echeances.erase({std::exchange(demande->echeance, Horloge::JAMAIS), demande});
}

void MoteurSession::conclure(const std::shared_ptr<Demande>& demande, Resultat resultat)
{
    if (std::exchange(demande->finie, true))
        return;
    --_enCours;
    deplanifier(demande);
    if (demande->idOp != 0)
        _attentes.erase({demande->genre, demande->idOp});
    if (demande->conclure(std::move(resultat)))
        _aLivrer.emplace_back([demande] { demande->livrer(); });
    _reprise.notify_all();
}

void MoteurSession::conclureToutes(Resultat::Etat etat, OXstatut statut)
{
    std::vector<std::shared_ptr<Demande>> demandes;
    for (const auto& [clef, demande] : _attentes)
        demandes.push_back(demande);
    for (const auto& [rang, demande] : _appels)
        demandes.push_back(demande);
    for (const auto& demande : demandes)
        conclure(demande, resultat(etat, statut));
}

void MoteurSession::minuter()
{
    Verrou verrou(_mutex);
    for (;;) {
        while (!_echeances.empty() && _echeances.begin()->first <= _horloge->maintenant())
            conclure(std::shared_ptr<Demande>(_echeances.begin()->second), resultat(Resultat::Etat::delai));
        const bool libre = _livreur == std::thread::id();
        if (!_aLivrer.empty() && libre) {
            livrer(verrou);
            continue;
        }
        if (_ferme && _aLivrer.empty())
            return;
        _reveilPrevu = _echeances.empty() ? Horloge::JAMAIS : _echeances.begin()->first;
        _horloge->attendre(_reveilMinuterie, verrou, _reveilPrevu);
        _reveilPrevu = Instant::min();
    }
}

/// Runs what is there to be run, unless another thread is at it. No more than what is there: what it adds
/// must not keep the callback thread from the next event.
void MoteurSession::livrer(Verrou& verrou)
{
    if (_livreur != std::thread::id())
        return;
    _livreur = std::this_thread::get_id();
    for (std::size_t n = _aLivrer.size(); n > 0 && !_aLivrer.empty(); --n) {
        std::function<void()> tache = std::move(_aLivrer.front());
        _aLivrer.pop_front();
        verrou.unlock();
        const char* raison = nullptr;
        std::string texte;
        try {
            tache();
        } catch (const std::exception& exception) {
            texte = exception.what();
            raison = texte.c_str();
        } catch (...) {
            raison = "?";
        }
        if (raison != nullptr)
            ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "MoteurSession", "livrer",
                                  "Exception non prévue dans un appel de l'application : " << raison);
        tache = nullptr; // what the application gave is released without the lock
        verrou.lock();
    }
    _livreur = std::thread::id();
    _changement.notify_all();
    if (!_aLivrer.empty() || _ferme)
        _reveilMinuterie.notify_all();
}

// ---- Notifications

void MoteurSession::reponseCB(Genre genre, int code, OXvol_completData* vol, int idOp)
{
    Notification notification{true, code, std::nullopt};
    if (vol != nullptr)
        notification.vol = Vol::prendre(*vol);
    notifier(genre, idOp, std::move(notification));
}

void MoteurSession::volListeCB(OXvol_completData* vol, int idOp)
{
    if (vol != nullptr)
        notifier(Genre::lister, idOp, {false, 0, Vol::prendre(*vol)});
}

void MoteurSession::notifier(Genre genre, int idOp, Notification notification)
{
    Verrou verrou(_mutex);
    const bool attendue = ranger(verrou, {genre, idOp}, notification);
    livrer(verrou);
    verrou.unlock();
    if (!attendue)
        ORIX_TRACE(orix::NTO_PROGRES, "MoteurSession", "notifier",
                   "Notification que personne n'attend, numéro d'opération = " << idOp);
}

/// Gives the notification to its request, or puts it aside while a call lasts that may be its request's.
/// False when nobody waits for it.
bool MoteurSession::ranger(Verrou& verrou, Clef clef, Notification& notification)
{
    const unsigned long long arrivee = _dernierAppel;
    for (;;) {
        if (_ferme)
            return true;
        if (const auto attente = _attentes.find(clef); attente != _attentes.end()) {
            const std::shared_ptr<Demande> demande = attente->second;
            if (!notification.estFin)
                attendrePlace(verrou, demande);
            appliquer(demande, std::move(notification));
            return true;
        }
        if (!appelCommenceAvant(arrivee))
            return false;
        if (_nombreDepots < MAX_DEPOTS) {
            Depot& depot = _depots[clef];
            depot.notifications.push_back(std::move(notification));
            depot.appel = arrivee;
            ++_nombreDepots;
            return true;
        }
        _reprise.wait(verrou);
    }
}

void MoteurSession::appliquer(const std::shared_ptr<Demande>& demande, Notification notification)
{
    if (demande->finie)
        return;
    if (notification.estFin) {
        Resultat fin = resultat(notification.code == 0 ? Resultat::Etat::fait : Resultat::Etat::refuse);
        fin.code = notification.code;
        fin.vol = std::move(notification.vol);
        conclure(demande, std::move(fin));
    } else {
        demande->recevoir(std::move(*notification.vol));
        planifier(demande);
    }
}

// ---- Streams

void MoteurSession::attendrePlace(Verrou& verrou, const std::shared_ptr<Demande>& demande)
{
    const Flux::Tampon* const tampon = demande->tampon();
    if (tampon == nullptr || tampon->vols.size() < tampon->capacite || _enCours > 1)
        return;
    deplanifier(demande); // the reader takes its time, not the server
    _reprise.wait(verrou, [&] {
        return demande->finie || _enCours > 1 || tampon->vols.size() <= tampon->capacite / 2;
    });
}

std::optional<Vol> MoteurSession::suivant(Flux::Tampon& tampon)
{
    Verrou verrou(_mutex);
    interdireDansRappel("Flux::suivant()");
    tampon.arrivee.wait(verrou, [&] { return !tampon.vols.empty() || tampon.fin; });
    if (tampon.vols.empty())
        return std::nullopt;
    std::optional<Vol> vol(std::move(tampon.vols.front()));
    tampon.vols.pop_front();
    if (tampon.vols.size() == tampon.capacite / 2)
        _reprise.notify_all();
    return vol;
}

const Resultat& MoteurSession::finDe(const Flux::Tampon& tampon) const
{
    const Verrou verrou(_mutex);
    if (!tampon.fin || !tampon.vols.empty())
        throw std::logic_error("cdv::Flux::resultat(): the stream is not at its end");
    return *tampon.fin;
}

void MoteurSession::abandonner(Flux::Tampon& tampon)
{
    std::deque<Vol> vols; // released without the lock
    const Verrou verrou(_mutex);
    vols.swap(tampon.vols);
    if (const std::shared_ptr<Demande> demande = tampon.demande.lock())
        conclure(demande, resultat(Resultat::Etat::ferme));
}

} // namespace cdv
