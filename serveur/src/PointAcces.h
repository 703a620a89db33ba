#ifndef POINTACCES_H
#define POINTACCES_H

#include <string>

namespace serveur {

/// "HOST:PORT" of the first TCP access point in a stringified object reference ("IOR:..."): how the port that
/// the ORB was given for port 0 is known, whichever the ORB. Throws std::invalid_argument.
std::string pointAcces(const std::string& ior);

} // namespace serveur

#endif
