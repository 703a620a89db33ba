// Simulates sessions for so many seconds, from a seed on: each session has the next one.
#include "Simulation.h"

#include <chrono>
#include <cstdlib>
#include <iostream>

namespace {
constexpr int PAS = 2000; // of a session

void simuler(std::uint64_t graine)
{
    essais::Graine choix(graine);
    essais::Simulation simulation(choix);
    for (int n = 0; n < PAS; ++n)
        simulation.pas();
    simulation.finir();
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: simuler SECONDS [SEED]\n";
        return 2;
    }
    const auto fin = std::chrono::steady_clock::now() + std::chrono::seconds(std::atol(argv[1]));
    const std::uint64_t premiere = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device{}();
    std::cout << "seed " << premiere << std::endl;
    std::uint64_t graine = premiere;
    do {
        try {
            simuler(graine);
        } catch (const essais::Faute& faute) {
            std::cout << "seed " << graine << " fails: " << faute.what() << "\nagain: scripts/simuler.sh 0 "
                      << graine << '\n';
            return 1;
        }
        ++graine;
    } while (std::chrono::steady_clock::now() < fin);
    std::cout << graine - premiere << " sessions, " << (graine - premiere) * PAS << " steps, nothing found\n";
    return 0;
}
