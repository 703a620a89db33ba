#ifndef VERIFICATIONTLS_H
#define VERIFICATIONTLS_H

namespace orix {

struct ConfigurationTLS;

/// Tries the files of TLS as the ORB will use them: the ORB says of a wrong one neither which it is nor why.
/// Does nothing while TLS is off. Throws ErreurConfiguration, with one line: the key, the file, what was
/// expected.
void verifierTLS(const ConfigurationTLS& tls);

} // namespace orix

#endif
