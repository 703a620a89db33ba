#ifndef FIL_SERVEUR_H
#define FIL_SERVEUR_H

#include "orix/INonCopiable.h"

#include <string>
#include <thread>
#include <utility>

namespace serveur {

/// What the exception being handled says of itself, in one line; empty when memory lacks for that.
std::string texteException() noexcept;

/// A thread of the server: takes the step again and again, until that returns false. What a step throws, lack
/// of memory above all, is traced, and the next step comes: it ends neither the thread nor the process.
class Fil : orix::INonCopiable
{
  public:
    /// nom: for the trace and the system's tools, at most 15 bytes; stays the caller's. Throws
    /// std::system_error.
    template <class Etape>
    Fil(const char* nom, Etape etape)
        : _thread([nom, etape = std::move(etape)]() mutable {
              _nommer(nom);
              while (_avancer(nom, etape)) {
              }
          })
    {}
    ~Fil() { joindre(); }

    /// Waits until a step has returned false.
    void joindre()
    {
        if (_thread.joinable())
            _thread.join();
    }

  private:
    template <class Etape>
    static bool _avancer(const char* nom, Etape& etape) noexcept
    {
        try {
            return etape();
        } catch (...) {
            _tracer(nom);
            return true;
        }
    }
    static void _nommer(const char* nom) noexcept;
    static void _tracer(const char* nom) noexcept;

    std::thread _thread;
};

} // namespace serveur

#endif
