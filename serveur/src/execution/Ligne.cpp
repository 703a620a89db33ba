#include "Ligne.h"

#include <new>

namespace serveur {

namespace {

constexpr std::size_t LOT_ENVOI = 256; // answers; then the others' turn comes

bool vaPar(Ligne::Voie voie, const Requete& requete)
{
    const bool lit = requete.operation == Operation::consulte || requete.operation == Operation::liste;
    // Consultations between changes go with them: one group instead of three.
    return voie == Ligne::Voie::lecture ? lit : requete.operation != Operation::liste;
}

/// The figures of what is sent. Answers that became ready together are counted together, so that the clock is
/// read once for them.
class Releve
{
  public:
    explicit Releve(Mesures& mesures) : _mesures(mesures) {}

    /// This one is about to be sent; those before were.
    void commencer(const Requete& reponse)
    {
        const auto genre = reponse.genre == Requete::Genre::resultat ? Mesures::RESULTAT : Mesures::ELEMENT;
        if (reponse.instant != _instant || genre != _genre)
            finir();
        _instant = reponse.instant;
        _genre = genre;
        ++_nombre;
    }
    void finir()
    {
        if (_nombre > 0)
            _mesures.notification[_genre].noter(std::chrono::steady_clock::now() - _instant, _nombre);
        _nombre = 0;
    }

  private:
    Mesures& _mesures;
    std::chrono::steady_clock::time_point _instant;
    Mesures::Genre _genre = Mesures::RESULTAT;
    std::uint64_t _nombre = 0;
};

} // namespace

Ligne::Ligne(Memoire& memoire)
    : _memoire(memoire), _reserve(std::make_unique<Requete>(Operation::consulte, nullptr, 0))
{}

Ligne::~Ligne() { _memoire.rendre(_entrees.octets + _sorties.octets); }

void Ligne::_rendreMemoire(Compte& compte, const Compte& rendu) noexcept
{
    compte -= rendu;
    _memoire.rendre(rendu.octets);
}

std::unique_ptr<Requete> Ligne::creer(Operation operation, FichePartagee vol, int idOp) noexcept
{
    std::unique_ptr<Requete> requete(new (std::nothrow) Requete(operation, vol, idOp));
    if (requete == nullptr) {
        const std::lock_guard<std::mutex> verrou(_mutex);
        requete = std::move(_reserve);
        if (requete != nullptr)
            *requete = Requete(operation, std::move(vol), idOp);
    }
    return requete;
}

bool Ligne::deposer(std::unique_ptr<Requete> requete, Suites& suites)
{
    const std::size_t octets = sizeof(Requete) + requete->vol->octets();
    requete->instant = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> verrou(_mutex);
    _place.wait(verrou, [&] { return _conge || _abandon || _memoire.admet(_entrees.octets, octets); });
    if (_conge || _abandon)
        return false;
    _entrees += {octets, 1};
    _memoire.prendre(octets);
    _recues.ajouter(std::move(requete));
    suites.voie = _suivre();
    return true;
}

/// The way of the next request, when somebody is to be brought the line.
Ligne::Voie Ligne::_suivre() noexcept
{
    if (_executee || _abandon || _recues.vide() || !_memoire.admet(_sorties.octets, 0))
        return Voie::aucune;
    _executee = true;
    return vaPar(Voie::lecture, _recues.premiere()) ? Voie::lecture : Voie::ecriture;
}

/// Whether who sends is to be brought the line.
bool Ligne::_aEnvoyer() noexcept
{
    const bool dernierMot = _conge && !_finie && !_executee && _recues.vide();
    if (_envoyee || _abandon || (_reponses.vide() && !dernierMot))
        return false;
    _envoyee = true;
    return true;
}

Chaine Ligne::prendre(Voie voie, std::size_t nombre, std::size_t octets) noexcept
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    Chaine prises;
    for (; nombre > 0 && prises.octets() < octets && !_recues.vide(); --nombre) {
        const bool liste = _recues.premiere().operation == Operation::liste;
        if (!vaPar(voie, _recues.premiere()) || (liste && !prises.vide()))
            break;
        prises.ajouter(_recues.prendre());
        if (liste)
            break;
    }
    _prises = prises.compte();
    return prises;
}

Ligne::Suites Ligne::rendre(Chaine&& reponses, Chaine&& restantes) noexcept
{
    Chaine jetees; // freed without the lock
    const std::lock_guard<std::mutex> verrou(_mutex);
    _executee = false;
    Compte finies = std::exchange(_prises, {});
    if (_abandon) {
        _rendreMemoire(_entrees, finies);
        jetees.ajouter(std::move(reponses));
        jetees.ajouter(std::move(restantes));
    } else {
        finies -= restantes.compte();
        _rendreMemoire(_entrees, finies);
        restantes.ajouter(std::move(_recues));
        _recues = std::move(restantes);
        _sorties += reponses.compte();
        _memoire.prendre(reponses.octets());
        _reponses.ajouter(std::move(reponses));
    }
    _place.notify_all();
    Suites suites;
    suites.voie = _suivre();
    suites.envoi = _aEnvoyer();
    return suites;
}

void Ligne::envoyer(Mesures& mesures) noexcept
{
    Chaine lot;
    bool conge = false;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        for (std::size_t n = 0; n < LOT_ENVOI && !_reponses.vide(); ++n)
            lot.ajouter(_reponses.prendre());
        conge = _conge && lot.vide();
    }
    _envoyees = lot.compte();
    try {
        Releve releve(mesures);
        for (; !lot.vide() && !_abandon; _derniere = lot.prendre()) {
            releve.commencer(lot.premiere());
            envoyer(lot.premiere());
        }
        pousser();
        releve.finir();
        if (!conge || _abandon)
            return;
        _finie = true;
        prendreConge();
        finir(/*echec*/ false);
    } catch (...) {
        _finie = true;
        if (!_abandon)
            finir(/*echec*/ true);
    }
}

Ligne::Suites Ligne::envoyee() noexcept
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _rendreMemoire(_sorties, std::exchange(_envoyees, {}));
    if (_reserve == nullptr)
        _reserve = std::move(_derniere);
    _derniere.reset();
    _envoyee = false;
    Suites suites;
    suites.voie = _suivre();
    suites.envoi = _aEnvoyer();
    return suites;
}

Ligne::Attente Ligne::attente() const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return {_entrees, _sorties};
}

Ligne::Suites Ligne::congedier() noexcept
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _conge = true;
    _place.notify_all();
    Suites suites;
    suites.envoi = _aEnvoyer();
    return suites;
}

void Ligne::abandonner() noexcept
{
    Chaine jetees; // freed without the lock
    const std::lock_guard<std::mutex> verrou(_mutex);
    _abandon = true;
    _rendreMemoire(_entrees, _recues.compte());
    _rendreMemoire(_sorties, _reponses.compte());
    jetees.ajouter(std::move(_recues));
    jetees.ajouter(std::move(_reponses));
    _place.notify_all();
}

} // namespace serveur
