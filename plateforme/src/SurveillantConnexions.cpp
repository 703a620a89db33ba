#include "SurveillantConnexionsImplementation.h"

#include "Activite.h"
#include "ExceptionCourante.h"
#include "LiaisonORB.h"
#include "NoyauImplementation.h"
#include "orix/Configuration.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/Livraison.h"
#include "orix/interne/ORBthread.h"

#include <algorithm>
#include <utility>

namespace orix {

namespace {

constexpr unsigned CONNEXION_PINGS = 1; // pings do not queue behind requests

/// The same server, over the connection of the pings; the reference itself when that is refused.
orix_corba::InterfacePing_ptr surConnexionPings(orix_corba::InterfacePing_ptr ping)
{
    if (CORBA::is_nil(ping))
        return orix_corba::InterfacePing::_nil();
    try {
        const CORBA::Object_var objet = orb::surConnexion(ping, CONNEXION_PINGS);
        return orix_corba::InterfacePing::_unchecked_narrow(objet);
    } catch (const CORBA::Exception&) {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "SurveillantConnexions", "surConnexionPings",
                              "Pas de connexion propre aux pings : " << texteExceptionCourante());
        return orix_corba::InterfacePing::_duplicate(ping);
    }
}

/// The two notices of a loss. The second makes no sense to an adapter that refuses the first.
void notifierPerte(IAdaptateurClient& adaptateur)
{
    try {
        adaptateur.notifierAutomateDeconnexionCB();
        adaptateur.notifierDeconnexionCB(OXS_ECHEC_PING);
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "SurveillantConnexions", "notifierPerte",
                              "Exception non prévue lors de la notification d'une perte de serveur : "
                                  << texteExceptionCourante());
    }
}

} // namespace

SurveillantConnexions* oxSurveillantConnexions() { return &SurveillantConnexionsImplementation::instance(); }

SurveillantConnexionsImplementation& SurveillantConnexionsImplementation::instance()
{
    static const Perpetuel<SurveillantConnexionsImplementation> surveillant;
    return *surveillant;
}

unsigned long SurveillantConnexionsImplementation::Surveillance::lireActivite() const
{
    unsigned long somme = 0;
    for (const std::string& service : services)
        somme += activite::lire(service);
    return somme;
}

void SurveillantConnexionsImplementation::ajouterSurveillanceServeur(const std::string& nomService,
                                                                     orix_corba::InterfacePing_ptr ping,
                                                                     IAdaptateurClient* adaptateur)
{
    Surveillance surveillance{};
    surveillance.adaptateur = adaptateur;
    surveillance.ping = surConnexionPings(ping);
    surveillance.numeroClient = adaptateur->lireNumeroClient();
    // Callbacks are posted under the name of the client, which need not be that of the supervision.
    surveillance.services = NoyauImplementation::instance().lireServices(adaptateur);
    if (std::find(surveillance.services.begin(), surveillance.services.end(), nomService) ==
        surveillance.services.end())
        surveillance.services.push_back(nomService);
    surveillance.lireActivite(); // makes the counters: a pass only reads them
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_repondeur.in() == nullptr)
            throw Echec(OXS_NOYAU_NON_INITIALISE);
        surveillance.numero = ++_dernierNumero;
        surveillance.vitalite = Vitalite(_reglages, std::chrono::steady_clock::now() + _reglages.periode);
        _surveillances.insert_or_assign(nomService, std::move(surveillance));
    }
    _veilleur.reveiller();
}

void SurveillantConnexionsImplementation::supprimerSurveillanceServeur(const std::string& nomService)
{
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto surveillance = _surveillances.find(nomService);
        if (surveillance == _surveillances.end())
            return;
        _mettreEnSursis(_surveillances.extract(surveillance));
    }
    _veilleur.reveiller();
}

bool SurveillantConnexionsImplementation::surveille(const IAdaptateurClient* adaptateur)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _estSurveille(adaptateur);
}

void SurveillantConnexionsImplementation::oublierAdaptateur(const IAdaptateurClient* adaptateur)
{
    const auto oublier = [adaptateur](auto& surveillances) {
        for (auto s = surveillances.begin(); s != surveillances.end();)
            s = s->second.adaptateur == adaptateur ? surveillances.erase(s) : std::next(s);
    };
    const std::lock_guard<std::mutex> verrou(_mutex);
    oublier(_surveillances);
    oublier(_sursis);
}

void SurveillantConnexionsImplementation::_mettreEnSursis(Surveillances::node_type surveillance)
{
    Surveillance& s = surveillance.mapped();
    s.inscription = NoyauImplementation::instance().lireInscription(s.adaptateur);
    s.echeance = std::chrono::steady_clock::now() + _reglages.periode;
    if (s.inscription != 0)
        _sursis.insert(std::move(surveillance));
}

bool SurveillantConnexionsImplementation::_estSurveille(const IAdaptateurClient* adaptateur) const
{
    return std::any_of(_surveillances.begin(), _surveillances.end(),
                       [=](const auto& s) { return s.second.adaptateur == adaptateur; });
}

void SurveillantConnexionsImplementation::_repondre(unsigned long numeroPing, ReponsePing reponse)
{
    PortableServer::Servant_var<RepondeurPing> repondeur;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        repondeur = _repondeur;
        const auto trouvee = std::find_if(_surveillances.begin(), _surveillances.end(),
                                          [=](const auto& s) { return s.second.pingAttendu == numeroPing; });
        if (trouvee != _surveillances.end()) {
            Surveillance& surveillance = trouvee->second;
            surveillance.pingAttendu = 0;
            switch (reponse) {
            case ReponsePing::vivant:
                surveillance.vitalite.repondre();
                break;
            case ReponsePing::clientInconnu:
                surveillance.vitalite.renier();
                break;
            case ReponsePing::echec:
                surveillance.vitalite.manquer(surveillance.lireActivite());
                break;
            }
        }
    }
    if (repondeur.in() != nullptr)
        repondeur->retirer(numeroPing);
    _veilleur.reveiller();
}

