#include "CdvEssais.h"

#include "FilRappels.h"
#include "MagasinMemoire.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliCode.h"
#include "OXvol_completData.h"

#include <deque>
#include <future>
#include <tuple>
#include <utility>

namespace cdv {

using orix::OXstatut;
using Sort = ServiceMemoire::Sort;
using Garde = std::lock_guard<std::mutex>;

namespace {

constexpr orix::OXversion VERSION(3, 0, 0, 0);
constexpr const char* SERVEURS[] = {"cdv1", "cdv2"};
constexpr const char* MACHINE = "memoire";

} // namespace

Sort Sort::nonPartie(OXstatut statut)
{
    Sort sort;
    sort.statut = statut;
    return sort;
}

Sort Sort::refusee(int code)
{
    Sort sort;
    sort.code = code;
    return sort;
}

Sort Sort::apres(Duree delai)
{
    Sort sort;
    sort.delai = delai;
    return sort;
}

Sort Sort::devancee()
{
    Sort sort;
    sort.devance = true;
    return sort;
}

Sort Sort::enAttente()
{
    Sort sort;
    sort.retenue = true;
    return sort;
}

Sort Sort::perdue(bool faite, OXstatut statut)
{
    Sort sort;
    sort.faite = faite;
    sort.perte = statut;
    sort.vols = 0;
    return sort;
}

Sort Sort::coupee(std::size_t vols)
{
    Sort sort = perdue();
    sort.vols = vols;
    return sort;
}

/// What a request is to be told.
struct ServiceMemoire::Reponse
{
    Demande demande;
    Sort sort;
    int connexion = 0; ///< which it belongs to
    int code = 0;
    Vol vol; ///< of a listing: the example
    std::promise<void> dite;

    /// Something of it has been told.
    void dire()
    {
        if (!std::exchange(_dite, true))
            dite.set_value();
    }

  private:
    bool _dite = false;
};

struct ServiceMemoire::Interieur
{
    enum class Etat
    {
        inactif,
        demande,
        actif
    };

    explicit Interieur(Temps lequel)
        : temps(lequel == Temps::virtuel ? std::make_shared<TempsVirtuel>()
                                         : std::make_shared<TempsEssais>()),
          fil(*temps)
    {}
    /// Moves on if it is in that state. Under the lock.
    bool passer(Etat de, Etat a)
    {
        if (etat != de)
            return false;
        etat = a;
        return true;
    }
    void changerServeur() { serveur = 1 - serveur; }

