#ifndef SIMULATION_H
#define SIMULATION_H

#include "Reconnexion.h"
#include "TableDemandes.h"
#include "Tirages.h"

#include <algorithm>
#include <deque>
#include <stdexcept>

namespace essais {

/// What must never be; what() says it.
struct Faute : std::logic_error
{
    using std::logic_error::logic_error;
};

/// One session's decisions in a world of chance, on virtual time: requests, readers, the threads of the
/// engine, the client of the service, its server and its callback thread each take their next step when it is
/// their turn.
class Simulation
{
  public:
    explicit Simulation(Choix& choix)
        : _choix(choix),
          _options(reglages(choix)),
          _table(_fins, 4),
          _reconnexion(_options, 1 + choix.tirer(1 << 16)),
          _plafond(choix.unSur(4) ? 1 : 12),
          _occupe(choix.unSur(4))
    {
        suivre(_reconnexion.ouvrir(_maintenant));
    }
    /// One event, then all that must hold after any event. Throws Faute.
    void pas()
    {
        avancer();
        if (_retenu)
            livrerRappel(); // woken up, whatever happened
        verifier();
    }
    /// Lets everything come to rest, or not, and closes the session. Throws Faute.
    void finir()
    {
        if (!_choix.unSur(4)) {
            for (int tour = 0; tour < 200; ++tour)
                tourCalme();
            exiger(_reconnexion.etat() == cdv::EtatSession::active && _appel == Appel::aucun,
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
        exiger(_reconnexion.echeance() == cdv::JAMAIS && _reconnexion.etat() == cdv::EtatSession::fermee,
               "a closed session goes on");
    }

  private:
    /// What the server answers to that request, and to no other.
    static int codeDe(cdv::Genre genre, int idOp)
    {
        return (idOp / 3 + static_cast<int>(genre)) % 3 == 0 ? 0 : idOp;
    }
    static cdv::Options reglages(Choix& choix)
    {
        cdv::Options options;
        options.delaiActivation = std::chrono::milliseconds(1000);
        options.delaiReprise = cdv::Duree(choix.tirer(200));
        options.delaiRepriseMax = choix.unSur(8) ? cdv::Duree::max() : cdv::Duree(1 + choix.tirer(5000));
        options.gigue = 0.25 * choix.tirer(5);
        options.reprise = !choix.unSur(4);
        return options;
    }
    enum class Sorte
    {
        active,
        deconnexion,
        vol,
        fin
    };
    struct Rappel
    {
        Sorte sorte;
        orix::OXstatut statut = orix::OXS_OK;
        cdv::Genre genre = cdv::Genre::creer;
        int idOp = 0;
    };
    struct Essai : public cdv::Demande
    {
        Essai(Simulation& monde, bool flux, bool fonction) : monde(monde), flux(flux), fonction(fonction) {}
        void recevoir(cdv::Vol) override
        {
            if (monde._choix.unSur(100))
                throw std::bad_alloc();
            if (flux)
                ++nonLus;
            echeance = sansDelai ? cdv::JAMAIS : cdv::apres(monde._maintenant, delai);
        }
        bool conclure(cdv::Resultat resultat) noexcept override
        {
            if (resultat.etat == cdv::Resultat::Etat::delai && monde._maintenant < echeance)
                monde._faute = "a request was late before its time";
            if (++fins > 1)
                monde._faute = "a request ended twice";
            const bool repondue = resultat.etat <= cdv::Resultat::Etat::refuse;
            if (repondue && (resultat.code != codeDe(genre, idOp) ||
                             (resultat.etat == cdv::Resultat::Etat::fait) != (resultat.code == 0)))
                monde._faute = "a request got the answer to another one";
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
        cdv::Genre genre = cdv::Genre::creer;
        int idOp = 0;
        orix::OXstatut statut = orix::OXS_OK;
        bool enAppel = true;
        bool sansDelai = false;
        cdv::Duree delai{0};
        cdv::Instant echeance = cdv::JAMAIS;
    };
    enum class Client
    {
        inactif,
        enCours,
        actif
    };
    enum class Appel ///< of the thread of the connection
    {
        aucun,
        active,
        activeFaite,
        desactive,
        desactiveFaite
    };

    void avancer()
    {
        switch ("dddaarrcclvptek?"[_choix.tirer(16)]) { // as often as there are letters
        case 'd':
            return _essais.size() < _plafond ? demander() : void();
        case 'a':
            return rendreAppel(quelconque());
        case 'r':
            return repondre();
        case 'c':
            return livrerRappel();
        case 'l':
            return lire(quelconque());
        case 'v':
            return deciderActivation(_choix.tirer(4));
        case 'p':
            return _choix.unSur(6) ? perdreConnexion() : void();
        case 't':
            return avancerTemps();
        case 'e':
            return _table.expirer(_maintenant);
        case 'k':
            return avancerConnexion();
        default:
            if (_choix.unSur(8))
                return suivre(_reconnexion.activer(_maintenant));
            if (_occupe && _choix.unSur(4)) {
                _occupe = false;
                suivre(_reconnexion.libre(_maintenant));
            }
        }
    }
    void exiger(bool condition, const char* faute) const
    {
        if (!condition)
            throw Faute(faute);
    }
    void verifier()
    {
        while (!_fins.estVide())
            _fins.prendre()->livrer();
        exiger(_aLivrer == 0, "an end was delivered twice, or not at all");
        oublierFinis();
        exiger(_faute == nullptr, _faute);
        exiger(_table.enCours() == static_cast<std::size_t>(_nonFinis),
               "requests in the table that ended, or the contrary");
        const auto appels =
            std::count_if(_essais.begin(), _essais.end(), [](const auto& e) { return e->enAppel; });
        exiger(_table.appels() == static_cast<std::size_t>(appels),
               "the calls in the table are not those that last");
        exiger(_table.depots() <= 4 && (appels > 0 || _table.depots() == 0),
               "notifications are kept for nobody");

        _etat = _reconnexion.etat();
        exiger(_etat == cdv::EtatSession::active || _nonFinis == 0, "a request waits without a connection");
        exiger(_etat != cdv::EtatSession::active || _client == Client::actif || perteDue() || _perteTue,
               "active without a connection, and nobody will tell");
        exiger((_etat != cdv::EtatSession::activation && _etat != cdv::EtatSession::attente) ||
                   _appel != Appel::aucun || _reconnexion.echeance() != cdv::JAMAIS,
               "a session that tries for ever");
        const bool fluxPlein =
            _nonFinis == 1 && std::any_of(_essais.begin(), _essais.end(), [](const auto& e) {
                return e->fins == 0 && e->nonLus > e->capacite() / 2;
            });
        exiger(!_retenu || appels > 0 || fluxPlein, "the callback thread waits for nothing");
    }
    /// its notice is under way
    bool perteDue() const
    {
        return std::any_of(_rappels.begin(), _rappels.end(),
                           [](const Rappel& r) { return r.sorte == Sorte::deconnexion; });
    }
    void verifierEvenement(const cdv::Evenement& evenement)
    {
        exiger(!evenement.perte || _etat == cdv::EtatSession::active, "a loss without a connection");
        exiger(evenement.etat != cdv::EtatSession::perdue || !_options.reprise ||
                   evenement.statut == orix::OXS_NOYAU_NON_INITIALISE,
               "gave up");
        if (evenement.etat != cdv::EtatSession::attente)
            return;
        const double premier = std::max<double>(1, static_cast<double>(_options.delaiReprise.count()));
        const double plancher =
            std::min(premier, static_cast<double>(_options.delaiRepriseMax.count())) * (1 - _options.gigue);
        exiger(evenement.delai <= _options.delaiRepriseMax &&
                   evenement.delai >= std::chrono::milliseconds(0) &&
                   (evenement.perte || static_cast<double>(evenement.delai.count()) > plancher - 1),
               "a delay out of its bounds");
        exiger(_reconnexion.echeance() == cdv::apres(_maintenant, evenement.delai) || _appel != Appel::aucun,
               "a delay that is not kept");
    }
    /// As the engine does.
    void suivre(const cdv::Reconnexion::Action& action)
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
    /// null: there is none
    std::shared_ptr<Essai> quelconque()
    {
        return _essais.empty() ? nullptr : _essais[_choix.tirer(static_cast<unsigned>(_essais.size()))];
    }
    void oublierFinis()
    {
        _essais.erase(std::remove_if(_essais.begin(), _essais.end(),
                                     [](const auto& e) { return e->fins > 0 && !e->enAppel; }),
                      _essais.end());
    }

    void demander()
    {
        const auto essai = std::make_shared<Essai>(*this, _choix.unSur(4), _choix.unSur(2));
        ++_nonFinis;
        if (_reconnexion.etat() != cdv::EtatSession::active) {
            cdv::TableDemandes::refuser(essai, essai->genre, _reconnexion.refus(), _fins);
            return;
        }
        essai->genre = essai->flux ? cdv::Genre::lister : static_cast<cdv::Genre>(_choix.tirer(5));
        essai->sansDelai = _choix.unSur(10);
        essai->delai = cdv::Duree(essai->sansDelai ? 0 : 1 + _choix.tirer(3000));
        essai->echeance = essai->sansDelai ? cdv::JAMAIS : _maintenant + essai->delai;
        essai->rang = _table.commencer(essai, essai->genre, essai->delai, _maintenant);
        essai->connexion = _reconnexion.connexion();
        essai->idOp = ++_numero;
        essai->statut = _client != Client::actif ? orix::OXS_SERVICE_NON_ACTIVE
                        : _choix.unSur(20)       ? orix::OXS_ERREUR_CORBA
                                                 : orix::OXS_OK;
        _essais.push_back(essai);
    }
    void rendreAppel(const std::shared_ptr<Essai>& essai)
    {
        if (!essai || !std::exchange(essai->enAppel, false))
            return;
        if (essai->statut == orix::OXS_OK)
            _table.partie(essai->rang, essai->idOp, _maintenant);
        else
            _table.nonPartie(essai->rang, essai->statut);
        const cdv::Reconnexion::Action action =
            _reconnexion.requeteRefusee(essai->statut, essai->connexion, _maintenant);
        exiger(!action.perte || _client != Client::actif || perteDue(),
               "a connection that lives is taken for lost");
        suivre(action);
        exiger(essai->statut != orix::OXS_SERVICE_NON_ACTIVE || _etat != cdv::EtatSession::active ||
                   _reconnexion.connexion() != essai->connexion,
               "a connection that the client does not have any more");
    }
    /// The server answers a request: as it should, again, too late, or to nobody.
    void repondre()
    {
        Rappel rappel{Sorte::fin, orix::OXS_OK, static_cast<cdv::Genre>(_choix.tirer(5)),
                      _numero - static_cast<int>(_choix.tirer(20))};
        if (const auto essai = quelconque(); essai && !_choix.unSur(5)) {
            rappel.genre = essai->genre;
            rappel.idOp = essai->idOp;
        }
        if (rappel.genre == cdv::Genre::lister && !_choix.unSur(4))
            rappel.sorte = Sorte::vol;
        if (_rappels.size() < 20)
            _rappels.push_back(rappel);
    }
    void lire(const std::shared_ptr<Essai>& essai)
    {
        if (essai && essai->flux && _choix.unSur(20))
            _table.abandonner(essai);
        else if (essai && essai->nonLus > 0)
            --essai->nonLus;
    }
    /// 0: accepts; 1: the connection is lost before the acceptance is told; others: refuses.
    void deciderActivation(unsigned issue)
    {
        if (_client != Client::enCours)
            return;
        _client = issue == 0 ? Client::actif : Client::inactif;
        if (issue == 1)
            _rappels.push_back({Sorte::deconnexion, orix::OXS_SERVICE_NON_ACTIVE});
        _rappels.push_back({Sorte::active, issue <= 1 ? orix::OXS_OK : orix::OXS_NOK});
    }
    void perdreConnexion()
    {
        if (_client != Client::actif)
            return;
        _client = Client::inactif;
        _rappels.push_back(
            {Sorte::deconnexion, _choix.unSur(2) ? orix::OXS_ECHEC_PING : orix::OXS_SERVICE_NON_ACTIVE});
    }
    void avancerConnexion()
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
    /// What active() does, at some moment of the call.
    orix::OXstatut executerActive()
    {
        if (_client != Client::inactif)
            return _client == Client::actif ? orix::OXS_SERVICE_DEJA_ACTIVE : orix::OXS_ACTIVATION_EN_COURS;
        if (!_serveurSain && _choix.unSur(3))
            return _choix.unSur(10) ? orix::OXS_NOYAU_NON_INITIALISE : orix::OXS_CONNEXION_IMPOSSIBLE;
        _client = Client::enCours;
        _perteTue = false;
        return orix::OXS_OK;
    }
    void livrerRappel()
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
                _notification = {cdv::Notification::Sorte::fin, codeDe(rappel.genre, rappel.idOp),
                                 std::nullopt};
                if (rappel.sorte == Sorte::vol)
                    _notification = {cdv::Notification::Sorte::vol, 0, cdv::Vol()};
            }
            const bool plein = std::exchange(_plein, false);
            _retenu = _table.accueillir(rappel.genre, rappel.idOp, _notification, _appelAlors, _maintenant) ==
                      cdv::TableDemandes::Accueil::aRevoir;
            if (_retenu) {
                if (_table.appels() == 0) { // by the reader of the one request that there is
                    _essais.front()->echeance = cdv::JAMAIS;
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
    void avancerTemps()
    {
        const cdv::Instant echeances[] = {_table.prochaineEcheance(), _reconnexion.echeance()};
        cdv::Instant but = _maintenant + std::chrono::milliseconds(_choix.tirer(100));
        if (_choix.unSur(3))
            but = echeances[_choix.tirer(2)];
        else if (_choix.unSur(50))
            but = _maintenant + std::chrono::hours(_choix.tirer(10000));
        if (but != cdv::JAMAIS && !_choix.unSur(4))
            _maintenant = std::max(_maintenant, but);
        if (but > _maintenant && but != cdv::JAMAIS)
            _maintenant = std::max(_maintenant, but - std::chrono::milliseconds(1)); // just before
    }
    /// The servers are well, whoever can go on does.
    void tourCalme()
    {
        _serveurSain = true;
        for (const auto& essai : std::vector<std::shared_ptr<Essai>>(_essais)) {
            rendreAppel(essai);
            essai->nonLus = 0;
        }
        livrerRappel();
        deciderActivation(0);
        avancerConnexion();
        _table.expirer(_maintenant);
        const cdv::Instant prochaine = std::min(_table.prochaineEcheance(), _reconnexion.echeance());
        if (prochaine != cdv::JAMAIS)
            _maintenant = std::max(_maintenant, prochaine);
        if (_perteTue && _etat == cdv::EtatSession::active)
            demander(); // it is refused
        if (_etat == cdv::EtatSession::perdue)
            suivre(_reconnexion.activer(_maintenant));
        verifier();
    }

    Choix& _choix;
    cdv::Options _options;
    cdv::Instant _maintenant{std::chrono::hours(1)};
    cdv::Livraisons _fins;
    cdv::TableDemandes _table;
    cdv::Reconnexion _reconnexion;
    cdv::EtatSession _etat = cdv::EtatSession::fermee;
    std::vector<std::shared_ptr<Essai>> _essais; ///< not ended, or in their call
    int _numero = 0;
    int _nonFinis = 0;
    int _aLivrer = 0;
    const char* _faute = nullptr; ///< that an end has shown
    bool _fermee = false;
    bool _perteTue = false; ///< the client has lost its connection without a notice

    Client _client = Client::inactif;
    const std::size_t _plafond; ///< of the requests at a time
    bool _occupe;               ///< it owes an answer to another session
    Appel _appel = Appel::aucun;
    orix::OXstatut _statutAppel = orix::OXS_OK;
    bool _serveurSain = false; ///< accepts, always
    std::deque<Rappel> _rappels;
    bool _retenu = false; ///< the first of them has been presented, and waits
    bool _plein = false;  ///< and that is because its reader has not read enough
    cdv::Notification _notification{cdv::Notification::Sorte::fin, 0, std::nullopt};
    cdv::TableDemandes::Rang _appelAlors = 0;
};

} // namespace essais

#endif
