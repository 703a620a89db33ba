#ifndef ORIX_SEUILTRACE_H
#define ORIX_SEUILTRACE_H

#include "orix/Exportation.h"

#include <atomic>

namespace orix {

/// Levels of the traces. A line is written when its level is at most the threshold.
enum NiveauTraceORIX : int
{
    NTO_AUCUN = 0,     ///< threshold only: nothing is written
    NTO_NOTABLE = 100, ///< notable events, refusals, caught exceptions
    NTO_REFUS = 300,   ///< refused transitions, failed guards, lost servers
    NTO_PROGRES = 700, ///< entry, exit, progress
    NTO_DETAIL = 900   ///< detail of the records
};

/// The threshold of the traces of the process, apart from what writes them: headers whose inline functions
/// trace need no more. Any thread, at any time.
class ORIX_API SeuilTrace
{
  public:
    /// Whether a line of that level is written: one load and one compare, to be asked before a text is built.
    static bool estActif(NiveauTraceORIX niveau) noexcept
    {
        return niveau <= s_seuil.load(std::memory_order_relaxed);
    }
    static void definirSeuil(int seuil) noexcept { s_seuil.store(seuil, std::memory_order_relaxed); }
    static int lireSeuil() noexcept { return s_seuil.load(std::memory_order_relaxed); }

  private:
    // Under the symbol that programs already built read it by, from when it was a member of Trace.
    static std::atomic<int> s_seuil __asm__("_ZN4orix5Trace7s_seuilE");
};

} // namespace orix

#endif
