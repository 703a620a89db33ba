#ifndef CALLBACKSENREGISTRES_H
#define CALLBACKSENREGISTRES_H

#include "FileAttente.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

class OXvol_completData;

namespace essais {

/// One callback as the application received it. Unused members keep their defaults.
struct Appel
{
    std::string nom; ///< "activeCB", "cree_vol_completCB", ...
    int statut = -1; ///< status or server's code
    int idOp = -1;
    std::string serveur;
    std::string machine;
    std::optional<std::string> identifiant; ///< of the record, when there is one that has one
    std::thread::id fil;
};

/// The application's side of the callbacks: OXcdvCliCB is defined on it. Keeps what was called, and lets a
/// test wait.
class Callbacks
{
  public:
    static Callbacks& instance();

    /// Waits for the next callback, and takes it; fails the wait after the delay with an Appel named "rien".
    Appel attendre(std::chrono::milliseconds delai = std::chrono::seconds(20));
    /// Waits for the next callback of that name, and takes it; those before it are dropped.
    Appel attendre(const std::string& nom, std::chrono::milliseconds delai = std::chrono::seconds(20));
    /// How many wait to be taken.
    std::size_t nombre() { return _appels.nombre(); }
    void oublier() { _appels.vider(); }

    std::atomic<bool> garder{true}; ///< else they only go through `pendant`
    /// Run inside each callback, before it is kept; may throw, block, or call the facade. Set it before
    /// traffic.
    std::function<void(const Appel&, OXvol_completData*)> pendant;

    void noter(Appel appel, OXvol_completData* vol = nullptr); ///< for OXcdvCliCB

  private:
    FileAttente<Appel> _appels;
};

} // namespace essais

#endif
