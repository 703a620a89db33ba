#include "orix/Trace.h"

#include "JournalTrace.h"

#include <mutex>
#include <utility>

namespace orix {

std::atomic<int> SeuilTrace::s_seuil{NTO_AUCUN};

namespace {

/// The state of the facility. Recursive: a receiver may trace.
struct Etat
{
    std::recursive_mutex mutex;
    Trace::Recepteur recepteur;
};

Etat& etat()
{
    static auto* const etat = new Etat; // never destroyed: threads may outlive the static objects
    return *etat;
}

} // namespace

Trace* trace()
{
    static auto* const trace = new Trace; // never destroyed: threads may outlive the static objects
    return trace;
}

void Trace::tracer(NiveauTraceORIX niveau, const std::string& fichier, const std::string& fonction, int ligne,
                   const std::string& message)
{
    tracer(0, niveau, fichier, fonction, ligne, message);
}

void Trace::tracer(int niveauApplicatif, NiveauTraceORIX niveau, const std::string& fichier,
                   const std::string& fonction, int ligne, const std::string& message)
{
    if (!estActif(niveau))
        return;
    const LigneTrace complete{niveauApplicatif, niveau, fichier, fonction, ligne, message};
    {
        Etat& e = etat();
        const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
        if (e.recepteur) {
            const Recepteur recepteur = e.recepteur; // it may replace itself
            recepteur(complete);
            return;
        }
    }
    journal::ecrire(complete);
}

void Trace::definirRecepteur(Recepteur recepteur)
{
    Etat& e = etat();
    const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
    e.recepteur.swap(recepteur);
}

} // namespace orix
