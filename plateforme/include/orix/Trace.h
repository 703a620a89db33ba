#ifndef ORIX_TRACE_H
#define ORIX_TRACE_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include <atomic>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <string_view>

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

/// One line of trace. Its texts may be shown (orix/TexteSur.h): 8 KiB with what the log puts before them.
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
/// after terminer() too (lines then go to the standard error). A line for which memory lacks is lost: nothing
/// is thrown for it.
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
    /// The same for the macros below, without a text before memory for it is known to be there.
    void tracer(NiveauTraceORIX niveau, std::string_view fichier, std::string_view fonction, int ligne,
                const std::ostringstream& message);

    /// Sends the lines to this function in place of the log, under the facility's lock: it waits for no
    /// thread that traces. An empty function gives them back to the log. What it throws reaches the code that
    /// traced.
    void definirRecepteur(Recepteur recepteur);

  private:
    static std::atomic<int> s_seuil;
};

/// The trace facility; exists from the first use to the end of the process.
ORIX_API Trace* trace();

/// What ORIX_TRACE does when the level is written, apart from the code that traces. ecrire puts the text into
/// a stream; a text that memory lacks for is dropped whole.
template <class Ecrire>
[[gnu::cold, gnu::noinline]] void tracerTexte(NiveauTraceORIX niveau, std::string_view fichier,
                                              std::string_view fonction, int ligne, Ecrire ecrire)
{
    std::ostringstream texte;
    try {
        ecrire(texte);
    } catch (const std::bad_alloc&) {
        return;
    }
    if (texte) // else memory lacked inside of it
        trace()->tracer(niveau, fichier, fonction, ligne, texte);
}

/// The same, which lets out nothing that a receiver throws.
template <class Ecrire>
[[gnu::cold, gnu::noinline]] void tracerTexteSansEchec(NiveauTraceORIX niveau, std::string_view fichier,
                                                       std::string_view fonction, int ligne,
                                                       Ecrire ecrire) noexcept
{
    try {
        tracerTexte(niveau, fichier, fonction, ligne, ecrire);
    } catch (...) {
    }
}

} // namespace orix

/// Traces a text given as a stream expression, built only when the level is written:
/// ORIX_TRACE(orix::NTO_DETAIL, "MaSource", __PRETTY_FUNCTION__, "Index = " << index);
#define ORIX_TRACE(niveau, fichier, fonction, texte)                                                         \
    ORIX_TRACE_PAR_(tracerTexte, niveau, fichier, fonction, texte)

/// The same from where nothing may be thrown, not even by a receiver: a destructor, a handler.
#define ORIX_TRACE_SANS_ECHEC(niveau, fichier, fonction, texte)                                              \
    ORIX_TRACE_PAR_(tracerTexteSansEchec, niveau, fichier, fonction, texte)

#define ORIX_TRACE_PAR_(operation, niveau, fichier, fonction, texte)                                         \
    do {                                                                                                     \
        if (::orix::Trace::estActif(niveau))                                                                 \
            ::orix::operation(niveau, fichier, fonction, __LINE__,                                           \
                              [&](std::ostream& oxFluxTrace) { oxFluxTrace << texte; });                     \
    } while (false)

#endif
