#include "Simulation.h"

#include <algorithm>

namespace essais {

using namespace std::chrono_literals;
using cdv::EtatSession;
using cdv::Genre;
using cdv::JAMAIS;

namespace {
/// What the server answers to that request, and to no other.
int codeDe(Genre genre, int idOp) { return (idOp / 3 + static_cast<int>(genre)) % 3 == 0 ? 0 : idOp; }
} // namespace

struct Simulation::Essai : public cdv::Demande
{
    Essai(Simulation& monde, bool flux, bool fonction) : monde(monde), flux(flux), fonction(fonction) {}
    void recevoir(cdv::Vol) override
    {
        if (monde._choix.unSur(100))
            throw std::bad_alloc();
        if (flux)
            ++nonLus;
        echeance = sansDelai ? JAMAIS : cdv::apres(monde._maintenant, delai);
    }
    bool conclure(cdv::Resultat resultat) noexcept override
    {
        monde._troptot |= resultat.etat == cdv::Resultat::Etat::delai && monde._maintenant < echeance;
        monde._finDouble |= ++fins > 1;
        const bool repondue = resultat.etat <= cdv::Resultat::Etat::refuse;
        monde._fausse |= repondue && (resultat.code != codeDe(genre, idOp) ||
                                      (resultat.etat == cdv::Resultat::Etat::fait) != (resultat.code == 0));
        --monde._nonFinis;
        monde._aLivrer += fonction;
        return fonction;
    }
    void livrer() override { --monde._aLivrer; }
    std::size_t enAttente() const noexcept override { return nonLus; }
    std::size_t capacite() const noexcept override { return flux ? 3 : Demande::capacite(); }