    mutable std::mutex mutex; // guards all but what guards itself: time and thread
    Etat etat = Etat::inactif;
    int connexion = 0; ///< how many there were: the client's number too
    int serveur = 0;   ///< which is asked next, or has accepted
    bool present = true;
    bool aussitot = true;
    int activations = 0;
    MagasinMemoire magasin;
    std::size_t generes = 0;
    std::function<Vol(std::size_t)> fabrique;
    std::function<Sort(const Demande&)> regle;
    std::deque<Sort> prochaines;
    std::vector<Demande> demandes;
    std::vector<std::shared_ptr<Reponse>> retenues;
    const std::shared_ptr<TempsEssais> temps;
    FilRappels fil; // last: what it runs uses all of it
};

ServiceMemoire::ServiceMemoire(Temps temps) : _i(std::make_unique<Interieur>(temps))
{
    orix::doublerOXcdvCliItf(this);
}

ServiceMemoire::~ServiceMemoire() { orix::doublerOXcdvCliItf(nullptr); }

// ---- Its records

void ServiceMemoire::poser(Vol vol)
{
    const Garde garde(_i->mutex);
    _i->magasin.poser(std::move(vol));
}

std::optional<Vol> ServiceMemoire::lire(std::string_view identifiant) const
{
    const Garde garde(_i->mutex);
    return _i->magasin.lire(identifiant);
}

std::size_t ServiceMemoire::nombre() const
{
    const Garde garde(_i->mutex);
    return _i->magasin.nombre();
}

void ServiceMemoire::generer(std::size_t nombre, std::function<Vol(std::size_t)> fabrique)
{
    const Garde garde(_i->mutex);
    _i->generes = nombre;
    _i->fabrique = std::move(fabrique);
}

// ---- Requests

void ServiceMemoire::regler(std::function<Sort(const Demande&)> regle)
{
    const Garde garde(_i->mutex);
    _i->regle = std::move(regle);
}

void ServiceMemoire::prochaine(Sort sort)
{
    const Garde garde(_i->mutex);
    _i->prochaines.push_back(sort);
}

std::vector<ServiceMemoire::Demande> ServiceMemoire::demandes() const
{
    const Garde garde(_i->mutex);
    return _i->demandes;
}

void ServiceMemoire::relacher()
{
    const Garde garde(_i->mutex);
    for (const std::shared_ptr<Reponse>& reponse : std::exchange(_i->retenues, {}))
        if (reponse->connexion == _i->connexion && _i->etat == Interieur::Etat::actif)
            _i->fil.poster([this, reponse] { _repondre(reponse); }, reponse->connexion);
}

OXstatut ServiceMemoire::demander(Requete requete, OXvol_completData* vol, int& idOp)
{
    if (vol == nullptr)
        return orix::OXS_NOK;
    auto reponse = std::make_shared<Reponse>();
    reponse->vol = Vol(*vol);
    {
        const Garde garde(_i->mutex);
        if (_i->etat != Interieur::Etat::actif)
            return orix::OXS_SERVICE_NON_ACTIVE;
        reponse->connexion = _i->connexion;
        reponse->demande = {requete, std::string(reponse->vol.lire_ou(Champ::gidentifiant, "")),
                            static_cast<int>(_i->demandes.size()) + 1};
        _i->demandes.push_back(reponse->demande);
    }
    idOp = reponse->demande.numero;
    reponse->sort = _decider(reponse->demande);
    if (reponse->sort.statut != orix::OXS_OK)
        return reponse->sort.statut;
    const bool devance = reponse->sort.devance && !_i->fil.estIci();
    const std::future<void> dite = reponse->dite.get_future();
    _accueillir(std::exchange(reponse, nullptr));
    if (devance)
        dite.wait(); // it ends too when the answer is dropped
    return orix::OXS_OK;
}

/// Without the lock: the test's own function may do as it likes.
Sort ServiceMemoire::_decider(const Demande& demande)
{
    std::function<Sort(const Demande&)> regle;
    {
        const Garde garde(_i->mutex);
        if (!_i->prochaines.empty()) {
            const Sort sort = _i->prochaines.front();
            _i->prochaines.pop_front();
            return sort;
        }
        regle = _i->regle;
    }
    return regle ? regle(demande) : Sort();
}

/// Does what is asked, and sees to its answer.
void ServiceMemoire::_accueillir(const std::shared_ptr<Reponse>& reponse)
{
    const Sort& sort = reponse->sort;
    {
        const Garde garde(_i->mutex);
        if (reponse->connexion != _i->connexion || _i->etat != Interieur::Etat::actif)
            return; // lost meanwhile
        reponse->code = sort.code;
        if (sort.code == code::FAIT && sort.faite)
            std::tie(reponse->code, reponse->vol) =
                _i->magasin.executer(reponse->demande.requete, reponse->vol);
        if (sort.retenue) {
            _i->retenues.push_back(reponse);
            return;
        }
        if (!sort.perte || sort.delai.count() != 0 || sort.vols != 0) {
            _i->fil.poster([this, reponse] { _repondre(reponse); }, reponse->connexion, sort.delai);
            return;
        }
    }
    _perdre(*sort.perte, /*echues*/ false); // before the call returns: nothing else leaves meanwhile
}

/// On the callback thread.
void ServiceMemoire::_repondre(const std::shared_ptr<Reponse>& reponse)
{
    OXvol_completData& vol = reponse->vol.brut();
    const int numero = reponse->demande.numero;
    if (reponse->demande.requete == Requete::liste && !_lister(*reponse))
        return;
    if (reponse->sort.perte)
        return _perdre(*reponse->sort.perte, /*echues*/ true);
    rappeler([&] {
        switch (reponse->demande.requete) {
        case Requete::cree:
            return OXcdvCliCB::cree_vol_completCB(reponse->code, &vol, numero);
        case Requete::modifie:
            return OXcdvCliCB::modifie_vol_completCB(reponse->code, &vol, numero);
        case Requete::supprime:
            return OXcdvCliCB::supprime_vol_completCB(reponse->code, numero);
        case Requete::consulte:
            return OXcdvCliCB::consulte_vol_completCB(reponse->code, &vol, numero);
        case Requete::liste:
            return OXcdvCliCB::fin_liste_vol_completCB(reponse->code, numero);
        }
    });
    reponse->dire();
}

/// The records; false when the connection ended before them.
bool ServiceMemoire::_lister(Reponse& reponse)
{
    std::string dernier;
    std::size_t prochain = 0;
    for (std::size_t reste = reponse.code == code::FAIT ? reponse.sort.vols : 0; reste > 0; --reste) {
        std::optional<Vol> vol;
        std::function<Vol(std::size_t)> fabrique;
        std::size_t generes = 0;
        {
            const Garde garde(_i->mutex);
            if (reponse.connexion != _i->connexion || _i->etat != Interieur::Etat::actif)
                return false;
            vol = _i->magasin.suivant(reponse.vol, dernier);
            fabrique = _i->fabrique;
            generes = _i->generes;
        }
        while (!vol && prochain < generes) // the test's own function may do as it likes: without the lock
            if (Vol genere = fabrique(prochain++); ressemble(genere, reponse.vol))
                vol = std::move(genere);
        if (!vol)
            break;
        rappeler([&] { OXcdvCliCB::liste_vol_completCB(&vol->brut(), reponse.demande.numero); });
        reponse.dire();
    }
    return true;
}

// ---- Its connection

OXstatut ServiceMemoire::active(const char* nomService)
{
    if (nomService == nullptr)
        return orix::OXS_NOK;
    const Garde garde(_i->mutex);
    if (_i->etat != Interieur::Etat::inactif)
        return _i->etat == Interieur::Etat::actif ? orix::OXS_SERVICE_DEJA_ACTIVE
                                                  : orix::OXS_ACTIVATION_EN_COURS;
    ++_i->activations;
    if (!_i->present) {
        _i->changerServeur();
        return orix::OXS_CONNEXION_IMPOSSIBLE;
    }
    _i->etat = Interieur::Etat::demande;
    if (_i->aussitot)
        _repondreActivation(orix::OXS_OK);
    return orix::OXS_OK;
}

OXstatut ServiceMemoire::desactive()
{
    const Garde garde(_i->mutex);
    if (!_i->passer(Interieur::Etat::actif, Interieur::Etat::inactif))
        return orix::OXS_SERVICE_NON_ACTIVE;
    _i->fil.oublier(_i->connexion, /*echues*/ false);
    return orix::OXS_OK;
}

/// Under the lock.
void ServiceMemoire::_repondreActivation(OXstatut statut)
{
    const bool acceptee = statut == orix::OXS_OK;
    if (!_i->passer(Interieur::Etat::demande, acceptee ? Interieur::Etat::actif : Interieur::Etat::inactif))
        return;
    _i->connexion += acceptee ? 1 : 0;
    const char* const serveur = SERVEURS[_i->serveur];
    poster([statut, serveur] { OXcdvCliCB::activeCB(statut, serveur, MACHINE); });
    if (!acceptee)
        _i->changerServeur();
}

void ServiceMemoire::accepter()
{
    const Garde garde(_i->mutex);
    _repondreActivation(orix::OXS_OK);
}

void ServiceMemoire::refuser()
{
    const Garde garde(_i->mutex);
    _repondreActivation(orix::OXS_NOK);
}

void ServiceMemoire::accepterTropTard()
{
    const Garde garde(_i->mutex);
    if (_i->etat != Interieur::Etat::demande)
        return;
    poster([] { OXcdvCliCB::deconnexionCB(orix::OXS_SERVICE_NON_ACTIVE); });
    _repondreActivation(orix::OXS_OK);
    _i->etat = Interieur::Etat::inactif;
}

void ServiceMemoire::perdre(OXstatut statut) { _perdre(statut, /*echues*/ false); }

void ServiceMemoire::_perdre(OXstatut statut, bool echues)
{
    const Garde garde(_i->mutex);
    if (!_i->passer(Interieur::Etat::actif, Interieur::Etat::inactif))
        return;
    _i->fil.oublier(_i->connexion, echues);
    poster([statut] { OXcdvCliCB::deconnexionCB(statut); });
    if (statut != orix::OXS_SERVICE_NON_ACTIVE)
        _i->changerServeur();
}

void ServiceMemoire::partir()
{
    {
        const Garde garde(_i->mutex);
        _i->present = false;
    }
    perdre();
}

void ServiceMemoire::revenir()
{
    const Garde garde(_i->mutex);
    _i->present = true;
}

void ServiceMemoire::repondreActivations(bool aussitot)
{
    const Garde garde(_i->mutex);
    _i->aussitot = aussitot;
}

bool ServiceMemoire::estActive() const
{
    const Garde garde(_i->mutex);
    return _i->etat == Interieur::Etat::actif;
}

bool ServiceMemoire::estDemandee() const
{
    const Garde garde(_i->mutex);
    return _i->etat == Interieur::Etat::demande;
}

int ServiceMemoire::activations() const
{
    const Garde garde(_i->mutex);
    return _i->activations;
}

orix::OXversion ServiceMemoire::lireVersion() { return estActive() ? VERSION : orix::VERSION_NULLE; }

std::vector<orix::OXversion> ServiceMemoire::lireVersionsConnues() { return {VERSION}; }

orix::OXcdvCliConnexion ServiceMemoire::lireConnexion() noexcept
{
    using Etat = orix::OXcdvCliConnexion::Etat;
    constexpr Etat ETATS[] = {Etat::inactive, Etat::activation, Etat::active};
    const Garde garde(_i->mutex);
    const Etat etat = ETATS[static_cast<int>(_i->etat)];
    return {etat, etat == Etat::active ? _i->connexion : 0, _i->serveur + 1};
}

void ServiceMemoire::detruire() { desactive(); }

// ---- Time

void ServiceMemoire::avancer(Duree duree) { _i->temps->avancer(duree); }

void ServiceMemoire::attendreCalme() { _i->fil.attendreCalme(); }

std::shared_ptr<orix::OXcdvCliTemps> ServiceMemoire::temps() { return _i->temps; }

void ServiceMemoire::rappeler(const std::function<void()>& appel) { appel(); }

void ServiceMemoire::poster(std::function<void()> appel)
{
    _i->fil.poster([this, appel = std::move(appel)] { rappeler(appel); });
}

} // namespace cdv
