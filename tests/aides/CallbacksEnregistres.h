#ifndef CALLBACKSENREGISTRES_H
#define CALLBACKSENREGISTRES_H

#include "FileAttente.h"
#include "OXvol_completData.h"

namespace essais {

/// One callback as the application received it. Unused members keep their defaults.
struct Appel
{
    Appel(const char* leNom, int leStatut = -1, int leNumero = -1)
        : nom(leNom), statut(leStatut), idOp(leNumero)
    {}

    std::string nom; ///< "activeCB", "cree_vol_completCB", ...
    int statut;      ///< status or server's code
    int idOp;
    std::string serveur;
    std::string machine;
    std::optional<std::string> identifiant; ///< of the record, when there is one that has one
};

/// The application's side of the callbacks: OXcdvCliCB is defined on it. Keeps what was called, and lets a
/// test wait.
class Callbacks
{
  public:
    static Callbacks& instance()
    {
        static Callbacks callbacks;
        return callbacks;
    }

    /// Waits for the next callback, and takes it; fails the wait after the delay with an Appel named "rien".
    Appel attendre(std::chrono::milliseconds delai = std::chrono::seconds(20))
    {
        return _appels.prendre({"rien"}, delai);
    }
    /// Waits for the next callback of that name, and takes it; those before it are dropped.
    Appel attendre(const std::string& nom, std::chrono::milliseconds delai = std::chrono::seconds(20))
    {
        const auto fin = std::chrono::steady_clock::now() + delai;
        for (;;) {
            const auto reste = fin - std::chrono::steady_clock::now();
            Appel appel = attendre(std::chrono::duration_cast<std::chrono::milliseconds>(reste));
            if (appel.nom == nom || appel.nom == "rien")
                return appel;
        }
    }
    /// How many wait to be taken.
    std::size_t nombre() { return _appels.nombre(); }
    void oublier() { _appels.vider(); }

    std::atomic<bool> garder{true}; ///< else they only go through `pendant`
    /// Run inside each callback, before it is kept; may throw, block, or call the facade. Set it before
    /// traffic.
    std::function<void(const Appel&, OXvol_completData*)> pendant;

    /// for OXcdvCliCB
    void noter(Appel appel, OXvol_completData* vol = nullptr)
    {
        if (vol != nullptr && vol->m_gidentifiant != nullptr)
            appel.identifiant = vol->m_gidentifiant;
        const bool gardee = garder; // before pendant(), which may let the test go on and change it
        if (pendant)
            pendant(appel, vol);
        if (gardee)
            _appels.poser(std::move(appel));
    }

  private:
    FileAttente<Appel> _appels;
};

} // namespace essais

#endif
