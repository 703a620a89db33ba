#ifndef ENTRELACEMENT_H
#define ENTRELACEMENT_H

#include "CapteurTraces.h"

#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace essais {

/// Waits until nobody but the caller runs any more: what has not been done then waits for the caller, or for
/// the time to pass.
void attendreRepos();

/// Lets an event happen on a thread of its own at one step of an operation: there the operation's thread
/// waits until the event is over or held back, that is until nobody runs any more, and then goes on.
class Entrelacement
{
  public:
    /// What the steps of an operation are: what its thread traces, or its allocations while it traces
    /// nothing.
    enum Pas
    {
        Lignes,
        Allocations
    };

    /// ouverture: the function whose first line tells the operation's thread; empty: it is the calling one.
    Entrelacement(const std::string& ouverture, Pas pas, int numero, std::function<void()> evenement);
    ~Entrelacement() { attendre(); }
    Entrelacement(const Entrelacement&) = delete;
    Entrelacement& operator=(const Entrelacement&) = delete;

    /// After the operation: waits for the end of the event. Where it began; empty when the operation has no
    /// such step.
    const std::string& attendre();

  private:
    void _recevoir(const orix::LigneTrace& ligne);
    void _observer();
    void _avancer(const std::string& lieu);

    const std::string _ouverture;
    const Pas _pas;
    int _restants; // steps before the event
    const std::function<void()> _evenement;
    std::thread::id _fil; // of the operation
    std::string _lieu;
    std::thread _thread;
    std::optional<EcouteTraces> _ecoute; // none: over
};

} // namespace essais

#endif
