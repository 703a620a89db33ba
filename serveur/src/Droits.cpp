#include "Droits.h"

#include "NomsCertificats.h"

#include <mutex>

namespace serveur {

void Droits::lire(const orix::Configuration& configuration)
{
    Listes listes{configuration[orix::cle::accesLecture], configuration[orix::cle::accesEcriture],
                  configuration[orix::cle::accesActivation]};
    const std::unique_lock<std::shared_mutex> verrou(_mutex);
    _listes.swap(listes);
}

bool Droits::permet(Droit droit, const std::string& identite) const
{
    const std::shared_lock<std::shared_mutex> verrou(_mutex);
    return orix::orb::estParmi(_listes[static_cast<std::size_t>(droit)], orix::orb::nomCertificat(identite));
}

} // namespace serveur
