#include "JournalTrace.h"

#include "orix/Trace.h"
#include "orix/interne/Perpetuel.h"

#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstdio>
#include <memory>
#include <mutex>

namespace orix::journal {

namespace {

/// The log's own thread and the lines that wait for it.
using Attente = spdlog::details::thread_pool;

/// Writes to the file or the standard error, and decides when what was written must be there: when no other
/// line follows at once. Also tells the losses. Runs on the log's own thread, or under the logger's lock
/// without one.
class Puits : public spdlog::sinks::base_sink<std::mutex>
{
  public:
    Puits(spdlog::sink_ptr sortie, Attente* attente) : _sortie(std::move(sortie)), _attente(attente)
    {
        // The pattern is given to the outermost sink only.
        _sortie->set_pattern("%v");
    }

  private:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        if (_attente != nullptr)
            _direPertes(message);
        _ecrire(message, message.payload);
        if (_attente == nullptr || _attente->queue_size() == 0)
            _sortie->flush();
    }
    void flush_() override { _sortie->flush(); }

    void _direPertes(const spdlog::details::log_msg& message)
    {
        const std::size_t perdues = _attente->overrun_counter();
        if (perdues == _dites)
            return;
        const std::string texte = "100 JournalTrace:" + std::to_string(__LINE__) + " ecrire - " +
                                  std::to_string(perdues - _dites) + " lignes de trace perdues";
        _dites = perdues;
        _ecrire(message, texte);
    }

    void _ecrire(const spdlog::details::log_msg& modele, spdlog::string_view_t texte)
    {
        spdlog::details::log_msg ligne = modele; // its time, its thread
        ligne.payload = texte;
        spdlog::memory_buf_t forme;
        formatter_->format(ligne, forme);
        ligne.payload = spdlog::string_view_t(forme.data(), forme.size() - 1); // the sink ends the line
        _sortie->log(ligne);
    }

    spdlog::sink_ptr _sortie;
    Attente* const _attente; // null: none; it outlives each call, which its own thread makes
    std::size_t _dites = 0;
};

struct Journal
{
    std::shared_ptr<spdlog::logger> journal;
    // Null: none. Destroyed first, so that its thread ends while the logger is whole.
    std::shared_ptr<Attente> attente;
};

Journal creer(const std::string& fichier, std::size_t capacite)
{
    spdlog::sink_ptr sortie;
    if (fichier.empty())
        sortie = std::make_shared<spdlog::sinks::stderr_sink_st>();
    else
        sortie = std::make_shared<spdlog::sinks::basic_file_sink_st>(fichier);

    Journal cree;
    if (capacite != 0)
        cree.attente = std::make_shared<Attente>(capacite, 1);
    auto puits = std::make_shared<Puits>(std::move(sortie), cree.attente.get());
    if (cree.attente)
        cree.journal = std::make_shared<spdlog::async_logger>("orix", std::move(puits), cree.attente,
                                                              spdlog::async_overflow_policy::overrun_oldest);
    else
        cree.journal = std::make_shared<spdlog::logger>("orix", std::move(puits));
    cree.journal->set_pattern("%Y-%m-%d %H:%M:%S.%f %t %v");
    cree.journal->set_level(spdlog::level::trace);
    // Said once.
    cree.journal->set_error_handler([dit = false](const std::string& erreur) mutable {
        if (!dit)
            std::fprintf(stderr, "orix: trace lines are lost: %s\n", erreur.c_str());
        dit = true;
    });
    return cree;
}

/// The log of the moment. Taken by the lines that are being written, so that a change waits for none.
struct Courant
{
    std::mutex mutex;
    Journal journal = creer({}, 0);
};

Courant& courant()
{
    static const Perpetuel<Courant> courant;
    return *courant;
}

} // namespace

void ouvrir(const std::string& fichier, std::size_t capacite)
{
    Journal journal = creer(fichier, capacite);
    {
        const std::lock_guard<std::mutex> verrou(courant().mutex);
        std::swap(courant().journal, journal);
    }
    // The end of the former one writes the lines that wait.
}

void fermer() noexcept
{
    try {
        ouvrir({}, 0);
    } catch (...) {
        // Without memory for another log, the lines go on to the one there is.
    }
}

void ecrire(const LigneTrace& ligne)
{
    std::shared_ptr<spdlog::logger> journal;
    {
        const std::lock_guard<std::mutex> verrou(courant().mutex);
        journal = courant().journal.journal;
    }
    std::string texte = std::to_string(ligne.niveau);
    if (ligne.niveauApplicatif != 0)
        texte += "/" + std::to_string(ligne.niveauApplicatif);
    texte += " " + ligne.fichier + ":" + std::to_string(ligne.ligne) + " " + ligne.fonction + " - " +
             ligne.message;
    journal->log(spdlog::level::info, spdlog::string_view_t(texte));
}

} // namespace orix::journal
