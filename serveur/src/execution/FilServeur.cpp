#include "FilServeur.h"

#include "LiaisonORB.h"

#include "orix/Trace.h"

#include <pthread.h>

namespace serveur {

std::string texteException() noexcept
{
    try {
        try {
            throw;
        } catch (const CORBA::Exception& exception) {
            return orix::orb::information(exception);
        } catch (const std::exception& exception) {
            return exception.what();
        }
    } catch (...) {
        return {};
    }
}

void Fil::_nommer(const char* nom) noexcept { pthread_setname_np(pthread_self(), nom); }

void Fil::_tracer(const char* nom) noexcept
{
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Fil", "avancer",
                          "Exception non prévue dans le fil " << nom << " : " << texteException());
}

} // namespace serveur
