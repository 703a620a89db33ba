#ifndef CONNEXIONENVELOPPE_H
#define CONNEXIONENVELOPPE_H

#include <omniORB4/CORBA.h>
#include <omniORB4/giopEndpoint.h>

namespace orix::orb {

/// Stands for a connection of the ORB, and passes everything on to it. Belongs to the ORB. The one that it
/// stands for is its own once it is built: what derives from it calls rendre() in its destructor. A
/// constructor that throws leaves that connection as it was.
class ConnexionEnveloppe : public omni::giopConnection
{
  public:
    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        return connexion().Send(octets, taille, limite);
    }
    int Recv(void* octets, size_t taille, const omni_time_t& limite) override
    {
        return connexion().Recv(octets, taille, limite);
    }
    void Shutdown() override { connexion().Shutdown(); }
    const char* myaddress() override { return connexion().myaddress(); }
    const char* peeraddress() override { return connexion().peeraddress(); }
    const char* peeridentity() override { return connexion().peeridentity(); }
    void* peerdetails() override { return connexion().peerdetails(); }
    _CORBA_Boolean gatekeeperCheckSpecific(omni::giopStrand* brin) override
    {
        return connexion().gatekeeperCheckSpecific(brin);
    }
    void setSelectable(int maintenant, _CORBA_Boolean donnees) override
    {
        connexion().setSelectable(maintenant, donnees);
    }
    void clearSelectable() override { connexion().clearSelectable(); }
    _CORBA_Boolean isSelectable() override { return connexion().isSelectable(); }
    _CORBA_Boolean Peek() override { return connexion().Peek(); }

  protected:
    explicit ConnexionEnveloppe(omni::giopConnection& connexion) : _connexion(connexion) {}
    ~ConnexionEnveloppe() override = default;

    omni::giopConnection& connexion() { return _connexion; }
    void rendre() { _connexion.decrRefCount(/*forced*/ 1); }

  private:
    omni::giopConnection& _connexion;
};

} // namespace orix::orb

#endif
