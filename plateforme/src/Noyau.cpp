#include "NoyauImplementation.h"

#include "ExceptionCourante.h"
#include "InterlocuteursClients.h"
#include "LiaisonORB.h"
#include "ReferencesPOA.h"
#include "SurveillantConnexionsImplementation.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/Livraison.h"
#include "orix/interne/ORBthread.h"

#include <algorithm>

namespace orix {

Noyau* oxNoyau() { return &NoyauImplementation::instance(); }

NoyauImplementation& NoyauImplementation::instance()
{
    static const Perpetuel<NoyauImplementation> noyau;
    return *noyau;
}

ORBthread* NoyauImplementation::lirePointAcces()
{
    ORBthread* const pointAcces = _pointAcces.load();
    if (pointAcces == nullptr)
        throw Echec(OXS_NOYAU_NON_INITIALISE);
    return pointAcces;
}

void NoyauImplementation::activerClient(const std::string& nomService, IAdaptateurClient* adaptateur)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _clients[nomService] = {adaptateur, ++_derniereInscription};
}

void NoyauImplementation::desactiverClient(const std::string& nomService)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _clients.erase(nomService);
}

unsigned long NoyauImplementation::lireInscription(const IAdaptateurClient* adaptateur) const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    unsigned long derniere = 0;
    for (const auto& [nom, client] : _clients)
        if (client.adaptateur == adaptateur)
            derniere = std::max(derniere, client.inscription);
    return derniere;
}

void NoyauImplementation::retirerInscription(unsigned long inscription)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto client = std::find_if(_clients.begin(), _clients.end(),
                                     [=](const auto& c) { return c.second.inscription == inscription; });
    if (client != _clients.end())
        _clients.erase(client);
}

std::vector<std::string> NoyauImplementation::lireServices(const IAdaptateurClient* adaptateur) const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    std::vector<std::string> services;
    for (const auto& [nom, client] : _clients)
        if (client.adaptateur == adaptateur)
            services.push_back(nom);
    return services;
}

int NoyauImplementation::enregistrerParametres(ParametresActivationService* parametres)
{
    std::unique_ptr<ParametresActivationService> possession(parametres);
    Livraison::attendreFin(parametres->lireAdaptateur());
    int numero = 0;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (!_ouvert)
            throw Echec(OXS_NOYAU_NON_INITIALISE);
        do {
            _dernierNumero = _dernierNumero == 0x7FFFFFFF ? 1 : _dernierNumero + 1;
        } while (_activations.count(_dernierNumero) != 0);
        numero = _dernierNumero;
        // Asked of the kernel that this thread has just resolved.
        interlocuteurs::designer(parametres->lireAdaptateur(), orb::identiteAppele());
        _activations[numero] = {std::move(possession), std::chrono::steady_clock::now() + _delaiActivation};
    }
    _veilleur.reveiller();
    return numero;
}

void NoyauImplementation::supprimerParametres(int numeroOperation)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _activations.erase(numeroOperation);
}

void NoyauImplementation::supprimerReference(CORBA::Object_ptr reference) noexcept
{
    ORBthread* const pointAcces = _pointAcces.load();
    if (pointAcces == nullptr || CORBA::is_nil(reference))
        return;
    try {
        const PortableServer::ObjectId_var id = pointAcces->lirePOA_ORIX()->reference_to_id(reference);
        pointAcces->lirePOA_ORIX()->deactivate_object(id);
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_DETAIL, "Noyau", "supprimerReference",
                              "Référence non retirée : " << texteExceptionCourante());
    }
}

void NoyauImplementation::_retirerReference(int numeroOperation) noexcept
{
    if (ORBthread* const pointAcces = _pointAcces.load())
        poa::retirer(pointAcces->lirePOA_ORIX(), std::to_string(numeroOperation));
}

void NoyauImplementation::oublierAdaptateur(IAdaptateurClient* adaptateur) noexcept
{
    std::map<int, Activation> oubliees;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        for (auto a = _activations.begin(); a != _activations.end();) {
            const auto courante = a++;
            if (courante->second.parametres->lireAdaptateur() == adaptateur)
                oubliees.insert(_activations.extract(courante));
        }
        for (auto c = _clients.begin(); c != _clients.end();)
            c = c->second.adaptateur == adaptateur ? _clients.erase(c) : std::next(c);
    }
    for (const auto& [numero, activation] : oubliees)
        _retirerReference(numero);
    interlocuteurs::oublier(adaptateur);
    SurveillantConnexionsImplementation::instance().oublierAdaptateur(adaptateur);
    Livraison::attendreFin(adaptateur);
}

