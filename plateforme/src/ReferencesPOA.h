#ifndef REFERENCESPOA_H
#define REFERENCESPOA_H

#include "orix_baseS.h"

#include <string>

/// Objects that are activated under an identifier of our own: it says what an incoming call is about.
namespace orix::poa {

/// Identifier of the object that the calling thread's request is for; empty outside a request.
std::string identifiantCourant(PortableServer::Current_ptr courant);
/// Deactivates the object; nothing to do when it is not active, or when its adapter is gone.
void retirer(PortableServer::POA_ptr poa, const std::string& identifiant) noexcept;
PortableServer::Current_ptr resoudreCourant(CORBA::ORB_ptr orb);

} // namespace orix::poa

#endif
