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
/// Longer than a locked database is waited for, and than a large group takes.
constexpr std::chrono::seconds IMMOBILITE_MAX{10};
} // namespace

Serveur::Serveur(Magasin& magasin, const Reglages& reglages)
    : _droits(reglages.configuration),
      _magasin(magasin),
      _executeurs(magasin, _aiguillage, _mesures),
      _clients(reglages.clients, _aiguillage, _mesures),
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
        new FrontNoyau(reglages.noms, _clients, _droits, _mesures, reference, reglages.clientsAilleurs);
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

const char* Serveur::mal() const
{
    if (_arret)
        return "arrêt en cours";
    if (!_magasin.etat().utilisable)
        return "la base est perdue ou injoignable";
    return avance(IMMOBILITE_MAX) ? nullptr : "un fil d'exécution n'avance plus";
}

EtatServeur Serveur::etat() const
{
    EtatServeur etat;
    const std::vector<std::shared_ptr<Client>> clients = _clients.tous();
    for (const std::shared_ptr<Client>& client : clients) {
        const Ligne::Attente attente = client->attente();
        etat.demandes += attente.demandes.nombre;
        etat.reponses += attente.reponses.nombre;
        const Client::Identite& qui = client->identite();
        if (const std::size_t octets = attente.demandes.octets + attente.reponses.octets)
            etat.attentes.push_back({qui.machine, qui.programme(), qui.processus(), octets});
    }
    etat.sain = mal() == nullptr;
    etat.clients = clients.size();
    etat.octets = _clients.memoire().prise();
    etat.octetsMax = _clients.memoire().maximum();
    etat.filsEnvoi = _clients.filsEnvoi();
    etat.magasin = _magasin.etat();
    return etat;
}

void Serveur::arreter()
{
    _arret = true;
    _pings.reset();
    _clients.arreter(DELAI_ARRET);
    _magasin.presser();
    _executeurs.arreter();
    const PortableServer::Servant_var<Service> service = std::exchange(_service, nullptr);
    if (service.in() != nullptr)
        orix::oxNoyau()->lirePointAcces()->lirePOA_ORIX()->deactivate_object(_idService);
}

} // namespace serveur
