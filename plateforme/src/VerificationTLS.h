#ifndef VERIFICATIONTLS_H
#define VERIFICATIONTLS_H

#include "LiaisonORB.h"

namespace orix {

class Configuration;

/// The keys of [tls], for the ORB.
orb::ParametresTLS parametresTLS(const Configuration& configuration);

/// Tries the files of TLS as the ORB will use them: the ORB says of a wrong one neither which it is nor why.
/// Does nothing while TLS is off. Throws ErreurConfiguration, with one line: the key, the file, what was
/// expected.
void verifierTLS(const orb::ParametresTLS& tls);

} // namespace orix

#endif
