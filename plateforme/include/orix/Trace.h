#ifndef ORIX_TRACE_H
#define ORIX_TRACE_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include <atomic>
#include <functional>
#include <sstream>
#include <string>

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

/// One line of trace, as the program gave it.
struct LigneTrace
{
    int niveauApplicatif; ///< 0 unless the caller gave one
    NiveauTraceORIX niveau;
    std::string fichier;  ///< source file, without its suffix
    std::string fonction; ///< full signature or bare name
    int ligne;
    std::string message;
};

/// The trace facility of the process. Every operation may be called from any thread, before initialiser() and
/// after terminer() too (lines then go to the standard error).
class ORIX_API Trace : INonCopiable
{
  public:
    using Recepteur = std::function<void(const LigneTrace&)>;

    /// Whether a line of that level is written: one load and one compare, to be asked before a text is built.
    static bool estActif(NiveauTraceORIX niveau) noexcept
    {
        return niveau <= s_seuil.load(std::memory_order_relaxed);
    }
    static void definirSeuil(int seuil) noexcept { s_seuil.store(seuil, std::memory_order_relaxed); }
    static int lireSeuil() noexcept { return s_seuil.load(std::memory_order_relaxed); }

    /// Writes the line when its level is at most the threshold.
    void tracer(NiveauTraceORIX niveau, const std::string& fichier, const std::string& fonction, int ligne,
                const std::string& message);
    void tracer(int niveauApplicatif, NiveauTraceORIX niveau, const std::string& fichier,
                const std::string& fonction, int ligne, const std::string& message);

    /// Sends the lines to this function in place of the log, one call at a time; an empty function gives them
    /// back to the log. What the function throws reaches the code that traced.
    void definirRecepteur(Recepteur recepteur);

  private:
    static std::atomic<int> s_seuil;
};

/// The trace facility; exists from the first use to the end of the process.
ORIX_API Trace* trace();

} // namespace orix

/// Traces a text given as a stream expression, built only when the level is written:
/// ORIX_TRACE(orix::NTO_DETAIL, "MaSource", __PRETTY_FUNCTION__, "Index = " << index);
#define ORIX_TRACE(niveau, fichier, fonction, texte)                                                         \
    do {                                                                                                     \
        if (::orix::Trace::estActif(niveau)) {                                                               \
            std::ostringstream oxTexteTrace;                                                                 \
            oxTexteTrace << texte;                                                                           \
            ::orix::trace()->tracer(niveau, fichier, fonction, __LINE__, oxTexteTrace.str());                \
        }                                                                                                    \
    } while (false)

/// The same from where nothing may be thrown: a destructor.
#define ORIX_TRACE_SANS_ECHEC(niveau, fichier, fonction, texte)                                              \
    do {                                                                                                     \
        try {                                                                                                \
            ORIX_TRACE(niveau, fichier, fonction, texte);                                                    \
        } catch (...) {                                                                                      \
        }                                                                                                    \
    } while (false)

#endif
