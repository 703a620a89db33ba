#ifndef FICHIERILLISIBLE_H
#define FICHIERILLISIBLE_H

#include "orix/Configuration.h"

namespace orix {

/// The configuration file itself cannot be read.
class FichierIllisible final : public ErreurConfiguration
{
  public:
    using ErreurConfiguration::ErreurConfiguration;
};

} // namespace orix

#endif
