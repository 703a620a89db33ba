#ifndef ORIX_SERVANTNOYAU_H
#define ORIX_SERVANTNOYAU_H

#include "ServantGarde.h"
#include "orix/Exportation.h"

#include "orix_baseS.h"

namespace orix {

/// Base of the servant of a server's kernel. Anybody may call it: what an activation brings is read here, and
/// nothing of it stays when it is wrong.
class ORIX_API ServantNoyau : public orb::ServantGarde<POA_orix_corba::Noyau>
{
  protected:
    _CORBA_Boolean _servir(omniCallHandle& appel) override;
};

} // namespace orix

#endif