    Simulation& monde;
    const bool flux;
    const bool fonction;
    std::size_t nonLus = 0;
    int fins = 0;
    cdv::TableDemandes::Rang rang = 0;
    unsigned long long connexion = 0;
    Genre genre = Genre::creer;
    int idOp = 0;
    orix::OXstatut statut = orix::OXS_OK;
    bool enAppel = true;
    bool sansDelai = false;
    cdv::Duree delai{0};
    cdv::Instant echeance = JAMAIS;
};

namespace {
cdv::Options reglages(Choix& choix)
{
    cdv::Options options;
    options.delaiActivation = 1000ms;
    options.delaiReprise = cdv::Duree(choix.tirer(200));
    options.delaiRepriseMax = choix.unSur(8) ? cdv::Duree::max() : cdv::Duree(1 + choix.tirer(5000));
    options.gigue = 0.25 * choix.tirer(5);
    options.reprise = !choix.unSur(4);
    return options;
}
} // namespace

Simulation::Simulation(Choix& choix)
    : _choix(choix),
      _options(reglages(choix)),
      _table(_fins, 4),
      _reconnexion(_options, 1 + choix.tirer(1 << 16)),
      _plafond(choix.unSur(4) ? 1 : 12),
      _occupe(choix.unSur(4))
{
    suivre(_reconnexion.ouvrir(_maintenant));
}

// ---- What must hold

void Simulation::exiger(bool condition, const char* faute) const
{
    if (!condition)
        throw Faute(faute);
}

void Simulation::verifier()
{
    while (!_fins.estVide())
        _fins.prendre()->livrer();
    exiger(_aLivrer == 0, "an end was delivered twice, or not at all");
    oublierFinis();
    exiger(!_finDouble, "a request ended twice");
    exiger(!_fausse, "a request got the answer to another one");
    exiger(!_troptot, "a request was late before its time");
    exiger(_table.enCours() == static_cast<std::size_t>(_nonFinis),
           "requests in the table that ended, or the contrary");
    const auto appels =
        std::count_if(_essais.begin(), _essais.end(), [](const auto& e) { return e->enAppel; });
    exiger(_table.appels() == static_cast<std::size_t>(appels),
           "the calls in the table are not those that last");
    exiger(_table.depots() <= 4 && (appels > 0 || _table.depots() == 0), "notifications are kept for nobody");

    _etat = _reconnexion.etat();
    exiger(_etat == EtatSession::active || _nonFinis == 0, "a request waits without a connection");
    exiger(_etat != EtatSession::active || _client == Client::actif || perteDue() || _perteTue,
           "active without a connection, and nobody will tell");
    exiger((_etat != EtatSession::activation && _etat != EtatSession::attente) || _appel != Appel::aucun ||
               _reconnexion.echeance() != JAMAIS,
           "a session that tries for ever");
    const bool fluxPlein = _nonFinis == 1 && std::any_of(_essais.begin(), _essais.end(), [](const auto& e) {
                               return e->fins == 0 && e->nonLus > e->capacite() / 2;
                           });
    exiger(!_retenu || appels > 0 || fluxPlein, "the callback thread waits for nothing");
}

bool Simulation::perteDue() const
{
    return std::any_of(_rappels.begin(), _rappels.end(),
                       [](const Rappel& r) { return r.sorte == Sorte::deconnexion; });
}

void Simulation::verifierEvenement(const cdv::Evenement& evenement)
{
    exiger(!evenement.perte || _etat == EtatSession::active, "a loss without a connection");
    exiger(evenement.etat != EtatSession::perdue || !_options.reprise ||
               evenement.statut == orix::OXS_NOYAU_NON_INITIALISE,
           "gave up");
    if (evenement.etat != EtatSession::attente)
        return;
    const double premier = std::max<double>(1, static_cast<double>(_options.delaiReprise.count()));
    const double plancher =
        std::min(premier, static_cast<double>(_options.delaiRepriseMax.count())) * (1 - _options.gigue);
    exiger(evenement.delai <= _options.delaiRepriseMax && evenement.delai >= 0ms &&
               (evenement.perte || static_cast<double>(evenement.delai.count()) > plancher - 1),
           "a delay out of its bounds");
    exiger(_reconnexion.echeance() == cdv::apres(_maintenant, evenement.delai) || _appel != Appel::aucun,
           "a delay that is not kept");
}

/// As the engine does.
void Simulation::suivre(const cdv::Reconnexion::Action& action)
{
    if (action.oublier)
        _occupe = false;
    if (action.perte)
        _table.conclureToutes(cdv::Resultat::Etat::perdu, _reconnexion.evenement().statut);
    if (action.annoncer)
        verifierEvenement(_reconnexion.evenement());
    _etat = _reconnexion.etat();
    if (action.connecter)
        _appel = Appel::active;
    else if (action.desactiver)
        _appel = Appel::desactive;
}

// ---- Requests

void Simulation::oublierFinis()
{
    _essais.erase(std::remove_if(_essais.begin(), _essais.end(),
                                 [](const auto& e) { return e->fins > 0 && !e->enAppel; }),
                  _essais.end());
}

std::shared_ptr<Simulation::Essai> Simulation::quelconque()
{
    return _essais.empty() ? nullptr : _essais[_choix.tirer(static_cast<unsigned>(_essais.size()))];
}

void Simulation::demander()
{
    const auto essai = std::make_shared<Essai>(*this, _choix.unSur(4), _choix.unSur(2));
    ++_nonFinis;
    if (_reconnexion.etat() != EtatSession::active) {
        cdv::TableDemandes::refuser(essai, _reconnexion.refus(), _fins);
        return;
    }
    essai->genre = essai->flux ? Genre::lister : static_cast<Genre>(_choix.tirer(5));
    essai->sansDelai = _choix.unSur(10);
    essai->delai = cdv::Duree(essai->sansDelai ? 0 : 1 + _choix.tirer(3000));
    essai->echeance = essai->sansDelai ? JAMAIS : _maintenant + essai->delai;
    essai->rang = _table.commencer(essai, essai->genre, essai->delai, _maintenant);
    essai->connexion = _reconnexion.connexion();
    essai->idOp = ++_numero;
    essai->statut = _client != Client::actif ? orix::OXS_SERVICE_NON_ACTIVE
                    : _choix.unSur(20)       ? orix::OXS_ERREUR_CORBA
                                             : orix::OXS_OK;
    _essais.push_back(essai);
}

void Simulation::rendreAppel(Essai& essai)
{
    if (!std::exchange(essai.enAppel, false))
        return;
    if (essai.statut == orix::OXS_OK)
        _table.partie(essai.rang, essai.idOp, _maintenant);
    else
        _table.nonPartie(essai.rang, essai.statut);
    const cdv::Reconnexion::Action action =
        _reconnexion.requeteRefusee(essai.statut, essai.connexion, _maintenant);
    exiger(!action.perte || _client != Client::actif || perteDue(),
           "a connection that lives is taken for lost");
    suivre(action);
    exiger(essai.statut != orix::OXS_SERVICE_NON_ACTIVE || _etat != EtatSession::active ||
               _reconnexion.connexion() != essai.connexion,
           "a connection that the client does not have any more");
}

/// The server answers a request: as it should, again, too late, or to nobody.
void Simulation::repondre()
{
    Rappel rappel{Sorte::fin, orix::OXS_OK, static_cast<Genre>(_choix.tirer(5)),
                  _numero - static_cast<int>(_choix.tirer(20))};
    if (const auto essai = quelconque(); essai && !_choix.unSur(5)) {
        rappel.genre = essai->genre;
        rappel.idOp = essai->idOp;
    }
    if (rappel.genre == Genre::lister && !_choix.unSur(4))
        rappel.sorte = Sorte::vol;
    if (_rappels.size() < 20)
        _rappels.push_back(rappel);
}

void Simulation::lire(const std::shared_ptr<Essai>& essai)
{
    if (essai->flux && _choix.unSur(20))
        _table.abandonner(essai);
    else if (essai->nonLus > 0)
        --essai->nonLus;
}

// ---- The client, its server and its callback thread

/// 0: accepts; 1: the connection is lost before the acceptance is told; others: refuses.
void Simulation::deciderActivation(unsigned issue)
{
    if (_client != Client::enCours)
        return;
    _client = issue == 0 ? Client::actif : Client::inactif;
    if (issue == 1)
        _rappels.push_back({Sorte::deconnexion, orix::OXS_SERVICE_NON_ACTIVE});
    _rappels.push_back({Sorte::active, issue <= 1 ? orix::OXS_OK : orix::OXS_NOK});
}

void Simulation::perdreConnexion()
{
    if (_client != Client::actif)
        return;
    _client = Client::inactif;
    _rappels.push_back(
        {Sorte::deconnexion, _choix.unSur(2) ? orix::OXS_ECHEC_PING : orix::OXS_SERVICE_NON_ACTIVE});
}

/// What active() does, at some moment of the call.
orix::OXstatut Simulation::executerActive()
{
    if (_client != Client::inactif)
        return _client == Client::actif ? orix::OXS_SERVICE_DEJA_ACTIVE : orix::OXS_ACTIVATION_EN_COURS;
    if (!_serveurSain && _choix.unSur(3))
        return _choix.unSur(10) ? orix::OXS_NOYAU_NON_INITIALISE : orix::OXS_CONNEXION_IMPOSSIBLE;
    _client = Client::enCours;
    _perteTue = false;
    return orix::OXS_OK;
}

void Simulation::avancerConnexion()
{
    switch (std::exchange(_appel, Appel::aucun)) {
    case Appel::active:
        _statutAppel = executerActive();
        _appel = Appel::activeFaite;
        return;
    case Appel::activeFaite:
        return suivre(_reconnexion.appelRendu(_statutAppel, _maintenant));
    case Appel::desactive:
        if (_client == Client::actif)
            _client = Client::inactif;
        _appel = Appel::desactiveFaite;
        return;
    case Appel::desactiveFaite:
        return suivre(_reconnexion.desactivationRendue(_maintenant));
    case Appel::aucun:
        suivre(_reconnexion.avancer(_maintenant, _occupe));
    }
}

void Simulation::livrerRappel()
{
    if (_rappels.empty())
        return;
    const Rappel rappel = _rappels.front();
    if (rappel.sorte == Sorte::active) {
        suivre(_reconnexion.reponse(rappel.statut, "cdv1", "tour", _maintenant));
    } else if (rappel.sorte == Sorte::deconnexion) {
        suivre(_reconnexion.deconnexion(rappel.statut, _maintenant));
    } else if (_fermee) {
        _retenu = false;
    } else {
        const bool attendait = std::exchange(_retenu, true);
        if (!attendait) {
            _appelAlors = _table.dernierAppel();
            _notification = {cdv::Notification::Sorte::fin, codeDe(rappel.genre, rappel.idOp), std::nullopt};
            if (rappel.sorte == Sorte::vol)
                _notification = {cdv::Notification::Sorte::vol, 0, cdv::Vol()};
        }
        const bool plein = std::exchange(_plein, false);
        _retenu = _table.accueillir(rappel.genre, rappel.idOp, _notification, _appelAlors, _maintenant) ==
                  cdv::TableDemandes::Accueil::aRevoir;
        if (_retenu) {
            if (_table.appels() == 0) { // by the reader of the one request that there is
                _essais.front()->echeance = JAMAIS;
                _plein = true;
            }
            return;
        }
        const auto sienne = std::find_if(_essais.begin(), _essais.end(), [&](const auto& e) {
            return e->idOp == rappel.idOp && e->fins == 0;
        });
        exiger(!plein || _nonFinis != 1 || sienne == _essais.end() ||
                   (*sienne)->nonLus <= (*sienne)->capacite() / 2 + 1,
               "a reader is given more before half of it is read");
    }
    _rappels.pop_front();
}

void Simulation::avancerTemps()
{
    const cdv::Instant echeances[] = {_table.prochaineEcheance(), _reconnexion.echeance()};
    cdv::Instant but = _maintenant + std::chrono::milliseconds(_choix.tirer(100));
    if (_choix.unSur(3))
        but = echeances[_choix.tirer(2)];
    else if (_choix.unSur(50))
        but = _maintenant + std::chrono::hours(_choix.tirer(10000));
    if (but != JAMAIS && !_choix.unSur(4))
        _maintenant = std::max(_maintenant, but);
    if (but > _maintenant && but != JAMAIS)
        _maintenant = but - 1ms > _maintenant ? but - 1ms : _maintenant; // just before
}

// ---- The course of events

void Simulation::pas()
{
    switch (_choix.tirer(16)) {
    case 0:
    case 1:
    case 2:
        if (_essais.size() < _plafond)
            demander();
        break;
    case 3:
    case 4:
        if (const auto essai = quelconque())
            rendreAppel(*essai);
        break;
    case 5:
    case 6:
        repondre();
        break;
    case 7:
    case 8:
        livrerRappel();
        break;
    case 9:
        if (const auto essai = quelconque())
            lire(essai);
        break;
    case 10:
        deciderActivation(_choix.tirer(4));
        break;
    case 11:
        if (_choix.unSur(6))
            perdreConnexion();
        break;
    case 12:
        avancerTemps();
        break;
    case 13:
        _table.expirer(_maintenant);
        break;
    case 14:
        avancerConnexion();
        break;
    default:
        if (_choix.unSur(8))
            suivre(_reconnexion.activer(_maintenant));
        else if (_occupe && _choix.unSur(4)) {
            _occupe = false;
            suivre(_reconnexion.libre(_maintenant));
        }
    }
    if (_retenu)
        livrerRappel(); // woken up, whatever happened
    verifier();
}

/// The servers are well, whoever can go on does.
void Simulation::tourCalme()
{
    _serveurSain = true;
    for (const auto& essai : std::vector<std::shared_ptr<Essai>>(_essais)) {
        rendreAppel(*essai);
        essai->nonLus = 0;
    }
    livrerRappel();
    deciderActivation(0);
    avancerConnexion();
    _table.expirer(_maintenant);
    const cdv::Instant prochaine = std::min(_table.prochaineEcheance(), _reconnexion.echeance());
    if (prochaine != JAMAIS)
        _maintenant = std::max(_maintenant, prochaine);
    if (_perteTue && _etat == EtatSession::active)
        demander(); // it is refused
    if (_etat == EtatSession::perdue)
        suivre(_reconnexion.activer(_maintenant));
    verifier();
}

void Simulation::finir()
{
    if (!_choix.unSur(4)) {
        for (int tour = 0; tour < 200; ++tour)
            tourCalme();
        exiger(_reconnexion.etat() == EtatSession::active && _appel == Appel::aucun,
               "servers that are well, and no connection");
        exiger(_rappels.empty(), "a callback waits for ever");
        exiger(std::all_of(_essais.begin(), _essais.end(), [](const auto& e) { return e->sansDelai; }),
               "a request waits for ever");
    }
    _fermee = true;
    _table.conclureToutes(cdv::Resultat::Etat::ferme);
    suivre(_reconnexion.fermer());
    if (_retenu)
        livrerRappel(); // woken up
    verifier();
    for (int tour = 0; tour < 30; ++tour)
        tourCalme();
    exiger(_nonFinis == 0 && _essais.empty(), "a request without an end");
    exiger(_table.enCours() + _table.appels() + _table.depots() == 0, "the tables are not empty");
    exiger(_reconnexion.echeance() == JAMAIS && _reconnexion.etat() == EtatSession::fermee,
           "a closed session goes on");
}

} // namespace essais
