#include "EnvoiPatient.h"

#include "ConnexionPatiente.h"
#include <omniORB4/IOP_C.h>
#include <omniORB4/internal/giopStream.h> // before the next two, which use it without including it

#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/giopStrand.h>

#include <omniORB4/internal/GIOP_C.h>
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/tcpConnection.h>

#include <sys/socket.h>

#include <new>
#include <utility>

namespace orix::orb {

namespace {
constexpr unsigned long PAUSE = 20000000; // ns
thread_local const EnvoiPatient::Continuer* t_continuer = nullptr;

/// Takes the place of a connection that was just opened, unless another wrapper has.
CORBA::Boolean envelopper(omni::omniInterceptors::clientOpenConnection_T::info_T& info)
{
    omni::giopConnection*& connexion = info.giop_c.strand().connection;
    try {
        if (!info.giop_c.strand().isBiDir() && connexion != nullptr &&
            dynamic_cast<ConnexionEnveloppe*>(connexion) == nullptr)
            connexion = new ConnexionPatiente(*connexion);
    } catch (const std::bad_alloc&) {
        // Its senders have the time-out of calls.
    }
    return true;
}
} // namespace

EnvoiPatient::EnvoiPatient(Continuer continuer)
    : _continuer(std::move(continuer)), _precedent(std::exchange(t_continuer, &_continuer))
{}
EnvoiPatient::~EnvoiPatient() { t_continuer = _precedent; }

void limiterAppels(CORBA::Object_ptr objet, std::chrono::milliseconds delai)
{
    omniORB::setClientCallTimeout(objet, static_cast<CORBA::ULong>(delai.count()));
}

ConnexionPatiente::ConnexionPatiente(omni::giopConnection& connexion)
    : ConnexionEnveloppe(connexion), _prise([&connexion] {
          const auto* const tcp = dynamic_cast<const omni::tcpConnection*>(&connexion);
          return tcp != nullptr ? tcp->handle() : -1;
      }())
{
    max_workers(connexion.max_workers());
}

int ConnexionPatiente::envoyer(void* octets, std::size_t taille, const omni_time_t& limite)
{
    // The ORB asks first whether the peer takes something, which it does as a rule.
    if (_prise >= 0)
        if (const ssize_t partis = ::send(_prise, octets, taille, MSG_DONTWAIT | MSG_NOSIGNAL); partis > 0)
            return static_cast<int>(partis);
    if (t_continuer == nullptr)
        return connexion().Send(octets, taille, limite);
    int envoyes = 0;
    do {
        unsigned long s = 0;
        unsigned long ns = 0;
        omni_thread::get_time(&s, &ns, 0, PAUSE);
        envoyes = connexion().Send(octets, taille, {s, ns});
    } while (envoyes == 0 && (*t_continuer)());
    return envoyes;
}

void permettrePatience() { omniORB::getInterceptors()->clientOpenConnection.add(&envelopper); }

} // namespace orix::orb
