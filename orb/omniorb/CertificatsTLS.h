#ifndef CERTIFICATSTLS_H
#define CERTIFICATSTLS_H

#include "LiaisonORB.h"

namespace orix::orb {

/// Reads the files of TLS, and makes the connections that begin from now on use them; those that are open
/// keep what they have. The ORB that exists asks at each handshake. Throws std::runtime_error with what
/// OpenSSL says, and changes nothing then.
void lireCertificats(const ParametresTLS& parametres);

/// Makes the ORB that was just created use them, for both parts of its connections.
void installerCertificats();

/// Whether a server may have that certificate name (may be null): any, when no names are set.
bool estNomDeServeur(const char* nom);

} // namespace orix::orb

#endif
