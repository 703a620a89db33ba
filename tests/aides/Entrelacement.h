#ifndef ENTRELACEMENT_H
#define ENTRELACEMENT_H

#include "CapteurTraces.h"
#include "PanneMemoire.h"

#include <execinfo.h>
#include <sys/resource.h>
#include <unistd.h>

namespace essais {

/// Whether every thread but the caller's sleeps, and none has run during the look.
inline bool toutDort()
{
    const auto sommeils = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_nvcsw; // a thread that falls asleep adds one
    };
    const auto avant = sommeils();
    const std::string moi = std::to_string(gettid());
    for (const auto& fil : std::filesystem::directory_iterator("/proc/self/task")) {
        if (fil.path().filename() == moi)
            continue;
        std::string etat;
        std::getline(std::ifstream(fil.path() / "stat"), etat);
        const std::size_t nom = etat.rfind(") ");
        if (nom == std::string::npos || etat[nom + 2] == 'R') // none: it has just ended
            return false;
    }
    return sommeils() == avant;
}

/// The innermost callers, for addr2line.
inline std::string appelants()
{
    void* adresses[16];
    const int nombre = backtrace(adresses, 16);
    const std::unique_ptr<char*, void (*)(void*)> noms(backtrace_symbols(adresses, nombre), &std::free);
    std::string texte;
    for (int i = 4; i < nombre; ++i)
        texte += std::string(noms.get()[i]) + ' ';
    return texte;
}

/// Waits until nobody but the caller runs any more: what has not been done then waits for the caller, or for
/// the time to pass.
inline void attendreRepos()
{
    static std::mutex mutex; // one looks, the others sleep
    const std::lock_guard<std::mutex> verrou(mutex);
    while (!toutDort())
        std::this_thread::yield();
}

/// Lets an event happen on a thread of its own at one step of an operation: there the operation's thread
/// waits until the event is over or held back, that is until nobody runs any more, and then goes on.
class Entrelacement
{
  public:
    /// What the steps of an operation are: what its thread traces, or its allocations while it traces
    /// nothing.
    enum Pas
    {
        Lignes,
        Allocations
    };

    /// ouverture: the function whose first line tells the operation's thread; empty: it is the calling one.
    Entrelacement(const std::string& ouverture, Pas pas, int numero, std::function<void()> evenement)
        : _ouverture(ouverture), _pas(pas), _restants(numero), _evenement(std::move(evenement))
    {
        if (_ouverture.empty())
            _fil = std::this_thread::get_id();
        _ecoute.emplace([this](const orix::LigneTrace& ligne) { _recevoir(ligne); });
        if (_ouverture.empty())
            _observer();
    }
    ~Entrelacement() { attendre(); }

    /// After the operation: waits for the end of the event. Where it began; empty when the operation has
    /// no such step.
    const std::string& attendre()
    {
        observerAllocations({}, {});
        _ecoute.reset();
        if (_thread.joinable())
            _thread.join();
        return _lieu;
    }

  private:
    void _recevoir(const orix::LigneTrace& ligne)
    {
        if (_fil == std::thread::id() && nomFonction(ligne) == _ouverture) {
            _fil = std::this_thread::get_id();
            _observer();
        }
        if (_pas != Lignes || _fil != std::this_thread::get_id() || _restants-- != 0)
            return;
        // The facility has one caller at a time, and this is it: nobody else may come to it meanwhile.
        orix::Trace::definirSeuil(orix::NTO_AUCUN);
        _avancer(nomFonction(ligne) + ": " + ligne.message);
        orix::Trace::definirSeuil(orix::NTO_DETAIL);
    }
    /// For the operation's thread.
    void _observer()
    {
        if (_pas == Lignes)
            return;
        orix::Trace::definirSeuil(orix::NTO_AUCUN);
        observerAllocations(std::this_thread::get_id(), [this] {
            if (_restants == 0)
                _avancer(appelants());
            --_restants;
        });
    }
    void _avancer(const std::string& lieu)
    {
        _lieu = lieu;
        _thread = std::thread(_evenement);
        attendreRepos();
    }

    const std::string _ouverture;
    const Pas _pas;
    int _restants; // steps before the event
    const std::function<void()> _evenement;
    std::thread::id _fil; // of the operation
    std::string _lieu;
    std::thread _thread;
    std::optional<EcouteTraces> _ecoute; // none: over
};

} // namespace essais

#endif
