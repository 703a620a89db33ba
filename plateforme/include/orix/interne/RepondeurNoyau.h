#ifndef ORIX_REPONDEURNOYAU_H
#define ORIX_REPONDEURNOYAU_H

#include "ServantGarde.h"
#include "orix/Exportation.h"

#include "orix_baseS.h"

namespace orix {

/// Receives the answers of servers' kernels to activations. One servant, activated in the ORIX POA once per
/// pending operation, each time under the operation's number: that is how an answer finds its adapter. After
/// an answer, its reference and parameters are freed.
class ORIX_API RepondeurNoyau : public orb::ServantLocal<POA_orix_corba::AMI_NoyauHandler>,
                                public PortableServer::RefCountServantBase
{
  public:
    RepondeurNoyau(CORBA::ORB_ptr orb, PortableServer::POA_ptr poaORIX);
    ~RepondeurNoyau() override;

    void activerService(CORBA::Long statut, const char* serveur, const char* machine,
                        const orix_corba::NiveauReference& niveau, CORBA::Long numeroClient) override;
    void activerService_excep(Messaging::ExceptionHolder* exception) override;

    PortableServer::POA_ptr _default_POA() override;

  private:
    int _numeroOperation() const; ///< of the answer being handled; 0 outside one

    PortableServer::POA_var _poa;
    PortableServer::Current_var _courant;
};

} // namespace orix

#endif
