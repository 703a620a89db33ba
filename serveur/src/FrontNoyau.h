#ifndef FRONTNOYAU_H
#define FRONTNOYAU_H

#include "Clients.h"
#include "Droits.h"
#include "orix/interne/ServantNoyau.h"

#include "OXcdvClientVersServeurS.h"

namespace serveur {

/// What this server calls itself, in activations and pings.
struct NomsServeur
{
    std::string serveur;
    std::string machine;
};

constexpr const char* NOM_SERVICE = "cdv";

/// The kernel of this process as clients see it: activates them for the service. What it keeps of an
/// activation is bounded, and leads nowhere but back to the caller.
class FrontNoyau : public orix::ServantNoyau, public PortableServer::RefCountServantBase
{
  public:
    /// clients, droits and mesures outlive the servant's last request. ailleurs: whether a client may be on
    /// another machine than the process that activates it.
    FrontNoyau(NomsServeur noms, Clients& clients, const Droits& droits, Mesures& mesures,
               orix_corba::OXcdv_v3_0_0_ClientVersServeur_ptr service, bool ailleurs)
        : _noms(std::move(noms)),
          _clients(clients),
          _droits(droits),
          _mesures(mesures),
          _ailleurs(ailleurs),
          _service(orix_corba::OXcdv_v3_0_0_ClientVersServeur::_duplicate(service))
    {}

    void activerService(const char* nomService, const orix_corba::SequenceNiveauReference& niveaux,
                        orix_corba__Client_ptr client, const char* nomORBthread, const char* nomMachineHote,
                        CORBA::Long& statut, CORBA::String_out serveur, CORBA::String_out machine,
                        orix_corba::NiveauReference_out niveau, CORBA::Long& numeroClient) override;

  private:
    /// The new client's number; throws orix::Echec with the status of a refusal, std::bad_alloc,
    /// std::system_error.
    int _activer(const char* nomService, const orix_corba::SequenceNiveauReference& niveaux,
                 orix_corba__Client_ptr client, const std::string& nom, const std::string& machine);

    /// Throws orix::Echec for a reference that a client does not give.
    void _verifier(CORBA::Object_ptr reference) const;

    const NomsServeur _noms;
    Clients& _clients;
    const Droits& _droits;
    Mesures& _mesures;
    const bool _ailleurs;
    const orix_corba::OXcdv_v3_0_0_ClientVersServeur_var _service;
};

} // namespace serveur

#endif
