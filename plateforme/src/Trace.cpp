#include "orix/Trace.h"

#include "JournalTrace.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstdio>
#include <mutex>

namespace orix {

std::atomic<int> Trace::s_seuil{NTO_NOTABLE};

namespace {

std::shared_ptr<spdlog::logger> creerJournal(const std::string& fichier)
{
    spdlog::sink_ptr puits;
    if (fichier.empty())
        puits = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    else
        puits = std::make_shared<spdlog::sinks::basic_file_sink_mt>(fichier);
    auto cree = std::make_shared<spdlog::logger>("orix", std::move(puits));
    cree->set_pattern("%Y-%m-%d %H:%M:%S.%f %t %v");
    cree->set_level(spdlog::level::trace);
    // The errors of the last moments must be in the file whatever happens next.
    cree->flush_on(spdlog::level::err);
    // A full disk takes lines, not the process; said once.
    cree->set_error_handler([dit = false](const std::string& erreur) mutable {
        if (!dit)
            std::fprintf(stderr, "orix: trace lines are lost: %s\n", erreur.c_str());
        dit = true;
    });
    return cree;
}

/// The state of the facility. Recursive: a receiver may trace.
struct Etat
{
    std::recursive_mutex mutex;
    Trace::Recepteur recepteur;
    std::shared_ptr<spdlog::logger> journal = creerJournal({});
};

Etat& etat()
{
    static auto* const etat = new Etat; // never destroyed: threads may outlive the static objects
    return *etat;
}

spdlog::level::level_enum niveauJournal(int niveau)
{
    if (niveau <= NTO_NOTABLE)
        return spdlog::level::err;
    if (niveau <= NTO_REFUS)
        return spdlog::level::warn;
    return niveau <= NTO_PROGRES ? spdlog::level::info : spdlog::level::trace;
}

void ecrire(spdlog::logger& journal, const LigneTrace& ligne)
{
    std::string texte = std::to_string(ligne.niveau);
    if (ligne.niveauApplicatif != 0)
        texte += "/" + std::to_string(ligne.niveauApplicatif);
    texte += " " + ligne.fichier + ":" + std::to_string(ligne.ligne) + " " + ligne.fonction + " - " +
             ligne.message;
    journal.log(niveauJournal(ligne.niveau), spdlog::string_view_t(texte));
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
    Etat& e = etat();
    const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
    if (e.recepteur) {
        const Recepteur recepteur = e.recepteur; // it may replace itself
        recepteur(complete);
    } else {
        ecrire(*e.journal, complete);
    }
}

void Trace::definirRecepteur(Recepteur recepteur)
{
    Etat& e = etat();
    const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
    e.recepteur.swap(recepteur);
}

namespace journal {

void ouvrir(const std::string& fichier)
{
    std::shared_ptr<spdlog::logger> nouveau = creerJournal(fichier);
    Etat& e = etat();
    const std::lock_guard<std::recursive_mutex> verrou(e.mutex);
    e.journal.swap(nouveau);
}

void fermer() noexcept
{
    try {
        ouvrir({});
    } catch (...) {
        // Without memory for another log, the lines go on to the one there is.
    }
}

} // namespace journal

} // namespace orix