void NoyauImplementation::noterService(int numeroOperation, const std::string& identite)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto activation = _activations.find(numeroOperation);
    if (activation != _activations.end())
        interlocuteurs::ajouterService(activation->second.parametres->lireAdaptateur(), identite);
}

bool NoyauImplementation::_conclure(int numeroOperation, Instant limite, Nature nature,
                                    const std::function<void(IAdaptateurClient&)>& notification)
{
    const auto chercher = [&]() -> IAdaptateurClient* {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto activation = _activations.find(numeroOperation);
        return activation == _activations.end() ? nullptr : activation->second.parametres->lireAdaptateur();
    };
    IAdaptateurClient* const adaptateur = chercher();
    if (adaptateur == nullptr)
        return false;

    const Livraison livraison(adaptateur, limite);
    if (!livraison.estObtenue())
        return false;
    // Taken only now: an adapter that was forgotten during the wait must not be called.
    decltype(_activations)::node_type activation;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        activation = _activations.extract(numeroOperation);
    }
    if (activation.empty())
        return false;
    try {
        notification(*adaptateur);
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(
            NTO_NOTABLE, "Noyau", "conclure",
            "Exception non prévue lors de la notification d'une activation : " << texteExceptionCourante());
    }
    _retirerReference(numeroOperation);
    if (nature == Nature::reponse && _estEnSuspens(adaptateur)) {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _activations.insert(std::move(activation)); // its time-out ends it
    }
    return true;
}

/// Whether an answer left the client as it was, neither connected nor given up: a server of another version
/// gave it.
bool NoyauImplementation::_estEnSuspens(const IAdaptateurClient* adaptateur) const
{
    return lireInscription(adaptateur) != 0 &&
           !SurveillantConnexionsImplementation::instance().surveille(adaptateur);
}

NoyauImplementation::Instant NoyauImplementation::_passer()
{
    const Instant maintenant = std::chrono::steady_clock::now();
    for (;;) {
        int echue = 0;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            Instant prochaine = JAMAIS;
            for (const auto& [numero, activation] : _activations) {
                if (activation.echeance <= maintenant)
                    echue = numero;
                prochaine = std::min(prochaine, activation.echeance);
            }
            if (echue == 0)
                return prochaine;
        }
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "Noyau", "surveiller",
                              "Pas de réponse à la demande d'activation " << echue);
        conclure(echue, [](IAdaptateurClient& a) { a.notifierEchecActivation(OXS_REPLY_ERROR); });
    }
}

void NoyauImplementation::demarrer(ORBthread* pointAcces, std::chrono::milliseconds delaiActivation)
{
    _pointAcces.store(pointAcces);
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _delaiActivation = delaiActivation;
        _ouvert = true;
    }
    _veilleur.demarrer([this] { return _passer(); });
}

/// Who was promised an answer gets one. False when the limit came first for somebody.
bool NoyauImplementation::_abandonnerActivations(Instant limite)
{
    for (bool complet = true;;) {
        int numero = 0;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (_activations.empty())
                return complet;
            numero = _activations.begin()->first;
        }
        if (!_conclure(numero, limite, Nature::fin, [](IAdaptateurClient& adaptateur) {
                adaptateur.notifierEchecActivation(OXS_NOYAU_NON_INITIALISE);
            })) { // not in time, or told otherwise
            complet = complet && std::chrono::steady_clock::now() < limite;
            supprimerParametres(numero);
            _retirerReference(numero);
        }
    }
}

/// The connections end with the kernel that has them: the state of their adapters follows. False as above.
bool NoyauImplementation::_deconnecterClients(Instant limite)
{
    for (bool complet = true;;) {
        Client client{};
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (_clients.empty())
                return complet;
            client = _clients.begin()->second;
        }
        const Livraison livraison(client.adaptateur, limite);
        complet = complet && livraison.estObtenue();
        // Asked only now: it may have been forgotten, or have left, during the wait.
        if (livraison.estObtenue() && lireInscription(client.adaptateur) == client.inscription) {
            try {
                client.adaptateur->notifierAutomateDeconnexionCB();
            } catch (...) {
                // It was not connected.
            }
            SurveillantConnexionsImplementation::instance().oublierAdaptateur(client.adaptateur);
        }
        retirerInscription(client.inscription);
    }
}

bool NoyauImplementation::arreter(std::chrono::milliseconds delai)
{
    const Instant limite = std::chrono::steady_clock::now() + delai;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _ouvert = false;
    }
    const bool activations = _abandonnerActivations(limite);
    const bool clients = _deconnecterClients(limite);
    _table.vider();
    return _veilleur.arreter(delai) && activations && clients;
}

} // namespace orix
