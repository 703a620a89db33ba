#ifndef CONNEXIONPATIENTE_H
#define CONNEXIONPATIENTE_H

#include "ConnexionEnveloppe.h"

#include <cstddef>

namespace orix::orb {

/// A connection whose sender may be patient (EnvoiPatient). What its peer takes at once leaves in one system
/// call.
class ConnexionPatiente : public ConnexionEnveloppe
{
  public:
    explicit ConnexionPatiente(omni::giopConnection& connexion);

    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        return envoyer(octets, taille, limite);
    }

    /// giopConnection::Send(), but as long as the calling thread's EnvoiPatient says when it has one: 0 then
    /// means that it says no more.
    int envoyer(void* octets, std::size_t taille, const omni_time_t& limite);
    /// Nothing is sent or received any more.
    void fermer() { connexion().Shutdown(); }

  protected:
    ~ConnexionPatiente() override { rendre(); }

  private:
    const int _prise; // -1: not to be used directly
};

/// Of the connections that this process opens from now on, until the ORB that exists is destroyed.
void permettrePatience();

} // namespace orix::orb

#endif
