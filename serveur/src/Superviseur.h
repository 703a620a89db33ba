#ifndef SUPERVISEUR_H
#define SUPERVISEUR_H

#include "orix/INonCopiable.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>

namespace serveur {

/// Who started this process and watches it, when that is systemd; else nobody hears what is said.
class Superviseur : orix::INonCopiable
{
  public:
    Superviseur();

    void pret() const;
    void arret() const;

    /// Waits for one of the signals. Meanwhile says now and then that the process is alive, as long as
    /// estVivant() does.
    int attendre(const sigset_t& signaux, const std::function<bool()>& estVivant) const;

  private:
    std::optional<std::chrono::nanoseconds> _periode; // of the signs of life; none: nobody wants any
};

} // namespace serveur

#endif
