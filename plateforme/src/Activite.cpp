#include "Activite.h"

#include "orix/interne/Perpetuel.h"

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace orix::activite {

namespace {

struct Compteurs
{
    std::shared_mutex mutex; // of the map; the counters themselves are atomic, and never leave it
    std::map<std::string, std::atomic<unsigned long>> parService;
};

std::atomic<unsigned long>& compteur(const std::string& nomService)
{
    static const Perpetuel<Compteurs> compteurs;
    {
        const std::shared_lock<std::shared_mutex> verrou(compteurs->mutex);
        const auto trouve = compteurs->parService.find(nomService);
        if (trouve != compteurs->parService.end())
            return trouve->second;
    }
    const std::unique_lock<std::shared_mutex> verrou(compteurs->mutex);
    return compteurs->parService[nomService];
}

} // namespace

void noter(const std::string& nomService) { compteur(nomService).fetch_add(1, std::memory_order_relaxed); }

unsigned long lire(const std::string& nomService)
{
    return compteur(nomService).load(std::memory_order_relaxed);
}

} // namespace orix::activite
