#ifndef ORIX_ENVOISGROUPES_H
#define ORIX_ENVOISGROUPES_H

#include "orix/Exportation.h"

namespace orix {

/// While one lives, the requests that the calling thread makes wait for each other, and leave together: a
/// burst costs its sender half, and its server wakes once for many.
///
///     const orix::EnvoisGroupes groupe;
///     for (OXvol_completData* vol : vols)
///         OXcdvCliItf::cree_vol_complet(vol, idOp);
///
/// They leave when some 32 kilobytes wait for one server, at envoyer(), before anything else that goes to
/// that server, and at the end of the outermost object. So does whoever waits for an answer call envoyer()
/// first, or there will be none; cdv::Session::attendreFin(), cdv::Flux and cdv::Chargement do, a std::future
/// does not. What a process has not sent when it is killed is lost, as is what its system has not sent; a
/// call has returned OXS_OK all the same. A server that does not take what waits is lost, as with any
/// request.
///
/// Thread: of the thread that made it, which destroys it. Errors: none; without memory nothing waits. With
/// TLS, or [orb] grouper_envois = false, nothing waits either.
class ORIX_API EnvoisGroupes
{
  public:
    EnvoisGroupes() noexcept;
    ~EnvoisGroupes();
    EnvoisGroupes(const EnvoisGroupes&) = delete;
    EnvoisGroupes& operator=(const EnvoisGroupes&) = delete;

    /// What the calling thread makes wait leaves now. Blocks as a request does. Without any object: nothing.
    static void envoyer() noexcept;
};

} // namespace orix

#endif
