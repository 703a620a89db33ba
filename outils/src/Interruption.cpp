#include "Interruption.h"

#include "Statut.h"

#include <cstdlib>
#include <utility>

namespace outils {

namespace {

constexpr int REVEIL = SIGUSR1; // by which the destructor ends the thread

bool estIgnore(int signal)
{
    struct sigaction action
    {
    };
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interruption::Interruption()
{
    std::signal(SIGPIPE, SIG_IGN);
    sigemptyset(&_signaux);
    sigaddset(&_signaux, REVEIL);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (!estIgnore(signal))
            sigaddset(&_signaux, signal);
    pthread_sigmask(SIG_BLOCK, &_signaux, nullptr);
    _fil = std::thread([this] { _attendre(); });
}

Interruption::~Interruption()
{
    _finie = true;
    pthread_kill(_fil.native_handle(), REVEIL);
    _fil.join();
    if (_execution.joinable())
        _execution.join();
}

void Interruption::_attendre()
{
    for (;;) {
        int signal = 0;
        sigwait(&_signaux, &signal);
        if (_finie)
            return;
        if (signal == REVEIL)
            continue;
        if (_demandee.exchange(true))
            std::_Exit(INTERROMPU);
        _execution = std::thread([this] {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (_action)
                _action();
        });
    }
}

Interruption::Garde::Garde(Interruption& interruption, std::function<void()> action)
    : _interruption(interruption)
{
    const std::lock_guard<std::mutex> verrou(_interruption._mutex);
    if (_interruption.demandee())
        action();
    _precedente = std::exchange(_interruption._action, std::move(action));
}

Interruption::Garde::~Garde()
{
    const std::lock_guard<std::mutex> verrou(_interruption._mutex);
    _interruption._action = std::move(_precedente);
}

} // namespace outils
