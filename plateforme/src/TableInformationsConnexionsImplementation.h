#ifndef TABLEINFORMATIONSCONNEXIONSIMPLEMENTATION_H
#define TABLEINFORMATIONSCONNEXIONSIMPLEMENTATION_H

#include "orix/INonCopiable.h"
#include "orix/interne/TableInformationsConnexions.h"

#include <map>
#include <mutex>

namespace orix {

class TableInformationsConnexionsImplementation final : public TableInformationsConnexions, INonCopiable
{
  public:
    void ajouterConnexion(const std::string& nomService, const std::string& serveur,
                          const std::string& machine, orix_corba::Serveur_ptr reference) override;
    InformationsServeur lireInformation(const std::string& nomService) const override;
    void supprimerConnexion(const std::string& nomService) override;

    void vider();

  private:
    mutable std::mutex _mutex; // guards _connexions
    std::map<std::string, InformationsServeur> _connexions;
};

} // namespace orix

#endif
