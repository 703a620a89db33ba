#include "AppelSortant.h"

#include "EntetesORB.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace orix::orb {

namespace {

constexpr unsigned long FERME = ~(~0ul >> 1); // beside the number of calls

struct Appels
{
    std::atomic<unsigned long> nombre{0};
    std::mutex mutex; // for the wait
    std::condition_variable fin;

    void sortir()
    {
        if (nombre.fetch_sub(1) != FERME + 1)
            return;
        const std::lock_guard<std::mutex> verrou(mutex);
        fin.notify_all();
    }
};

Appels& appels()
{
    static auto* const appels = new Appels; // never destroyed: threads may outlive the static objects
    return *appels;
}

} // namespace

AppelSortant::AppelSortant()
{
    if ((appels().nombre.fetch_add(1) & FERME) == 0)
        return;
    appels().sortir();
    throw CORBA::BAD_INV_ORDER();
}

AppelSortant::~AppelSortant() { appels().sortir(); }

void ouvrirAppelsSortants() noexcept { appels().nombre &= ~FERME; }

void fermerAppelsSortants()
{
    Appels& a = appels();
    a.nombre |= FERME;
    std::unique_lock<std::mutex> verrou(a.mutex);
    a.fin.wait(verrou, [&] { return a.nombre == FERME; });
}

} // namespace orix::orb
