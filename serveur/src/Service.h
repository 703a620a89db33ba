#ifndef SERVICE_H
#define SERVICE_H

#include "Clients.h"
#include "Droits.h"
#include "ServantGarde.h"

#include "OXcdvClientVersServeurS.h"

namespace serveur {

/// The cdv service as clients call it: checks who asks, and whether he may; puts what is asked into the
/// client's line. The work is the Executeurs'.
class Service : public orix::orb::ServantGarde<POA_orix_corba::OXcdv_v3_0_0_ClientVersServeur>,
                public PortableServer::RefCountServantBase
{
  public:
    /// All of them outlive the servant's last request.
    Service(Clients& clients, Aiguillage& aiguillage, const Droits& droits)
        : _clients(clients), _aiguillage(aiguillage), _droits(droits)
    {}

    void cree_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient) override;
    void modifie_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient) override;
    void supprime_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient) override;
    void consulte_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient) override;
    void liste_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient) override;

    void desactiveCB(CORBA::Long numeroClient) override;
    void deconnexionCB(CORBA::Long numeroClient) override; ///< a notice of nothing to do: traced
    void testerConnexionServeur(CORBA::Long numeroClient) override;
    void testerConnexionClient(const char* nomService, const char* nomServeur, const char* nomMachine,
                               CORBA::Long numeroClient) override; ///< meaningless on a server: refused

  protected:
    /// Reads the records itself.
    _CORBA_Boolean _servir(omniCallHandle& appel) override;

  private:
    /// Null for a number that is nobody's, or not the caller's.
    std::shared_ptr<Client> _trouver(int numero) const;
    /// The same, but throws ClientDeconnecte; a sign of life.
    std::shared_ptr<Client> _reconnaitre(int numero);
    /// The record is null when memory lacked for it.
    void _recevoir(Operation operation, FichePartagee vol, int idOp, int numeroClient);

    Clients& _clients;
    Aiguillage& _aiguillage;
    const Droits& _droits;
    const FichePartagee _inconnue = Fiche::vide(); // stands for a record that memory lacked for
};

} // namespace serveur

#endif
