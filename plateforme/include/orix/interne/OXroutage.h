#ifndef ORIX_OXROUTAGE_H
#define ORIX_OXROUTAGE_H

#include "orix/Exportation.h"

#include <string>

namespace orix {

/// The routing table: where the kernels of each service's servers are.
class ORIX_API OXroutage
{
  public:
    enum IdServeur : int
    {
        PremierServeur = 0,
        DeuxiemeServeur = 1
    };

    /// How many servers offer the service; 0 for an unknown one.
    virtual int lireNombreServeurs(const std::string& nomService) const = 0;
    /// URL of the kernel of that server. Throws Echec(OXS_SERVEUR_INEXISTANT) when the table has none.
    virtual std::string lireURLnoyau(const std::string& nomService, IdServeur serveur) const = 0;

  protected:
    virtual ~OXroutage();
};

/// The routing table of the process: empty before initialiser().
ORIX_API OXroutage* oxRoutage();

} // namespace orix

#endif
