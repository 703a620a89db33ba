#include "SurveillantConnexionsImplementation.h"

#include "Activite.h"
#include "ExceptionCourante.h"
#include "LiaisonORB.h"
#include "Livraison.h"
#include "NoyauImplementation.h"
#include "orix/Configuration.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/ORBthread.h"

#include <algorithm>

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
    // Never destroyed: threads may outlive the static objects.
    static auto* const surveillant = new SurveillantConnexionsImplementation;
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
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_repondeur.in() == nullptr)
            throw Echec(OXS_NOYAU_NON_INITIALISE);
        surveillance.numero = ++_dernierNumero;
        surveillance.prochain = std::chrono::steady_clock::now() + _periode;
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
        IAdaptateurClient* const adaptateur = surveillance->second.adaptateur;
        _surveillances.erase(surveillance);
        _mettreEnSursis(adaptateur);
    }
    _veilleur.reveiller();
}

void SurveillantConnexionsImplementation::oublierAdaptateur(const IAdaptateurClient* adaptateur)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    for (auto s = _surveillances.begin(); s != _surveillances.end();)
        s = s->second.adaptateur == adaptateur ? _surveillances.erase(s) : std::next(s);
    _sursis.erase(std::remove_if(_sursis.begin(), _sursis.end(),
                                 [=](const Sursis& s) { return s.adaptateur == adaptateur; }),
                  _sursis.end());
}

void SurveillantConnexionsImplementation::_mettreEnSursis(IAdaptateurClient* adaptateur)
{
    if (const unsigned long inscription = NoyauImplementation::instance().lireInscription(adaptateur))
        _sursis.push_back({adaptateur, inscription, std::chrono::steady_clock::now() + _periode});
}

bool SurveillantConnexionsImplementation::_estSurveille(const IAdaptateurClient* adaptateur) const
{
    return std::any_of(_surveillances.begin(), _surveillances.end(),
                       [=](const auto& s) { return s.second.adaptateur == adaptateur; });
}

void SurveillantConnexionsImplementation::_manquer(Surveillance& surveillance)
{
    surveillance.pingAttendu = 0;
    if (surveillance.lireActivite() != surveillance.activiteAvant)
        surveillance.manques = 0;
    else if (++surveillance.manques >= _manquesMax)
        surveillance.perdu = true;
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
            switch (reponse) {
            case ReponsePing::Vivant:
                surveillance.pingAttendu = 0;
                surveillance.manques = 0;
                break;
            case ReponsePing::ClientInconnu:
                surveillance.pingAttendu = 0;
                surveillance.perdu = true;
                break;
            case ReponsePing::Echec:
                _manquer(surveillance);
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
        prochaine = std::min(prochaine, s.perdu              ? Instant::min()
                                        : s.pingAttendu != 0 ? s.echeance
                                                             : s.prochain);
    for (const Sursis& s : _sursis)
        prochaine = std::min(prochaine, s.echeance);
    return prochaine;
}

SurveillantConnexionsImplementation::Instant SurveillantConnexionsImplementation::_faireLeNecessaire()
{
    struct Envoi
    {
        unsigned long numero;
        orix_corba::InterfacePing_var ping;
        CORBA::Long numeroClient;
    };
    std::vector<unsigned long> manques;
    std::vector<Envoi> envois;
    std::vector<Perte> pertes;
    std::vector<Sursis> oublis;
    PortableServer::Servant_var<RepondeurPing> repondeur;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        repondeur = _repondeur;
        if (repondeur.in() == nullptr)
            return Veilleur::JAMAIS;
        const Instant maintenant = std::chrono::steady_clock::now();
        for (auto& [nom, s] : _surveillances) {
            if (s.pingAttendu != 0 && s.echeance <= maintenant) {
                manques.push_back(s.pingAttendu);
                _manquer(s);
            }
            if (s.perdu) {
                pertes.push_back({nom, s.numero, s.adaptateur});
            } else if (s.pingAttendu == 0 && s.prochain <= maintenant) {
                s.pingAttendu = ++_dernierNumero;
                s.prochain = maintenant + _periode;
                s.echeance = maintenant + _delai;
                s.activiteAvant = s.lireActivite();
                envois.push_back({s.pingAttendu, s.ping, s.numeroClient});
            }
        }
        const auto echus = std::stable_partition(_sursis.begin(), _sursis.end(),
                                                 [=](const Sursis& s) { return s.echeance > maintenant; });
        oublis.assign(echus, _sursis.end());
        _sursis.erase(echus, _sursis.end());
    }
    for (const unsigned long numero : manques) {
        ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "SurveillantConnexions", "surveiller",
                              "Pas de réponse au ping " << numero);
        repondeur->retirer(numero);
    }
    for (const Envoi& envoi : envois)
        repondeur->envoyer(envoi.numero, envoi.ping, envoi.numeroClient);
    for (const Perte& perte : pertes)
        _livrerPerte(perte);
    for (const Sursis& sursis : oublis)
        _livrerOubli(sursis);
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _prochaineEcheance();
}

