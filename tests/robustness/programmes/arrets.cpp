// A process that ends while everything is under way, in the way that it is told:  arrets URL WAY
#include "trafic.h"

#include "OXcdvCliArret.h"
#include "orix/Processus.h"

#include <csignal>
#include <cstdlib>
#include <future>
#include <iostream>
#include <map>
#include <string>
#include <unistd.h>

namespace {

// The end of this program is ordered by SIGUSR1, and watched: one that hangs is ended by SIGALRM.

constexpr unsigned BLOQUE = 30; // seconds: many times the call time-out, on a slow machine too

/// To be called before any thread starts.
sigset_t reserverOrdre()
{
    sigset_t signaux;
    sigemptyset(&signaux);
    sigaddset(&signaux, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signaux, nullptr);
    return signaux;
}

void attendreOrdre(const sigset_t& signaux)
{
    std::cout << "traffic flows" << std::endl;
    int recu = 0;
    sigwait(&signaux, &recu);
    alarm(BLOQUE);
}

[[noreturn]] void attendreLaFin()
{
    for (;;)
        pause();
}

/// Given when the end is ordered, to a callback that waits for it.
std::promise<void>& ordreDonne()
{
    static auto* const ordre = new std::promise<void>;
    return *ordre;
}

using Action = void (*)();
const std::map<std::string, Action> DANS_UN_CALLBACK{
    {"exitInCallback",
     [] {
         ordreDonne().get_future().wait();
         std::exit(0);
     }},
    {"exitWhileCallbackBlocks", [] { attendreLaFin(); }},
};

using Fin = int (*)();
const std::map<std::string, Fin> FINS{
    {"everything", arreterTrafic},
    {"destroy",
     []() -> int {
         cesserRequetes();
         orix::detruireOXcdvCliItfAdaptateur();
         return 0;
     }},
    // The threads that send go on calling the facade.
    {"terminate", []() -> int { return orix::terminer(); }},
    {"terminateLate",
     []() -> int {
         orix::terminer();
         return arreterTrafic() == orix::OXS_NOYAU_NON_INITIALISE ? 0 : 1;
     }},
    {"exit", []() -> int { std::exit(0); }},
    {"exitInCallback",
     []() -> int {
         ordreDonne().set_value();
         attendreLaFin();
     }},
    {"exitWhileCallbackBlocks", []() -> int { std::exit(0); }},
    {"return", [] { return 0; }},
};

} // namespace

int main(int argc, char** argv)
{
    const std::string maniere = argc == 3 ? argv[2] : "";
    const sigset_t signaux = reserverOrdre();
    if (maniere == "signalHandler")
        std::signal(SIGTERM, [](int) {
            alarm(BLOQUE);
            std::exit(0);
        });
    const auto fin = FINS.find(maniere);
    etablirTrafic(argv[1]);
    const auto action = DANS_UN_CALLBACK.find(maniere);
    if (action != DANS_UN_CALLBACK.end())
        pendantUnCallback(action->second);
    attendreOrdre(signaux);
    return fin != FINS.end() ? fin->second() : 2;
}
