// The decisions of a session: whatever happens, in whatever order, what must hold does.
#include "Simulation.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    try {
        essais::Octets choix(octets, taille);
        essais::Simulation simulation(choix);
        while (!choix.epuises())
            simulation.pas();
        simulation.finir();
    } catch (const essais::Faute&) {
        std::abort();
    }
    return 0;
}
