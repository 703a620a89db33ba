#include "Serveur.h"

#include "LiaisonORB.h"

#include "orix/Trace.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"

#include <utility>

namespace serveur {

namespace {
constexpr std::chrono::seconds DELAI_ARRET{
    5}; // for requests under way, and clients slow to take their answers
} // namespace

Serveur::Serveur(Magasin& magasin, const Reglages& reglages)
    : _droits(reglages.configuration),
      _magasin(magasin),
      _executeurs(magasin, _aiguillage),
      _clients(reglages.clients, _aiguillage),
      _service(new Service(_clients, _aiguillage, _droits))
{
    const CORBA::ORB_ptr orb = orix::oxNoyau()->lirePointAcces()->lireORB();
    const PortableServer::POA_ptr poa = orix::oxNoyau()->lirePointAcces()->lirePOA_ORIX();
    _idService = orix::orb::publierSecret(poa, _service.in());
    const CORBA::Object_var objet = poa->id_to_reference(_idService);
    const auto reference = orix_corba::OXcdv_v3_0_0_ClientVersServeur_var(
        orix_corba::OXcdv_v3_0_0_ClientVersServeur::_narrow(objet));
    _pointAcces = orix::orb::pointAcces(reference);
    _pings = std::make_unique<Pings>(reglages.pings, reglages.noms, _clients);
    const PortableServer::Servant_var<FrontNoyau> front =
        new FrontNoyau(reglages.noms, _clients, _droits, reference, reglages.clientsAilleurs);
    orix::orb::publierSousCle(orb, "Noyau", front.in());
}

Serveur::~Serveur()
{
    try {
        arreter();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Serveur", "arreter",
                              "Arrêt incomplet : " << texteException());
    }
}

void Serveur::arreter()
{
    _pings.reset();
    _clients.arreter(DELAI_ARRET);
    _magasin.presser();
    _executeurs.arreter();
    const PortableServer::Servant_var<Service> service = std::exchange(_service, nullptr);
    if (service.in() != nullptr)
        orix::oxNoyau()->lirePointAcces()->lirePOA_ORIX()->deactivate_object(_idService);
}

} // namespace serveur
