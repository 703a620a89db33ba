#include "JournalTrace.h"

#include "orix/Trace.h"
#include "orix/interne/Perpetuel.h"

#include <spdlog/details/os.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace orix::journal {

namespace {

std::atomic<unsigned long long> s_perdues{0}; // lines, of whichever log

/// A line, and what the thread that traced it knew.
struct Ligne
{
    spdlog::log_clock::time_point heure = spdlog::log_clock::now();
    std::size_t fil = spdlog::details::os::thread_id();
    std::string texte;

    std::size_t octets() const { return sizeof(Ligne) + texte.size(); }
};

spdlog::sink_ptr ouvrirSortie(const std::string& fichier)
{
    if (fichier.empty())
        return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    // Made first, with its rights; what is there already, a pipe for instance, is not opened twice.
    std::error_code erreur;
    if (const auto dossier = std::filesystem::path(fichier).parent_path(); !dossier.empty())
        std::filesystem::create_directories(dossier, erreur);
    if (const int cree = ::open(fichier.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0640); cree >= 0)
        ::close(cree);
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(fichier);
}

/// Where lines go, and those that wait for it.
class Sortie
{
  public:
    Sortie(const std::string& fichier, std::size_t capacite)
        : _sortie(ouvrirSortie(fichier)), _capacite(capacite)
    {
        _sortie->set_pattern("%Y-%m-%d %H:%M:%S.%f %t %v");
    }

    void ajouter(Ligne ligne)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        if (_capacite == 0 || _finie) {
            verrou.unlock();
            _tenter([&] { _ecrire(ligne); });
            _vider();
            return;
        }
        const std::size_t octets = ligne.octets();
        _attente.push_back(std::move(ligne));
        _octets += octets;
        for (; _attente.size() > _capacite || _octets > ATTENTE_MAX; ++_perdues) {
            _retirer();
            ++s_perdues;
        }
        _arrivee.notify_one();
    }

    /// Writes the lines as they come, until finir(); then those that are left.
    void servir()
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        for (bool ecrites = false;;) {
            if (ecrites &&
                _attente.empty()) { // no other line follows at once: what was written must be there
                verrou.unlock();
                _vider();
                verrou.lock();
                ecrites = false;
                continue;
            }
            _arrivee.wait(verrou, [this] { return _finie || !_attente.empty(); });
            if (_attente.empty())
                return;
            const Ligne ligne = _retirer();
            const std::size_t perdues = std::exchange(_perdues, 0);
            verrou.unlock();
            if (perdues != 0)
                _tenter([&] { _ecrirePertes(perdues, ligne); });
            _tenter([&] { _ecrire(ligne); });
            ecrites = true;
            verrou.lock();
        }
    }
    void finir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _finie = true;
        _arrivee.notify_one();
    }

  private:
    Ligne _retirer()
    {
        Ligne ligne = std::move(_attente.front());
        _attente.pop_front();
        _octets -= ligne.octets();
        return ligne;
    }
    void _ecrirePertes(std::size_t perdues, const Ligne& suivante)
    {
        Ligne dite = suivante; // its time, its thread
        dite.texte = "100 JournalTrace:" + std::to_string(__LINE__) + " ecrire - " + std::to_string(perdues) +
                     " lignes de trace perdues";
        _ecrire(dite);
    }
    void _ecrire(const Ligne& ligne)
    {
        spdlog::details::log_msg message(ligne.heure, {}, {}, spdlog::level::info, ligne.texte);
        message.thread_id = ligne.fil;
        _sortie->log(message);
    }
    void _vider()
    {
        _tenter([&] { _sortie->flush(); });
    }
    /// What fails takes a line, and is said once.
    template <class Action>
    void _tenter(Action action)
    {
        try {
            action();
        } catch (const std::exception& erreur) {
            if (!_dit.exchange(true))
                std::fprintf(stderr, "orix: trace lines are lost: %s\n", erreur.what());
        }
    }

    const spdlog::sink_ptr _sortie;
    const std::size_t _capacite;
    std::atomic<bool> _dit{false};

    std::mutex _mutex;
    std::condition_variable _arrivee;
    std::deque<Ligne> _attente;
    std::size_t _octets = 0;
    std::size_t _perdues = 0; ///< since they were told
    bool _finie = false;
};

/// A log, with its own thread when lines may wait. Its end writes those that do.
class Journal : INonCopiable
{
  public:
    Journal(const std::string& fichier, std::size_t capacite)
        : _sortie(std::make_shared<Sortie>(fichier, capacite))
    {
        if (capacite != 0)
            _fil = std::thread([sortie = _sortie] { sortie->servir(); });
    }
    ~Journal()
    {
        _sortie->finir();
        if (_fil.joinable())
            _fil.join();
    }

    const std::shared_ptr<Sortie>& sortie() const { return _sortie; }

  private:
    std::shared_ptr<Sortie> _sortie;
    std::thread _fil;
};

/// The log of the moment. What it writes to is shared with the lines that are being written, so that a change
/// waits for none.
struct Courant
{
    std::mutex mutex;
    std::unique_ptr<const Journal> journal = std::make_unique<const Journal>(std::string(), 0);
};

Courant& courant()
{
    static const Perpetuel<Courant> courant;
    return *courant;
}

} // namespace

unsigned long long perdues() noexcept { return s_perdues; }

void ouvrir(const std::string& fichier, std::size_t capacite)
{
    auto journal = std::make_unique<const Journal>(fichier, capacite);
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
    std::shared_ptr<Sortie> sortie;
    {
        const std::lock_guard<std::mutex> verrou(courant().mutex);
        sortie = courant().journal->sortie();
    }
    Ligne ecrite;
    ecrite.texte = std::to_string(ligne.niveau);
    if (ligne.niveauApplicatif != 0)
        ecrite.texte += "/" + std::to_string(ligne.niveauApplicatif);
    ecrite.texte += " " + ligne.fichier + ":" + std::to_string(ligne.ligne) + " " + ligne.fonction + " - " +
                    ligne.message;
    sortie->ajouter(std::move(ecrite));
}

} // namespace orix::journal
