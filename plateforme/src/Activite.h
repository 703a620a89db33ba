#ifndef ACTIVITE_H
#define ACTIVITE_H

#include <string>

/// How many messages each service's server has sent: what proves it alive between pings. Any thread.
namespace orix::activite {

void noter(const std::string& nomService);
unsigned long lire(const std::string& nomService);

} // namespace orix::activite

#endif
