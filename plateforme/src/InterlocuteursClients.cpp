#include "InterlocuteursClients.h"

#include "LiaisonORB.h"
#include "orix/Trace.h"
#include "orix/interne/Interlocuteurs.h"
#include "orix/interne/Perpetuel.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <utility>

namespace orix {

namespace {

constexpr std::size_t TAILLE_IDENTITE = 256; // an address and the name of a certificate
constexpr std::size_t TRACES_MAX = 1000;     // strangers that are told, each once

/// The kernel and the service of a server: two ways to it, that may be two addresses.
struct Serveur
{
    std::string noyau;
    std::string service;
    std::unique_ptr<orb::PairConnu> noyauConnu;
    std::unique_ptr<orb::PairConnu> serviceConnu;

    bool est(const std::string& identite) const { return identite == noyau || identite == service; }
};

struct Registre
{
    std::shared_mutex mutex; // of the map
    std::map<const IAdaptateurClient*, Serveur> serveurs;
    std::mutex mutexRefus; // of the set
    std::set<std::string> refuses;
    std::atomic<unsigned long> refus{0};
};

Registre& registre()
{
    static const Perpetuel<Registre> registre;
    return *registre;
}

/// Whether it is to be told: not yet, and not after too many others.
bool noterRefus(const std::string& etranger)
{
    registre().refus.fetch_add(1, std::memory_order_relaxed);
    const std::lock_guard<std::mutex> verrou(registre().mutexRefus);
    return registre().refuses.size() < TRACES_MAX && registre().refuses.insert(etranger).second;
}

} // namespace

namespace interlocuteurs {

void designer(const IAdaptateurClient* adaptateur, const std::string& noyau)
{
    Serveur serveur{noyau, {}, std::make_unique<orb::PairConnu>(noyau), nullptr};
    serveur.service.reserve(TAILLE_IDENTITE);
    const std::lock_guard<std::shared_mutex> verrou(registre().mutex);
    std::swap(registre().serveurs[adaptateur], serveur);
}

void ajouterService(const IAdaptateurClient* adaptateur, const std::string& service)
{
    const std::lock_guard<std::shared_mutex> verrou(registre().mutex);
    const auto place = registre().serveurs.find(adaptateur);
    if (place == registre().serveurs.end())
        return;
    place->second.service = service; // first: the rest may lack memory
    place->second.serviceConnu = std::make_unique<orb::PairConnu>(service);
}

void oublier(const IAdaptateurClient* adaptateur) noexcept
{
    const std::lock_guard<std::shared_mutex> verrou(registre().mutex);
    registre().serveurs.erase(adaptateur);
}

} // namespace interlocuteurs

void Interlocuteurs::exigerServeur(const char* operation)
{
    const std::string& appelant = orb::identiteAppelant();
    {
        const std::shared_lock<std::shared_mutex> verrou(registre().mutex);
        const auto& serveurs = registre().serveurs;
        if (std::any_of(serveurs.begin(), serveurs.end(),
                        [&](const auto& s) { return s.second.est(appelant); }))
            return;
    }
    if (noterRefus(appelant))
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "InterlocuteursClients", "exigerServeur",
                              "Refusé à " << appelant << ", qui n'est pas le serveur : " << operation);
    throw CORBA::NO_PERMISSION(0, CORBA::COMPLETED_NO);
}

unsigned long Interlocuteurs::lireRefus() noexcept
{
    return registre().refus.load(std::memory_order_relaxed);
}

} // namespace orix
