#ifndef ORIX_PARAMETRESACTIVATIONSERVICE_H
#define ORIX_PARAMETRESACTIVATIONSERVICE_H

#include "orix/INonCopiable.h"

namespace orix {

class IAdaptateurClient;

/// What the kernel must remember of an activation until it is answered: whom to tell.
class ParametresActivationService : INonCopiable
{
  public:
    explicit ParametresActivationService(IAdaptateurClient* adaptateur) noexcept : _adaptateur(adaptateur) {}

    IAdaptateurClient* lireAdaptateur() const noexcept { return _adaptateur; } ///< not owned

  private:
    IAdaptateurClient* _adaptateur;
};

} // namespace orix

#endif
