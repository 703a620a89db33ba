#ifndef REPONDEURPING_H
#define REPONDEURPING_H

#include "ServantGarde.h"

#include "orix_baseS.h"

#include <functional>
#include <string>

namespace orix {

/// What came of a ping.
enum class ReponsePing
{
    vivant,
    clientInconnu, ///< the server does not hold this client any more
    echec
};

/// Sends pings, and receives their answers. One servant, activated in the ORIX POA once per ping that is out,
/// under the ping's number: an answer to a withdrawn ping reaches nobody.
class RepondeurPing final : public orb::ServantLocal<POA_orix_corba::AMI_InterfacePingHandler>,
                            public PortableServer::RefCountServantBase
{
  public:
    /// Is told of each answer, on a thread of the ORB.
    using Recepteur = std::function<void(unsigned long numeroPing, ReponsePing)>;

    RepondeurPing(CORBA::ORB_ptr orb, PortableServer::POA_ptr poaORIX, Recepteur recepteur);

    /// Returns at once. A ping that cannot be sent is answered by echec.
    void envoyer(unsigned long numeroPing, orix_corba::InterfacePing_ptr ping, CORBA::Long numeroClient);
    void retirer(unsigned long numeroPing) noexcept;

    void testerConnexionServeur() override;
    void testerConnexionServeur_excep(Messaging::ExceptionHolder* exception) override;
    void testerConnexionClient() override; ///< no such call is made
    void testerConnexionClient_excep(Messaging::ExceptionHolder* exception) override;

    PortableServer::POA_ptr _default_POA() override;

  private:
    void _repondre(ReponsePing reponse);

    PortableServer::POA_var _poa;
    PortableServer::Current_var _courant;
    const Recepteur _recepteur;
};

} // namespace orix

#endif
