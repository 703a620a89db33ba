#ifndef ORIX_TABLEINFORMATIONSCONNEXIONS_H
#define ORIX_TABLEINFORMATIONSCONNEXIONS_H

#include "orix/Exportation.h"

#include "orix_baseS.h"

#include <string>
#include <utility>

namespace orix {

/// One connection to a server: its name, its machine, its reference. A value.
class ORIX_API InformationsServeur
{
  public:
    InformationsServeur(std::string serveur, std::string machine, CORBA::Object_ptr reference)
        : _serveur(std::move(serveur)),
          _machine(std::move(machine)),
          _reference(CORBA::Object::_duplicate(reference))
    {}

    const std::string& lireServeur() const { return _serveur; }
    const std::string& lireMachine() const { return _machine; }
    CORBA::Object_ptr lireReferencePOA() const { return _reference.in(); } ///< stays this object's

  private:
    std::string _serveur;
    std::string _machine;
    CORBA::Object_var _reference;
};

/// The connections of this process, by service name.
class ORIX_API TableInformationsConnexions
{
  public:
    /// Records the connection, in place of an earlier one of that service.
    virtual void ajouterConnexion(const std::string& nomService, const std::string& serveur,
                                  const std::string& machine, orix_corba::Serveur_ptr reference) = 0;
    /// A copy of the record. Throws Echec(OXS_SERVEUR_INEXISTANT) when there is none.
    virtual InformationsServeur lireInformation(const std::string& nomService) const = 0;
    /// Throws Echec(OXS_SERVEUR_INEXISTANT) when there is none.
    virtual void supprimerConnexion(const std::string& nomService) = 0;

  protected:
    virtual ~TableInformationsConnexions();
};

} // namespace orix

#endif
