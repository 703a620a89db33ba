#ifndef SURTRACE_H
#define SURTRACE_H

#include "orix/Trace.h"

#include <functional>
#include <string>
#include <utility>

namespace essais {

/// Does something at the first line of trace that begins with the text, on the thread that traces and before
/// it goes on: a fault strikes between two steps of a function. The lines are not written while it lives.
class SurTrace
{
  public:
    SurTrace(std::string debut, std::function<void()> action, int seuil = orix::NTO_NOTABLE)
        : _seuilAvant(orix::Trace::lireSeuil())
    {
        orix::Trace::definirSeuil(seuil);
        orix::trace()->definirRecepteur(
            [debut = std::move(debut), action = std::move(action)](const orix::LigneTrace& ligne) mutable {
                if (action && ligne.message.compare(0, debut.size(), debut) == 0)
                    std::exchange(action, nullptr)();
            });
    }
    ~SurTrace()
    {
        orix::trace()->definirRecepteur({});
        orix::Trace::definirSeuil(_seuilAvant);
    }
    SurTrace(const SurTrace&) = delete;
    SurTrace& operator=(const SurTrace&) = delete;

  private:
    int _seuilAvant;
};

} // namespace essais

#endif
