#ifndef ENTRELACEMENT_H
#define ENTRELACEMENT_H

#include "CapteurTraces.h"

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace essais {

/// Whether every thread but the caller's sleeps, and none has run during the look: what is not done now waits
/// for the caller, or for the time to pass.
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

/// Waits until nobody runs any more; one caller at a time looks, the others sleep.
inline void attendreRepos()
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> verrou(mutex);
    while (!toutDort())
        std::this_thread::yield();
}

/// The bare name of the function that traced.
inline std::string nomFonction(const orix::LigneTrace& ligne)
{
    const std::string signature = ligne.fonction.substr(0, ligne.fonction.find('('));
    return signature.substr(signature.find_last_of(": ") + 1);
}

/// Lets an event happen on a thread of its own at one step of an operation. The steps of an operation are the
/// lines that its thread traces: at the one asked for it waits until the event is over or held back, that is
/// until nobody runs any more, and then goes on.
class Entrelacement
{
  public:
    /// ouverture: the function whose first line tells the operation's thread; empty: it is the calling one.
    Entrelacement(std::string ouverture, int point, std::function<void()> evenement)
        : _ouverture(std::move(ouverture)), _restants(point), _evenement(std::move(evenement))
    {
        if (_ouverture.empty())
            _fil = std::this_thread::get_id();
        _ecoute.emplace([this](const orix::LigneTrace& ligne) { _recevoir(ligne); });
    }
    ~Entrelacement() { attendre(); }
    Entrelacement(const Entrelacement&) = delete;
    Entrelacement& operator=(const Entrelacement&) = delete;

    /// After the operation: waits for the end of the event. Where it began, "function: line"; empty when the
    /// operation has no such step.
    const std::string& attendre()
    {
        _ecoute.reset();
        if (_thread.joinable())
            _thread.join();
        return _point;
    }

  private:
    void _recevoir(const orix::LigneTrace& ligne)
    {
        if (_fil == std::thread::id() && nomFonction(ligne) == _ouverture)
            _fil = std::this_thread::get_id();
        if (_fil != std::this_thread::get_id() || _restants-- != 0)
            return;
        _point = nomFonction(ligne) + ": " + ligne.message;
        // The facility has one caller at a time, and this is it: nobody else may come to it meanwhile.
        orix::Trace::definirSeuil(orix::NTO_AUCUN);
        _thread = std::thread(_evenement);
        attendreRepos();
        orix::Trace::definirSeuil(orix::NTO_DETAIL);
    }

    const std::string _ouverture;
    std::thread::id _fil;
    int _restants;
    const std::function<void()> _evenement;
    std::string _point;
    std::thread _thread;
    std::optional<EcouteTraces> _ecoute; // none: over
};

} // namespace essais

#endif
