#ifndef SURVEILLANTCONNEXIONSIMPLEMENTATION_H
#define SURVEILLANTCONNEXIONSIMPLEMENTATION_H

#include "Fil.h"
#include "RepondeurPing.h"
#include "orix/INonCopiable.h"
#include "orix/interne/Perpetuel.h"
#include "orix/interne/SurveillantConnexions.h"
#include "orix/interne/Vitalite.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orix {

class ORBthread;
class Configuration;

class SurveillantConnexionsImplementation final : public SurveillantConnexions, INonCopiable
{
  public:
    static SurveillantConnexionsImplementation& instance();

    /// Throws Echec(OXS_NOYAU_NON_INITIALISE) when the monitor does not run.
    void ajouterSurveillanceServeur(const std::string& nomService, orix_corba::InterfacePing_ptr ping,
                                    IAdaptateurClient* adaptateur) override;
    void supprimerSurveillanceServeur(const std::string& nomService) override;

    /// Whether a server of that adapter is under supervision.
    bool surveille(const IAdaptateurClient* adaptateur);

    /// No event for this adapter starts after the return.
    void oublierAdaptateur(const IAdaptateurClient* adaptateur);

    void demarrer(const ORBthread& pointAcces, const Configuration& configuration);
    /// False when a delivery was still going on at the end of the delay.
    bool arreter(std::chrono::milliseconds delai);

  private:
    using Instant = Veilleur::Instant;

    /// One supervision. At its end it stays, as long as the client is registered with the kernel, among those
    /// that are in suspense: a client without a server should not be registered for long.
    struct Surveillance
    {
        unsigned long numero; // of this supervision, never given again
        IAdaptateurClient* adaptateur;
        unsigned long inscription = 0; // of the client, when the supervision ended
        orix_corba::InterfacePing_var ping;
        CORBA::Long numeroClient;
        std::vector<std::string> services; // whose messages prove this server alive
        Vitalite vitalite{{}, {}};
        unsigned long pingAttendu = 0; // number of the ping that is out; 0: none
        Instant echeance{};            // in suspense: when its client is told

        unsigned long lireActivite() const;
    };
    using Surveillances = std::map<std::string, Surveillance>; // by service
    /// A ping that was missed, one to be sent, or both; 0: none.
    struct Ping
    {
        unsigned long manque;
        unsigned long numero;
        orix_corba::InterfacePing_var destinataire;
        CORBA::Long numeroClient;
    };

    friend class Perpetuel<SurveillantConnexionsImplementation>;
    SurveillantConnexionsImplementation() = default;

    // One step of a pass each; false when there is none left. Those that tell an end take no memory.
    bool _livrerPerte();
    bool _livrerOubli(Instant maintenant);
    bool _pinguer(Instant maintenant);
    Instant _passer();
    void _repondre(unsigned long numeroPing, ReponsePing reponse);
    // With the lock held:
    void _mettreEnSursis(Surveillances::node_type surveillance);
    bool _estSurveille(const IAdaptateurClient* adaptateur) const;
    bool _prochainPing(Instant maintenant, Ping& ping);
    Instant _prochaineEcheance() const;

    Veilleur _veilleur;

    std::mutex _mutex; // guards what follows; never held during a call of an adapter or of the ORB
    PortableServer::Servant_var<RepondeurPing> _repondeur; // null: the monitor does not run
    Vitalite::Reglages _reglages;
    unsigned long _dernierNumero = 0; // of supervisions and pings
    Surveillances _surveillances;
    std::multimap<std::string, Surveillance> _sursis;
};

} // namespace orix

#endif
