#include "TempsEssais.h"

#include <stdexcept>
#include <vector>

namespace cdv {

using Verrou = std::unique_lock<std::mutex>;

TempsEssais::Instant TempsEssais::maintenant() const noexcept { return std::chrono::steady_clock::now(); }

void TempsEssais::attendre(std::condition_variable& condition, Verrou& verrou, Instant fin)
{
    if (fin == Instant::max())
        condition.wait(verrou);
    else
        condition.wait_until(verrou, fin);
}

void TempsEssais::avancer(std::chrono::milliseconds)
{
    throw std::logic_error("cdv::ServiceMemoire::avancer(): its time is real");
}

TempsEssais::Instant TempsVirtuel::maintenant() const noexcept
{
    const Verrou verrou(_mutex);
    return _maintenant;
}

void TempsVirtuel::attendre(std::condition_variable& condition, Verrou& verrou, Instant fin)
{
    Verrou prive(_mutex);
    if (_maintenant >= fin)
        return;
    const auto moi = _attentes.insert(_attentes.end(), {condition, *verrou.mutex(), fin, 0});
    prive.unlock();
    condition.wait(verrou);
    verrou.unlock(); // who wakes needs it
    prive.lock();
    _lachee.wait(prive, [moi] { return moi->tenues == 0; });
    _attentes.erase(moi);
    prive.unlock();
    verrou.lock();
}

void TempsVirtuel::avancer(std::chrono::milliseconds duree)
{
    std::vector<Attente*> echues;
    Verrou prive(_mutex);
    _maintenant += duree;
    for (Attente& attente : _attentes) {
        if (attente.fin > _maintenant)
            continue;
        ++attente.tenues;
        echues.push_back(&attente);
    }
    prive.unlock();
    for (const Attente* const attente : echues) {
        const Verrou verrou(attente->verrou); // so that it waits already
        attente->condition.notify_all();
    }
    prive.lock();
    for (Attente* const attente : echues)
        --attente->tenues;
    _lachee.notify_all();
}

} // namespace cdv
