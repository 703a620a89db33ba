#ifndef FACADEFACTICE_H
#define FACADEFACTICE_H

#include "FileAttente.h"
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
    /// Runs a callback. To be set before there is any.
    std::function<void(const std::function<void()>&)> executer = [](const auto& appel) { appel(); };

  private:
    FileAttente<std::function<void()>> _appels;
    std::thread _fil{[this] {
        while (const auto appel = _appels.prendre({}, std::chrono::hours(1)))
            executer(appel);
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

    /// @name What the functions do
    /// By default: what a client does that has a connection, is being given one, or has none. To be set while
    /// no session is open.
    /// @{
    std::function<orix::OXstatut()> surActive;
    std::function<orix::OXstatut()> surDesactive;
    /// Runs inside the request call, which has its number already; by default OXS_OK. Without any lock.
    std::function<orix::OXstatut(const Requete&)> surRequete;
    /// At the beginning and at the end of each call and of each callback.
    std::function<void()> surPoint = [] {};
    std::atomic<bool> accepte{true}; ///< an activation is answered at once, instead of by what follows
    /// @}

    /// @name The server answers the activation that is under way, if there is one
    /// @{
    void accepter();
    void refuser();
    void accepterTropTard(); ///< the loss of the connection is told before its acceptance
    /// @}
    bool estActif();
    bool estEnCours();

    /// @name Callbacks, on the callback thread
    /// @{
    void perdre(orix::OXstatut statut); ///< if there is a connection
    /// The answer to "cree", "modifie", "supprime", "consulte", or the end of a "liste".
    void repondre(const std::string& operation, int idOp, int code = 0);
    void repondre(const Requete& requete, int code = 0) { repondre(requete.operation, requete.idOp, code); }
    void repondreTout();                                    ///< to all that ever came
    void envoyer(int idOp, const std::string& identifiant); ///< one record of a listing
    FilCallbacks fil;
    /// @}

    Requete derniere();
    std::size_t nombreRequetes();
    int activations() const { return _activations; }

    orix::OXstatut active();
    orix::OXstatut desactive();
    orix::OXstatut demander(const char* operation, OXvol_completData* vol, int& idOp);

  private:
    enum class Etat
    {
        inactif,
        enCours,
        actif
    };
    /// Moves on if it is in that state, and posts the callbacks under the same lock.
    template <class Suite>
    bool passer(Etat de, Etat a, Suite suite);

    orix::OXstatut entre(const std::function<orix::OXstatut()>& fonction);

    std::mutex _mutex;
    Etat _etat = Etat::inactif;
    std::vector<Requete> _requetes;
    std::atomic<int> _activations{0};
};

} // namespace essais

#endif
