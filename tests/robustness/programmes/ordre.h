#ifndef ORDRE_H
#define ORDRE_H

#include <csignal>
#include <iostream>
#include <unistd.h>

/// The end of these programs is ordered by SIGUSR1, and watched: one that hangs is ended by SIGALRM.
namespace ordre {

constexpr unsigned BLOQUE = 30; // seconds: many times the call time-out, on a slow machine too

/// To be called before any thread starts.
inline sigset_t reserver()
{
    sigset_t signaux;
    sigemptyset(&signaux);
    sigaddset(&signaux, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signaux, nullptr);
    return signaux;
}

inline void attendre(const sigset_t& signaux)
{
    std::cout << "traffic flows" << std::endl;
    int recu = 0;
    sigwait(&signaux, &recu);
    alarm(BLOQUE);
}

} // namespace ordre

#endif