SurveillantConnexionsImplementation::Instant SurveillantConnexionsImplementation::_passer()
{
    try {
        return _faireLeNecessaire();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "SurveillantConnexions", "surveiller",
                              "Exception non prévue : " << texteExceptionCourante());
        const std::lock_guard<std::mutex> verrou(_mutex);
        return std::chrono::steady_clock::now() + _periode;
    }
}

void SurveillantConnexionsImplementation::_livrerPerte(const Perte& perte)
{
    const Livraison livraison(perte.adaptateur);
    {
        // Only now: during the wait the supervision may have ended.
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto surveillance = _surveillances.find(perte.nomService);
        if (surveillance == _surveillances.end() || surveillance->second.numero != perte.numero)
            return;
        _surveillances.erase(surveillance);
        _mettreEnSursis(perte.adaptateur);
    }
    ORIX_TRACE_SANS_ECHEC(NTO_REFUS, "SurveillantConnexions", "surveiller",
                          "Serveur perdu : service " << perte.nomService);
    notifierPerte(*perte.adaptateur);
}

void SurveillantConnexionsImplementation::_livrerOubli(const Sursis& sursis)
{
    NoyauImplementation& noyau = NoyauImplementation::instance();
    const Livraison livraison(sursis.adaptateur);
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (noyau.lireInscription(sursis.adaptateur) != sursis.inscription ||
            _estSurveille(sursis.adaptateur))
            return;
    }
    ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "SurveillantConnexions", "surveiller",
                          "Client inscrit sans serveur : sa désactivation n'a pas abouti");
    notifierPerte(*sursis.adaptateur);
    noyau.retirerInscription(sursis.inscription);
}

void SurveillantConnexionsImplementation::demarrer(const ORBthread& pointAcces,
                                                   const Configuration& configuration)
{
    PortableServer::Servant_var<RepondeurPing> repondeur(
        new RepondeurPing(pointAcces.lireORB(), pointAcces.lirePOA_ORIX(),
                          [this](unsigned long numero, ReponsePing reponse) { _repondre(numero, reponse); }));
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _periode = configuration.periodePing;
        _delai = configuration.delaiPing;
        _manquesMax = configuration.pingsManques;
        _repondeur = repondeur;
    }
    _veilleur.demarrer([this] { return _passer(); });
}

bool SurveillantConnexionsImplementation::arreter(std::chrono::milliseconds delai)
{
    PortableServer::Servant_var<RepondeurPing> repondeur;
    std::vector<unsigned long> pings;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        repondeur = _repondeur;
        _repondeur = nullptr;
        for (const auto& [nom, surveillance] : _surveillances)
            if (surveillance.pingAttendu != 0)
                pings.push_back(surveillance.pingAttendu);
        _surveillances.clear();
        _sursis.clear();
    }
    for (const unsigned long numero : pings)
        repondeur->retirer(numero);
    return _veilleur.arreter(delai);
}

} // namespace orix
