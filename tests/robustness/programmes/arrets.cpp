// A process that ends while everything is under way, in the way that it is told:  arrets URL WAY
#include "ordre.h"
#include "trafic.h"

#include "OXcdvCliArret.h"
#include "orix/Processus.h"

#include <cstdlib>
#include <future>
#include <map>
#include <string>

namespace {

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
    const sigset_t signaux = ordre::reserver();
    if (maniere == "signalHandler")
        std::signal(SIGTERM, [](int) {
            alarm(ordre::BLOQUE);
            std::exit(0);
        });
    const auto fin = FINS.find(maniere);
    etablirTrafic(argv[1]);
    const auto action = DANS_UN_CALLBACK.find(maniere);
    if (action != DANS_UN_CALLBACK.end())
        pendantUnCallback(action->second);
    ordre::attendre(signaux);
    return fin != FINS.end() ? fin->second() : 2;
}