SurveillantConnexionsImplementation::Instant SurveillantConnexionsImplementation::_prochaineEcheance() const
{
    Instant prochaine = Veilleur::JAMAIS;
    for (const auto& [nom, s] : _surveillances)
        prochaine = std::min(prochaine, s.vitalite.echeance());
    for (const auto& [nom, s] : _sursis)
        prochaine = std::min(prochaine, s.echeance);
    return prochaine;
}

SurveillantConnexionsImplementation::Instant SurveillantConnexionsImplementation::_passer()
{
    const Instant maintenant = std::chrono::steady_clock::now();
    while (_livrerPerte() || _livrerOubli(maintenant) || _pinguer(maintenant)) {
    }
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _prochaineEcheance();
}

bool SurveillantConnexionsImplementation::_livrerPerte()
{
    unsigned long numero = 0;
    IAdaptateurClient* adaptateur = nullptr;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto perdue = std::find_if(_surveillances.begin(), _surveillances.end(),
                                         [](const auto& s) { return s.second.vitalite.estPerdue(); });
        if (perdue == _surveillances.end())
            return false;
        numero = perdue->second.numero;
        adaptateur = perdue->second.adaptateur;
    }
    const Livraison livraison(adaptateur);
    Surveillances::node_type surveillance;
    {
        // Only now: during the wait the supervision may have ended.
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto perdue = std::find_if(_surveillances.begin(), _surveillances.end(),
                                         [=](const auto& s) { return s.second.numero == numero; });
        if (perdue == _surveillances.end())
            return true;
        surveillance = _surveillances.extract(perdue);
    }
    ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "SurveillantConnexions", "surveiller",
                          "Serveur perdu : service " << surveillance.key());
    notifierPerte(*adaptateur);
    const std::lock_guard<std::mutex> verrou(_mutex);
    _mettreEnSursis(std::move(surveillance)); // an adapter that refused is registered all the same
    return true;
}

bool SurveillantConnexionsImplementation::_livrerOubli(Instant maintenant)
{
    decltype(_sursis)::node_type sursis;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto echu = std::find_if(_sursis.begin(), _sursis.end(),
                                       [=](const auto& s) { return s.second.echeance <= maintenant; });
        if (echu == _sursis.end())
            return false;
        sursis = _sursis.extract(echu);
    }
    NoyauImplementation& noyau = NoyauImplementation::instance();
    IAdaptateurClient* const adaptateur = sursis.mapped().adaptateur;
    const unsigned long inscription = sursis.mapped().inscription;
    const Livraison livraison(adaptateur);
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (noyau.lireInscription(adaptateur) != inscription || _estSurveille(adaptateur))
            return true;
    }
    ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "SurveillantConnexions", "surveiller",
                          "Client inscrit sans serveur : sa désactivation n'a pas abouti");
    notifierPerte(*adaptateur);
    noyau.retirerInscription(inscription);
    return true;
}

bool SurveillantConnexionsImplementation::_prochainPing(Instant maintenant, Ping& ping)
{
    for (auto& [nom, s] : _surveillances) {
        const bool aEnvoyer = s.vitalite.examiner(maintenant, s.lireActivite()) == Vitalite::Action::pinger;
        if (s.vitalite.attend() && !aEnvoyer)
            continue;
        const unsigned long manque = std::exchange(s.pingAttendu, aEnvoyer ? ++_dernierNumero : 0);
        if (manque == 0 && !aEnvoyer)
            continue;
        ping = {manque, s.pingAttendu, s.ping, s.numeroClient};
        return true;
    }
    return false;
}

bool SurveillantConnexionsImplementation::_pinguer(Instant maintenant)
{
    Ping ping{};
    PortableServer::Servant_var<RepondeurPing> repondeur;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_repondeur.in() == nullptr || !_prochainPing(maintenant, ping))
            return false;
        repondeur = _repondeur;
    }
    if (ping.manque != 0) {
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "SurveillantConnexions", "surveiller",
                              "Pas de réponse au ping " << ping.manque);
        repondeur->retirer(ping.manque);
    }
    if (ping.numero != 0)
        repondeur->envoyer(ping.numero, ping.destinataire, ping.numeroClient);
    return true;
}

void SurveillantConnexionsImplementation::demarrer(const ORBthread& pointAcces,
                                                   const Configuration& configuration)
{
    PortableServer::Servant_var<RepondeurPing> repondeur(
        new RepondeurPing(pointAcces.lireORB(), pointAcces.lirePOA_ORIX(),
                          [this](unsigned long numero, ReponsePing reponse) { _repondre(numero, reponse); }));
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _reglages = {configuration[cle::periodePing], configuration[cle::delaiPing],
                     configuration[cle::pingsManques]};
        _repondeur = repondeur;
    }
    // Where the ORB makes its nil objects it does not order their making before their use on another thread.
    static_cast<void>(orix_corba::InterfacePing::_nil());
    _veilleur.demarrer([this] { return _passer(); });
}

bool SurveillantConnexionsImplementation::arreter(std::chrono::milliseconds delai)
{
    PortableServer::Servant_var<RepondeurPing> repondeur;
    Surveillances finies;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        repondeur = _repondeur;
        _repondeur = nullptr;
        finies.swap(_surveillances);
        _sursis.clear();
    }
    for (const auto& [nom, surveillance] : finies)
        if (surveillance.pingAttendu != 0)
            repondeur->retirer(surveillance.pingAttendu);
    return _veilleur.arreter(delai);
}

} // namespace orix
