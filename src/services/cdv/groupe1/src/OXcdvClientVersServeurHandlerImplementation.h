#ifndef OXCDVCLIENTVERSSERVEURHANDLERIMPLEMENTATION_H
#define OXCDVCLIENTVERSSERVEURHANDLERIMPLEMENTATION_H

#include "OXcdvClientVersServeurS.h"

/// Reply handler that may be attached to a record request to trace how the request itself ended; the library
/// attaches none. It tells nobody: results come as the server's notifications.
class POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation
    : public POA_orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler
{
  public:
    POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation() = default;
    ~POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation() override;

    void cree_vol_complet() override;
    void cree_vol_complet_excep(Messaging::ExceptionHolder* exception) override;
    void modifie_vol_complet() override;
    void modifie_vol_complet_excep(Messaging::ExceptionHolder* exception) override;
    void supprime_vol_complet() override;
    void supprime_vol_complet_excep(Messaging::ExceptionHolder* exception) override;
    void consulte_vol_complet() override;
    void consulte_vol_complet_excep(Messaging::ExceptionHolder* exception) override;
    void liste_vol_complet() override;
    void liste_vol_complet_excep(Messaging::ExceptionHolder* exception) override;

    // The inherited operations are no record requests: their replies are not traced.
    void testerConnexionClient() override {}
    void testerConnexionClient_excep(Messaging::ExceptionHolder*) override {}
    void testerConnexionServeur() override {}
    void testerConnexionServeur_excep(Messaging::ExceptionHolder*) override {}
    void desactiveCB() override {}
    void desactiveCB_excep(Messaging::ExceptionHolder*) override {}
    void deconnexionCB() override {}
    void deconnexionCB_excep(Messaging::ExceptionHolder*) override {}
};

#endif
