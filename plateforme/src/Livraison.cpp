#include "Livraison.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace orix {

namespace {

struct Section
{
    std::thread::id fil;
    int profondeur = 0;
};

struct Sections
{
    std::mutex mutex;
    std::condition_variable liberation;
    std::map<const IAdaptateurClient*, Section> occupees;

    bool estLibre(const IAdaptateurClient* adaptateur) const
    {
        const auto section = occupees.find(adaptateur);
        return section == occupees.end() || section->second.fil == std::this_thread::get_id();
    }
};

Sections& sections()
{
    static auto* const sections = new Sections; // never destroyed: threads may outlive the static objects
    return *sections;
}

thread_local int t_livraisons = 0;

} // namespace

Livraison::Livraison(const IAdaptateurClient* adaptateur) : _adaptateur(adaptateur)
{
    Sections& s = sections();
    std::unique_lock<std::mutex> verrou(s.mutex);
    s.liberation.wait(verrou, [&] { return s.estLibre(adaptateur); });
    Section& section = s.occupees[adaptateur];
    section.fil = std::this_thread::get_id();
    ++section.profondeur;
    ++t_livraisons;
}

Livraison::~Livraison()
{
    Sections& s = sections();
    const std::lock_guard<std::mutex> verrou(s.mutex);
    const auto section = s.occupees.find(_adaptateur);
    if (--section->second.profondeur == 0) {
        s.occupees.erase(section);
        s.liberation.notify_all();
    }
    --t_livraisons;
}

bool Livraison::estEnCoursIci() noexcept { return t_livraisons > 0; }

void Livraison::attendreFin(const IAdaptateurClient* adaptateur)
{
    Sections& s = sections();
    std::unique_lock<std::mutex> verrou(s.mutex);
    s.liberation.wait(verrou, [&] { return s.estLibre(adaptateur); });
}

} // namespace orix
