#include "Expediteurs.h"

#include "orix/EnvoisGroupes.h"
#include "orix/Trace.h"

namespace serveur {

namespace {
constexpr std::size_t PERMANENTS = 4;
constexpr std::chrono::milliseconds REPOS{1000};
} // namespace

Expediteurs::Expediteurs(Aiguillage& aiguillage, Mesures& mesures)
    : _aiguillage(aiguillage), _mesures(mesures)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    while (_fils.size() < PERMANENTS)
        _lancer();
}

void Expediteurs::arreter()
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
    return _arret ? 0 : _fils.size();
}

void Expediteurs::_lancer()
{
    const auto celui = _fils.emplace(_fils.end());
    try {
        celui->emplace("cdv-envois", [this, celui] { return _avancer(celui); });
        ++_libres;
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
    _relever();
    {
        const orix::EnvoisGroupes groupe; // the answers of one client, which follow each other
        ligne->envoyer(_mesures);
    }
    _aiguillage.suivre(ligne, ligne->envoyee());
    const std::lock_guard<std::mutex> verrou(_mutex);
    ++_libres;
    return true;
}

/// This thread is not free any more; another one is, if need be a new one.
void Expediteurs::_relever() noexcept
{
    Fils partis; // joined without the lock
    try {
        const std::lock_guard<std::mutex> verrou(_mutex);
        --_libres;
        if (_libres > 0 || _arret)
            return;
        partis.swap(_partis);
        _lancer();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Expediteurs", "_relever",
                              "Aucun fil de plus pour les envois : " << texteException());
    }
}

/// Whether this thread is one too many; it must not be the one that joins itself.
bool Expediteurs::_partir(Fils::iterator celui)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_arret || _libres == 1 || _fils.size() <= PERMANENTS)
        return false;
    --_libres;
    _partis.splice(_partis.end(), _fils, celui);
    return true;
}

} // namespace serveur
