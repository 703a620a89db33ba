#ifndef OXCDVSERVEURVERSCLIENTIMPLEMENTATION_H
#define OXCDVSERVEURVERSCLIENTIMPLEMENTATION_H

#include "OXcdvServeurVersClientS.h"
#include "ServantAttendu.h"
#include "ServantGarde.h"
#include "orix/interne/Interlocuteurs.h"

/// Receives the server's notifications, on the ORB's threads, and posts the application's callbacks. While
/// the service is not active they are dropped. The server always gets a normal reply; whoever is not the
/// server is refused. Owned by the adapter.
class POA_OXcdv_v3_0_0_ServeurVersClientImplementation
    : public virtual orix::orb::ServantAttendu,
      public orix::orb::ServantGarde<POA_orix_corba::OXcdv_v3_0_0_ServeurVersClient,
                                     &orix::Interlocuteurs::exigerServeur>
{
  public:
    POA_OXcdv_v3_0_0_ServeurVersClientImplementation() = default;
    ~POA_OXcdv_v3_0_0_ServeurVersClientImplementation() override;

    void cree_vol_complet(CORBA::Long nResuVarda, const OXvol_completData_v3_0_0& p_vol_complet,
                          CORBA::Long nIdOp) override;
    void modifie_vol_complet(CORBA::Long nResuVarda, const OXvol_completData_v3_0_0& p_vol_complet,
                             CORBA::Long nIdOp) override;
    void supprime_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp) override;
    void consulte_vol_complet(CORBA::Long nResuVarda, const OXvol_completData_v3_0_0& p_vol_complet,
                              CORBA::Long nIdOp) override;
    void liste_vol_complet(const OXvol_completData_v3_0_0& p_vol_complet, CORBA::Long nIdOp) override;
    void fin_liste_vol_complet(CORBA::Long nResuVarda, CORBA::Long nIdOp) override;

  protected:
    /// Reads the records itself.
    _CORBA_Boolean _servir(omniCallHandle& appel) override;
};

#endif
