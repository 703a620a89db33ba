#ifndef CONNEXIONPATIENTE_H
#define CONNEXIONPATIENTE_H

#include "ConnexionEnveloppe.h"

#include <cstddef>

namespace orix::orb {

/// giopConnection::Send(), but as long as the calling thread's EnvoiPatient says when it has one: 0 then
/// means that it says no more.
int envoyerPatiemment(omni::giopConnection& connexion, void* octets, std::size_t taille,
                      const omni_time_t& limite);

/// A connection whose sender may be patient.
class ConnexionPatiente : public ConnexionEnveloppe
{
  public:
    explicit ConnexionPatiente(omni::giopConnection& connexion) : ConnexionEnveloppe(connexion)
    {
        max_workers(connexion.max_workers());
    }
    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        return envoyerPatiemment(connexion(), octets, taille, limite);
    }

  private:
    ~ConnexionPatiente() override { rendre(); }
};

/// Of the connections that this process opens from now on, until the ORB that exists is destroyed.
void permettrePatience();

} // namespace orix::orb

#endif
