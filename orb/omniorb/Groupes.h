#ifndef GROUPES_H
#define GROUPES_H

#include <chrono>

namespace orix::orb {

/// Messages may wait for each other (ouvrirGroupe()) on the TCP connections that this process opens from now
/// on, until the ORB that exists is destroyed. delai: for a peer to take what waits, beyond which it is lost.
void permettreGroupes(std::chrono::milliseconds delai);

} // namespace orix::orb

#endif
