#ifndef ORIX_IEXECUTABLE_H
#define ORIX_IEXECUTABLE_H

#include "orix/Exportation.h"

namespace orix {

/// A deferred call. The executor that receives one owns it, runs executer() once, then destroys it.
class ORIX_API IExecutable
{
  public:
    virtual ~IExecutable();
    virtual void executer() = 0;
};

} // namespace orix

#endif
