#ifndef DROITS_H
#define DROITS_H

#include "orix/Configuration.h"
#include "orix/INonCopiable.h"

#include <array>
#include <shared_mutex>

namespace serveur {

enum class Droit
{
    lecture,   ///< consult and list
    ecriture,  ///< create, change, delete
    activation ///< be a client at all
};

/// Which clients may do what, by the names of their certificates: the table [acces]. May be called from any
/// thread.
class Droits : orix::INonCopiable
{
  public:
    explicit Droits(const orix::Configuration& configuration) { lire(configuration); }

    /// From now on these; changes nothing when it throws std::bad_alloc.
    void lire(const orix::Configuration& configuration);
    /// identite: as the transport knows whoever asks (orix::orb::identiteAppelant()). Allocates nothing.
    bool permet(Droit droit, const std::string& identite) const;

  private:
    using Listes = std::array<orix::Configuration::Liste, 3>; // one for each right

    mutable std::shared_mutex _mutex;
    Listes _listes;
};

} // namespace serveur

#endif
