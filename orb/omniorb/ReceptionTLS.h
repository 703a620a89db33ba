#ifndef RECEPTIONTLS_H
#define RECEPTIONTLS_H

#include <omniORB4/CORBA.h>
#include <omniORB4/giopEndpoint.h>

#include <chrono>
#include <cstddef>

namespace orix::orb {

/// As giopConnection::Recv(), but a record of TLS that has come by half is waited for no longer than the
/// delay: -1 then. On a connection without TLS, just that. sslContext::full_peerdetails is on.
int recevoirEnregistrement(omni::giopConnection& connexion, void* octets, std::size_t taille,
                           const omni_time_t& limite, std::chrono::milliseconds delai);

} // namespace orix::orb

#endif
