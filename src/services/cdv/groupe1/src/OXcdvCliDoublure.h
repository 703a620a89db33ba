#ifndef OXCDVCLIDOUBLURE_H
#define OXCDVCLIDOUBLURE_H

#include "OXcdvCliConnexion.h"
#include "orix/Exportation.h"
#include "orix/OXstatut.h"
#include "orix/OXversion.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

class OXvol_completData;

namespace orix {

/// A time for sessions to live in. It may be used for a while after the last session was closed: that keeps
/// it.
class ORIX_API OXcdvCliTemps
{
  public:
    using Instant = std::chrono::steady_clock::time_point;

    virtual ~OXcdvCliTemps();
    virtual Instant maintenant() const noexcept = 0;
    /// Waits for a notification, until that instant at most.
    virtual void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                          Instant fin) = 0;
};

/// What answers the functions of OXcdvCliItf in the client's place, for the tests of an application:
/// cdv::ServiceMemoire (CdvEssais.h) is one. It calls OXcdvCliCB on a thread of its own. Each function does
/// what the one of the facade promises, whose status tells what it throws; it is called on any thread, by
/// several at a time.
class ORIX_API OXcdvCliDoublure
{
  public:
    /// The five requests.
    enum class Requete
    {
        cree,
        modifie,
        supprime,
        consulte,
        liste
    };

    virtual ~OXcdvCliDoublure();

    /// @name The facade
    /// @{
    virtual OXstatut active(const char* nomService) = 0;
    virtual OXstatut desactive() = 0;
    virtual OXversion lireVersion() = 0;
    virtual std::vector<OXversion> lireVersionsConnues() = 0;
    virtual OXstatut demander(Requete requete, OXvol_completData* vol, int& idOp) = 0;
    virtual OXcdvCliConnexion lireConnexion() noexcept = 0;
    virtual void detruire() = 0; ///< of detruireOXcdvCliItfAdaptateur()
    /// @}

    /// The time that sessions live in; null: the machine's.
    virtual std::shared_ptr<OXcdvCliTemps> temps() = 0;
};

/// From now on that one answers; null: the client itself does again. It stays the caller's, and outlives what
/// uses it: no session is open, and no thread inside OXcdvCliItf, when it changes.
ORIX_API void doublerOXcdvCliItf(OXcdvCliDoublure* doublure) noexcept;
/// Who answers; null: the client itself.
ORIX_API OXcdvCliDoublure* lireDoublureOXcdvCliItf() noexcept;

} // namespace orix

#endif
