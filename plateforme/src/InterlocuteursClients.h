#ifndef INTERLOCUTEURSCLIENTS_H
#define INTERLOCUTEURSCLIENTS_H

#include <string>

/// The servers that may speak to the clients of this process: for each adapter those of its last activation,
/// as the connections to them know them. Any thread.
namespace orix {

class IAdaptateurClient;

namespace interlocuteurs {

/// The adapter asks that kernel for an activation: no server of an earlier one may speak to it any more.
/// Throws std::bad_alloc, and changes nothing then.
void designer(const IAdaptateurClient* adaptateur, const std::string& noyau);
/// The service of the server that accepts. Takes no memory for an identity of usual length.
void ajouterService(const IAdaptateurClient* adaptateur, const std::string& service);
void oublier(const IAdaptateurClient* adaptateur) noexcept;

} // namespace interlocuteurs

} // namespace orix

#endif
