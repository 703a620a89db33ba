#include "FilRappels.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cdv {

FilRappels::~FilRappels()
{
    {
        const Verrou verrou(_mutex);
        _fini = true;
        _arrivee.notify_all();
    }
    _fil.join();
}

void FilRappels::poster(std::function<void()> appel, int connexion, std::chrono::milliseconds delai)
{
    const Verrou verrou(_mutex);
    _rappels.push_back({std::move(appel), connexion, _temps.maintenant() + delai, ++_dernier});
    _arrivee.notify_all();
}

void FilRappels::oublier(int connexion, bool echues)
{
    std::deque<Rappel> restes; // what goes is released without the lock
    const Verrou verrou(_mutex);
    const auto maintenant = _temps.maintenant();
    const auto debut = std::stable_partition(_rappels.begin(), _rappels.end(), [&](const Rappel& rappel) {
        return rappel.connexion != connexion || (!echues && rappel.echeance <= maintenant);
    });
    std::move(debut, _rappels.end(), std::back_inserter(restes));
    _rappels.erase(debut, _rappels.end());
    _arrivee.notify_all();
    _avance.notify_all();
}

void FilRappels::attendreCalme()
{
    if (estIci())
        throw std::logic_error("cdv::ServiceMemoire::attendreCalme() would wait for its own thread");
    Verrou verrou(_mutex);
    const std::uint64_t jusque = _dernier;
    _avance.wait(verrou, [&] {
        if (_enCours != 0 && _enCours <= jusque)
            return false;
        return _rappels.empty() || _rappels.front().rang > jusque ||
               _rappels.front().echeance > _temps.maintenant();
    });
    if (_levee != nullptr)
        std::rethrow_exception(std::exchange(_levee, nullptr));
}

void FilRappels::_executer()
{
    Verrou verrou(_mutex);
    while (!_fini) {
        const auto echeance = _rappels.empty() ? TempsEssais::Instant::max() : _rappels.front().echeance;
        if (echeance > _temps.maintenant()) {
            _temps.attendre(_arrivee, verrou, echeance);
            continue;
        }
        Rappel rappel = std::move(_rappels.front());
        _rappels.pop_front();
        _enCours = rappel.rang;
        verrou.unlock();
        std::exception_ptr levee;
        try {
            rappel.appel();
        } catch (...) {
            levee = std::current_exception();
        }
        rappel.appel = nullptr;
        verrou.lock();
        _enCours = 0;
        if (_levee == nullptr)
            _levee = std::move(levee);
        _avance.notify_all();
    }
}

} // namespace cdv
