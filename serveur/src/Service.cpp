#include "Service.h"

#include "LiaisonORB.h"
#include "RequeteLue.h"

#include "orix/Trace.h"

#include <cstring>
#include <new>
#include <utility>

namespace serveur {

namespace {

/// Null when memory lacks: the request is answered all the same, in its turn.
FichePartagee copier(const TextesVol& textes)
{
    try {
        return std::make_shared<Fiche>(textes);
    } catch (const std::bad_alloc&) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Service", "copier",
                              "Mémoire insuffisante pour une demande");
        return nullptr;
    }
}

Droit droitPour(Operation operation)
{
    return operation == Operation::consulte || operation == Operation::liste ? Droit::lecture
                                                                             : Droit::ecriture;
}

/// The arguments of a request.
struct Recue
{
    FichePartagee vol;
    CORBA::Long idOp = 0;
    CORBA::Long numeroClient = 0;

    void lire(orix::orb::LecteurRequete& lecteur)
    {
        const auto lireNumeros = [&] {
            idOp = lecteur.entier();
            numeroClient = lecteur.entier();
        };
        if (lecteur.estSurPlace()) {
            const TextesVol textes(lecteur);
            lireNumeros();
            vol = copier(textes);
        } else {
            Vol lu;
            lecteur.parLORB(lu);
            lireNumeros();
            vol = copier(TextesVol(lu));
        }
    }
};

constexpr std::pair<const char*, Operation> OPERATIONS[] = {{"cree_vol_complet", Operation::cree},
                                                            {"modifie_vol_complet", Operation::modifie},
                                                            {"supprime_vol_complet", Operation::supprime},
                                                            {"consulte_vol_complet", Operation::consulte},
                                                            {"liste_vol_complet", Operation::liste}};

} // namespace

_CORBA_Boolean Service::_servir(omniCallHandle& appel)
{
    for (const auto& [nom, operation] : OPERATIONS) {
        if (std::strcmp(appel.operation_name(), nom) != 0)
            continue;
        Recue recue;
        static const char* const EXCEPTIONS[] = {orix_corba::ClientDeconnecte::_PD_repoId};
        orix::orb::servirLue(
            *this, appel, recue,
            [this, operation = operation, &recue] {
                _recevoir(operation, std::move(recue.vol), recue.idOp, recue.numeroClient);
            },
            EXCEPTIONS, 1);
        return true;
    }
    return ServantGarde::_servir(appel);
}

std::shared_ptr<Client> Service::_trouver(int numero) const
{
    std::shared_ptr<Client> client = _clients.trouver(numero);
    if (client == nullptr) {
        ORIX_TRACE(orix::NTO_REFUS, "Service", "_trouver", "Client " << numero << " inconnu");
    } else if (client->identite().appelant != orix::orb::identiteAppelant()) {
        ORIX_TRACE(orix::NTO_REFUS, "Service", "_trouver",
                   "Client " << client->identite() << " activé par " << client->identite().appelant
                             << ", refusé à " << orix::orb::identiteAppelant());
        client.reset();
    }
    return client;
}

std::shared_ptr<Client> Service::_reconnaitre(int numero)
{
    std::shared_ptr<Client> client = _trouver(numero);
    if (client == nullptr)
        throw orix_corba::ClientDeconnecte();
    if (client->noterActivite())
        _clients.reveil().sonner();
    return client;
}

void Service::_recevoir(Operation operation, FichePartagee vol, int idOp, int numeroClient)
{
    const std::shared_ptr<Client> client = _reconnaitre(numeroClient);
    const bool copiee = vol != nullptr;
    if (!copiee)
        vol = _inconnue;
    auto requete = client->creer(operation, std::move(vol), idOp);
    if (requete == nullptr) { // the client is to know that a request is without answer
        _clients.abandonner(numeroClient, Depart::memoire);
        throw orix_corba::ClientDeconnecte();
    }
    if (!copiee)
        requete->refuser(ECHEC_MAGASIN);
    if (!_droits.permet(droitPour(operation), orix::orb::identiteAppelant())) {
        requete->refuser(INTERDIT);
        ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "Service", "_recevoir",
                              "Demande interdite à " << orix::orb::identiteAppelant() << ", client "
                                                     << client->identite());
    }
    // A line that is full holds this client's connection, and by it the client.
    Ligne::Suites suites;
    if (!client->deposer(std::move(requete), suites))
        throw orix_corba::ClientDeconnecte();
    _aiguillage.suivre(client, suites);
}

void Service::cree_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient)
{
    _recevoir(Operation::cree, copier(TextesVol(vol)), nIdOp, nIdClient);
}
void Service::modifie_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient)
{
    _recevoir(Operation::modifie, copier(TextesVol(vol)), nIdOp, nIdClient);
}
void Service::supprime_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient)
{
    _recevoir(Operation::supprime, copier(TextesVol(vol)), nIdOp, nIdClient);
}
void Service::consulte_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient)
{
    _recevoir(Operation::consulte, copier(TextesVol(vol)), nIdOp, nIdClient);
}
void Service::liste_vol_complet(const Vol& vol, CORBA::Long nIdOp, CORBA::Long nIdClient)
{
    _recevoir(Operation::liste, copier(TextesVol(vol)), nIdOp, nIdClient);
}

void Service::desactiveCB(CORBA::Long numeroClient)
{
    if (_trouver(numeroClient) != nullptr) // who is unknown has left already
        _clients.abandonner(numeroClient, Depart::desactivation);
}

void Service::deconnexionCB(CORBA::Long numeroClient)
{
    ORIX_TRACE(orix::NTO_REFUS, "Service", "deconnexionCB", "Ignoré, client " << numeroClient);
}

void Service::testerConnexionServeur(CORBA::Long numeroClient) { _reconnaitre(numeroClient); }

void Service::testerConnexionClient(const char*, const char*, const char*, CORBA::Long numeroClient)
{
    // Who gives this object as its client does not answer for itself.
    ORIX_TRACE(orix::NTO_REFUS, "Service", "testerConnexionClient", "Refusé, client " << numeroClient);
    throw orix_corba::ServeurDeconnecte();
}

} // namespace serveur
