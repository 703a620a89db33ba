#include "orix/interne/Livraison.h"

#include "orix/interne/Perpetuel.h"

#include <condition_variable>
#include <mutex>

namespace orix {

namespace {

thread_local int t_livraisons = 0;

} // namespace

/// The turns of the moment, of all adapters: they lie on their threads' stacks.
struct Livraison::Registre
{
    std::mutex mutex;
    std::condition_variable liberation;
    Livraison* premiere = nullptr;

    static Registre& instance()
    {
        static const Perpetuel<Registre> registre;
        return *registre;
    }

    bool estLibre(const IAdaptateurClient* adaptateur) const
    {
        for (const Livraison* l = premiere; l != nullptr; l = l->_suivante)
            if (l->_adaptateur == adaptateur && l->_fil != std::this_thread::get_id())
                return false;
        return true;
    }
    void inscrire(Livraison& livraison)
    {
        livraison._suivante = premiere;
        livraison._obtenue = true;
        premiere = &livraison;
        ++t_livraisons;
    }
    void retirer(const Livraison& livraison)
    {
        Livraison** lien = &premiere;
        while (*lien != &livraison)
            lien = &(*lien)->_suivante;
        *lien = livraison._suivante;
        --t_livraisons;
    }
};

Livraison::Livraison(const IAdaptateurClient* adaptateur, Instant limite) noexcept : _adaptateur(adaptateur)
{
    Registre& registre = Registre::instance();
    std::unique_lock<std::mutex> verrou(registre.mutex);
    const auto libre = [&] { return registre.estLibre(adaptateur); };
    if (limite == Instant::max())
        registre.liberation.wait(verrou, libre);
    else if (!registre.liberation.wait_until(verrou, limite, libre))
        return;
    registre.inscrire(*this);
}

Livraison::~Livraison()
{
    if (!_obtenue)
        return;
    Registre& registre = Registre::instance();
    const std::lock_guard<std::mutex> verrou(registre.mutex);
    registre.retirer(*this);
    registre.liberation.notify_all();
}

bool Livraison::estEnCoursIci() noexcept { return t_livraisons > 0; }

void Livraison::attendreFin(const IAdaptateurClient* adaptateur) noexcept
{
    Registre& registre = Registre::instance();
    std::unique_lock<std::mutex> verrou(registre.mutex);
    registre.liberation.wait(verrou, [&] { return registre.estLibre(adaptateur); });
}

} // namespace orix
