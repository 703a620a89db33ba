#include "Superviseur.h"

#include <systemd/sd-daemon.h>

#include <cerrno>
#include <cstdint>

namespace serveur {

Superviseur::Superviseur()
{
    std::uint64_t limite = 0; // in microseconds
    if (sd_watchdog_enabled(/*unset_environment*/ 0, &limite) > 0)
        _periode = std::chrono::microseconds(limite) / 2;
}

void Superviseur::pret() const { sd_notify(0, "READY=1"); }
void Superviseur::arret() const { sd_notify(0, "STOPPING=1"); }

int Superviseur::attendre(const sigset_t& signaux, const std::function<bool()>& estVivant) const
{
    for (;;) {
        int signal = 0;
        if (_periode) {
            const auto secondes = std::chrono::duration_cast<std::chrono::seconds>(*_periode);
            const timespec delai{secondes.count(), (*_periode - secondes).count()};
            signal = sigtimedwait(&signaux, nullptr, &delai);
            if (signal == -1 && errno == EAGAIN && estVivant())
                sd_notify(0, "WATCHDOG=1");
        } else {
            signal = sigwaitinfo(&signaux, nullptr);
        }
        if (signal != -1)
            return signal;
    }
}

} // namespace serveur
