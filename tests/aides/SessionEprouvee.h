#ifndef SESSIONEPROUVEE_H
#define SESSIONEPROUVEE_H

#include "EtatProcessus.h"
#include "SessionReelle.h"

#include <functional>
#include <set>

namespace essais {

/// A session whose servers fail one after the other, and that goes on: nothing that the client was told of is
/// lost.
class SessionEprouvee : public SessionReelle
{
  protected:
    using SessionReelle::SessionReelle;
    using Action = std::function<void(const std::string& serveur)>;

    /// Does it again and again, on each server in turn: afterwards the client works on the other one, and has
    /// not gathered threads or descriptors. panne: called while the client is active on that server, with
    /// nothing outstanding; returns once the client may activate again. retour: called once the client is
    /// active on the other server; the one given serves again.
    void repeter(const char* nom, std::size_t fois, const Action& panne, const Action& retour);
    void repeter(const char* nom, std::size_t fois, const Action& panne)
    {
        repeter(nom, fois, panne, [this](const std::string& ancien) { relancer(ancien); });
    }

    /// The client is at peace: the next callback is that of this creation, and nothing else comes.
    void creer(const std::string& identifiant);
    /// Waits for the notice of the loss; the creations told of before it are kept. emettre: called between
    /// short waits.
    void attendrePerte(const std::function<void()>& emettre = {});
    /// The creations that were told of and are no more.
    int compterPerdus();

    std::set<std::string> _crees; ///< those whose creation was notified
};

} // namespace essais

#endif
