#ifndef FACADEFACTICE_H
#define FACADEFACTICE_H

#include "FileAttente.h"
#include "Horloge.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace essais {

/// The callback thread: runs what is posted, in order.
class FilCallbacks
{
  public:
    ~FilCallbacks() ///< after all that was posted has run
    {
        poster({});
        _fil.join();
    }
    void poster(std::function<void()> appel) { _appels.poser(std::move(appel)); }
    /// Waits until everything posted so far has run.
    void vider();

  private:
    FileAttente<std::function<void()>> _appels;
    std::thread _fil{[this] {
        while (const auto appel = _appels.prendre({}, std::chrono::hours(1)))
            appel();
    }};
};

/// What the client library does, as the test wants it. OXcdvCliItf is defined on it.
class Facade
{
  public:
    Facade();
    ~Facade();
    static Facade& instance();

    struct Requete
    {
        std::string operation; ///< "cree", "modifie", ...
        std::string identifiant;
        int idOp;
    };

    /// By default: accepted, and activeCB follows at once.
    std::function<orix::OXstatut()> surActive;
    std::function<orix::OXstatut()> surDesactive; ///< by default OXS_OK
    /// Runs inside the request call, which has its number already; by default OXS_OK. Without any lock.
    std::function<orix::OXstatut(const Requete&)> surRequete;

    /// @name Callbacks, on the callback thread
    /// @{
    void activer(orix::OXstatut statut = orix::OXS_OK, const std::string& serveur = "cdv1");
    void perdre(orix::OXstatut statut);
    /// The answer to "cree", "modifie", "supprime", "consulte", or the end of a "liste".
    void repondre(const std::string& operation, int idOp, int code = 0);
    void repondre(const Requete& requete, int code = 0) { repondre(requete.operation, requete.idOp, code); }
    void envoyer(int idOp, const std::string& identifiant); ///< one record of a listing
    FilCallbacks fil;
    /// @}

    Requete derniere();
    std::size_t nombreRequetes();
    int activations() const { return _activations; }
    int desactivations() const { return _desactivations; }

    orix::OXstatut active();
    orix::OXstatut desactive();
    orix::OXstatut demander(const char* operation, OXvol_completData* vol, int& idOp);

  private:
    std::mutex _mutex;
    std::vector<Requete> _requetes;
    std::atomic<int> _activations{0};
    std::atomic<int> _desactivations{0};
};

/// Time that passes only when the test says so.
class HorlogeManuelle : public cdv::Horloge
{
  public:
    cdv::Instant maintenant() const override;
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  cdv::Instant fin) override;

    void avancer(std::chrono::milliseconds duree);
    /// Comes back once so many threads wait for a time that never comes.
    void attendreSansEcheance(std::ptrdiff_t nombre);

  private:
    struct Attente
    {
        std::condition_variable* condition;
        std::mutex* mutex;
        const cdv::Instant* fin; ///< of the waiting call, which it also identifies
    };
    mutable std::mutex _mutex;
    cdv::Instant _maintenant{std::chrono::hours(1)};
    std::vector<Attente> _attentes;
};

} // namespace essais

#endif
