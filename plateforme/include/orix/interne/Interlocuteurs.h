#ifndef ORIX_INTERLOCUTEURS_H
#define ORIX_INTERLOCUTEURS_H

#include "orix/Exportation.h"

namespace orix {

/// Who may speak to the clients of this process.
class ORIX_API Interlocuteurs
{
  public:
    /// For a servant that only the server of an activation may call: throws CORBA::NO_PERMISSION unless the
    /// request that the calling thread serves comes from one, as orb::identiteAppelant() knows it. Who is
    /// refused is counted, and traced once.
    static void exigerServeur(const char* operation);

    /// How many requests were refused since the start of the process.
    static unsigned long lireRefus() noexcept;
};

} // namespace orix

#endif
