#ifndef ORIX_TRACE_H
#define ORIX_TRACE_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"
#include "orix/SeuilTrace.h"

#include <functional>
#include <new>
#include <sstream>
#include <string>

namespace orix {

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
/// after terminer() too (lines then go to the standard error). A line for which memory lacks is lost, or cut
/// short: nothing is thrown for it.
class ORIX_API Trace : public SeuilTrace, INonCopiable
{
  public:
    using Recepteur = std::function<void(const LigneTrace&)>;

    /// Writes the line when its level is at most the threshold.
    void tracer(NiveauTraceORIX niveau, const std::string& fichier, const std::string& fonction, int ligne,
                const std::string& message);
    void tracer(int niveauApplicatif, NiveauTraceORIX niveau, const std::string& fichier,
                const std::string& fonction, int ligne, const std::string& message);
    /// The same for the macros below, without a text before memory for it is known to be there.
    void tracer(NiveauTraceORIX niveau, const char* fichier, const char* fonction, int ligne,
                const std::ostringstream& message);

    /// Sends the lines to this function in place of the log, one call at a time; an empty function gives them
    /// back to the log. What the function throws reaches the code that traced.
    void definirRecepteur(Recepteur recepteur);
};

/// The trace facility; exists from the first use to the end of the process.
ORIX_API Trace* trace();

} // namespace orix

/// Traces a text given as a stream expression, built only when the level is written:
/// ORIX_TRACE(orix::NTO_DETAIL, "MaSource", __PRETTY_FUNCTION__, "Index = " << index);
#define ORIX_TRACE(niveau, fichier, fonction, texte)                                                         \
    ORIX_TRACE_LIGNE(niveau, fichier, fonction, __LINE__, texte)

/// The same on behalf of another line of the source.
#define ORIX_TRACE_LIGNE(niveau, fichier, fonction, ligne, texte)                                            \
    do {                                                                                                     \
        if (::orix::Trace::estActif(niveau)) {                                                               \
            std::ostringstream oxTexteTrace;                                                                 \
            try {                                                                                            \
                oxTexteTrace << texte;                                                                       \
            } catch (const std::bad_alloc&) {                                                                \
            }                                                                                                \
            ::orix::trace()->tracer(niveau, fichier, fonction, ligne, oxTexteTrace);                         \
        }                                                                                                    \
    } while (false)

/// The same from where nothing may be thrown, not even by a receiver: a destructor, a handler.
#define ORIX_TRACE_SANS_ECHEC(niveau, fichier, fonction, texte)                                              \
    do {                                                                                                     \
        try {                                                                                                \
            ORIX_TRACE(niveau, fichier, fonction, texte);                                                    \
        } catch (...) {                                                                                      \
        }                                                                                                    \
    } while (false)

#endif
