#ifndef CDV_CLIENTSERVICE_H
#define CDV_CLIENTSERVICE_H

#include "orix/OXstatut.h"

#include <memory>
#include <mutex>

namespace cdv {

class MoteurSession;

/// The one client of the service that a process has: which engine uses it, and the activation that a closed
/// session left behind, whose answer is still to come. While there is one no engine asks for its own. Lives
/// to the very end of the process: a callback may come as late as that. Its lock is taken after an engine's,
/// never before.
class ClientService
{
  public:
    static ClientService& unique();

    std::shared_ptr<MoteurSession> moteur();
    void installer(const std::shared_ptr<MoteurSession>& moteur); ///< throws Erreur when the place is taken
    void retirer();                                               ///< frees the place

    /// @name The activation left behind
    /// @{
    bool occupe();       ///< there is one
    void laisser();      ///< the engine closes; the server is to be let go, should it accept
    void serviceRendu(); ///< it has been let go meanwhile
    void oublier();      ///< its answer is not waited for any more
    /// The client is about to be destroyed: should the answer still come, nothing is to be called any more.
    void clore() { serviceRendu(); }
    /// Who gets the answer that has come; null: nobody, it is that of the activation left behind, or of an
    /// engine that did not want it. Then nobody asks until oublier().
    std::shared_ptr<MoteurSession> destinataire(const std::shared_ptr<MoteurSession>& refusant);
    /// To be asked then: whether the server is still to be let go.
    bool aDesactiver();
    /// @}

    /// @name The calls of the facade that want one caller at a time
    /// @{
    orix::OXstatut activer(char* service);
    orix::OXstatut desactiver();
    /// @}

  private:
    enum class Laissee
    {
        non,
        aDesactiver,
        aIgnorer
    };
    std::mutex _mutex;
    std::shared_ptr<MoteurSession> _moteur;
    Laissee _activation = Laissee::non;
    std::mutex _appel;
};

} // namespace cdv

#endif
