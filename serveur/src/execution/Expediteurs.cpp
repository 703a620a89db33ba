#include "Expediteurs.h"

#include "orix/Trace.h"

namespace serveur {

namespace {
constexpr std::size_t PERMANENTS = 4;
constexpr std::chrono::milliseconds REPOS{1000};
} // namespace

Expediteurs::Expediteurs(Aiguillage& aiguillage) : _aiguillage(aiguillage)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    while (_fils.size() < PERMANENTS)
        _lancer();
}

Expediteurs::~Expediteurs()
{
    _aiguillage.envois.fermer();
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _arret = true; // nobody touches the lists any more
    }
    _partis.clear();
    _fils.clear();
}

std::size_t Expediteurs::nombre() const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _fils.size();
}

void Expediteurs::_lancer()
{
    const auto celui = _fils.emplace(_fils.end());
    try {
        celui->emplace("cdv-envois", [this, celui] { return _avancer(celui); });
    } catch (...) {
        _fils.erase(celui);
        throw;
    }
}

bool Expediteurs::_avancer(Fils::iterator celui)
{
    const std::shared_ptr<Ligne> ligne = _aiguillage.envois.prendre(REPOS);
    if (ligne == nullptr)
        return !_aiguillage.envois.estFermee() && !_partir(celui);
    ligne->envoyer();
    _aiguillage.suivre(ligne, ligne->envoyee());
    return true;
}

/// Whether this thread is one too many; it must not be the one that joins itself.
bool Expediteurs::_partir(Fils::iterator celui)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_arret || _fils.size() - _attentes <= PERMANENTS)
        return false;
    _partis.splice(_partis.end(), _fils, celui);
    return true;
}

void Expediteurs::_remplacer() noexcept
{
    Fils partis; // joined without the lock
    try {
        const std::lock_guard<std::mutex> verrou(_mutex);
        ++_attentes;
        partis.swap(_partis);
        if (!_arret && _fils.size() - _attentes < PERMANENTS)
            _lancer();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Expediteurs", "_remplacer",
                              "Aucun fil de plus pour les envois : " << texteException());
    }
}

void Expediteurs::_revenir() noexcept
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    --_attentes;
}

} // namespace serveur
