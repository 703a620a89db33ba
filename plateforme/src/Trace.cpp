#include "orix/Trace.h"

#include "JournalTrace.h"
#include "orix/TexteSur.h"
#include "orix/interne/Perpetuel.h"

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace orix {

std::atomic<int> Trace::s_seuil{NTO_AUCUN};

namespace {

/// The state of the facility. Recursive: a receiver may trace.
struct Etat
{
    std::recursive_mutex mutex;
    std::shared_ptr<const Trace::Recepteur> recepteur; // null: the log
};

Etat& etat()
{
    static const Perpetuel<Etat> etat;
    return *etat;
}

/// The line as anybody may show it, and as long as a line is at most.
LigneTrace rendreSure(LigneTrace ligne)
{
    ligne.fichier = texteSur(std::move(ligne.fichier), journal::FICHIER_MAX);
    ligne.fonction = texteSur(std::move(ligne.fonction), journal::FONCTION_MAX);
    ligne.message = texteSur(std::move(ligne.message), journal::MESSAGE_MAX);
    return ligne;
}

/// Writes the line that composer makes. Only what a receiver throws gets out.
template <class Composer>
void ecrire(Composer composer)
{
    std::optional<LigneTrace> ligne;
    try {
        ligne = rendreSure(composer());
    } catch (const std::bad_alloc&) {
        return;
    }
    {
        Etat& e = etat();
        const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
        if (const auto recepteur = e.recepteur) { // kept: it may replace itself
            (*recepteur)(*ligne);
            return;
        }
    }
    try {
        journal::ecrire(*ligne);
    } catch (const std::bad_alloc&) {
        // The line is lost.
    }
}

} // namespace

Trace* trace()
{
    static const Perpetuel<Trace> trace;
    return &*trace;
}

void Trace::tracer(NiveauTraceORIX niveau, const std::string& fichier, const std::string& fonction, int ligne,
                   const std::string& message)
{
    tracer(0, niveau, fichier, fonction, ligne, message);
}

void Trace::tracer(int niveauApplicatif, NiveauTraceORIX niveau, const std::string& fichier,
                   const std::string& fonction, int ligne, const std::string& message)
{
    if (estActif(niveau))
        ecrire([&] { return LigneTrace{niveauApplicatif, niveau, fichier, fonction, ligne, message}; });
}

void Trace::tracer(NiveauTraceORIX niveau, std::string_view fichier, std::string_view fonction, int ligne,
                   const std::ostringstream& message)
{
    ecrire([&] {
        return LigneTrace{0, niveau, std::string(fichier), std::string(fonction), ligne, message.str()};
    });
}

void Trace::definirRecepteur(Recepteur recepteur)
{
    auto nouveau = recepteur ? std::make_shared<const Recepteur>(std::move(recepteur)) : nullptr;
    Etat& e = etat();
    const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
    e.recepteur.swap(nouveau);
}

} // namespace orix
