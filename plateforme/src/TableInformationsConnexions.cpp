#include "TableInformationsConnexionsImplementation.h"

#include "orix/interne/Echec.h"

namespace orix {

void TableInformationsConnexionsImplementation::ajouterConnexion(const std::string& nomService,
                                                                 const std::string& serveur,
                                                                 const std::string& machine,
                                                                 orix_corba::Serveur_ptr reference)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _connexions.insert_or_assign(nomService, InformationsServeur(serveur, machine, reference));
}

InformationsServeur
TableInformationsConnexionsImplementation::lireInformation(const std::string& nomService) const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto connexion = _connexions.find(nomService);
    if (connexion == _connexions.end())
        throw Echec(OXS_SERVEUR_INEXISTANT);
    return connexion->second;
}

void TableInformationsConnexionsImplementation::supprimerConnexion(const std::string& nomService)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_connexions.erase(nomService) == 0)
        throw Echec(OXS_SERVEUR_INEXISTANT);
}

void TableInformationsConnexionsImplementation::vider()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _connexions.clear();
}

} // namespace orix
