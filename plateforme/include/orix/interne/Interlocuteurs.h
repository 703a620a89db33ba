#ifndef ORIX_INTERLOCUTEURS_H
#define ORIX_INTERLOCUTEURS_H

#include "orix/Exportation.h"

namespace orix {

/// For a servant that only the server of an activation may call: throws CORBA::NO_PERMISSION unless the
/// request that the calling thread serves comes from one, as orb::identiteAppelant() knows it. Who is refused
/// is counted, and traced once.
ORIX_API void exigerServeur(const char* operation);

/// How many requests were refused since the start of the process.
ORIX_API unsigned long lireRefusEtrangers() noexcept;

} // namespace orix

#endif
