#ifndef SURVEILLANTCONNEXIONSIMPLEMENTATION_H
#define SURVEILLANTCONNEXIONSIMPLEMENTATION_H

#include "Fil.h"
#include "RepondeurPing.h"
#include "orix/INonCopiable.h"
#include "orix/interne/SurveillantConnexions.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orix {

class ORBthread;
struct Configuration;

class SurveillantConnexionsImplementation final : public SurveillantConnexions, INonCopiable
{
  public:
    static SurveillantConnexionsImplementation& instance();

    /// Throws Echec(OXS_NOYAU_NON_INITIALISE) when the monitor does not run.
    void ajouterSurveillanceServeur(const std::string& nomService, orix_corba::InterfacePing_ptr ping,
                                    IAdaptateurClient* adaptateur) override;
    void supprimerSurveillanceServeur(const std::string& nomService) override;

    /// No event for this adapter starts after the return.
    void oublierAdaptateur(const IAdaptateurClient* adaptateur);

    void demarrer(const ORBthread& pointAcces, const Configuration& configuration);
    /// False when a delivery was still going on at the end of the delay.
    bool arreter(std::chrono::milliseconds delai);

  private:
    using Instant = Veilleur::Instant;

    struct Surveillance
    {
        unsigned long numero; // of this supervision, never given again
        IAdaptateurClient* adaptateur;
        orix_corba::InterfacePing_var ping;
        CORBA::Long numeroClient;
        std::vector<std::string> services; // whose messages prove this server alive
        Instant prochain;                  // when the next ping leaves
        unsigned long pingAttendu = 0;     // number of the ping that is out; 0: none
        Instant echeance{};                // when that one is missed
        unsigned long activiteAvant = 0;   // when that one left
        int manques = 0;                   // in a row
        bool perdu = false;

        unsigned long lireActivite() const;
    };
    /// A client whose supervision ended: it should not be registered with the kernel for long any more.
    struct Sursis
    {
        IAdaptateurClient* adaptateur;
        unsigned long inscription; // when the supervision ended
        Instant echeance;
    };
    struct Perte
    {
        std::string nomService;
        unsigned long numero;
        IAdaptateurClient* adaptateur;
    };
    using Surveillances = std::map<std::string, Surveillance>; // by service

    SurveillantConnexionsImplementation() = default;

    Instant _passer();
    Instant _faireLeNecessaire();
    void _repondre(unsigned long numeroPing, ReponsePing reponse);
    void _livrerPerte(const Perte& perte);
    void _livrerOubli(const Sursis& sursis);
    // With the lock held:
    void _manquer(Surveillance& surveillance);
    void _mettreEnSursis(IAdaptateurClient* adaptateur);
    bool _estSurveille(const IAdaptateurClient* adaptateur) const;
    Instant _prochaineEcheance() const;

    Veilleur _veilleur;

    std::mutex _mutex; // guards what follows; never held during a call of an adapter or of the ORB
    PortableServer::Servant_var<RepondeurPing> _repondeur; // null: the monitor does not run
    std::chrono::milliseconds _periode{};
    std::chrono::milliseconds _delai{};
    int _manquesMax = 0;
    unsigned long _dernierNumero = 0; // of supervisions and pings
    Surveillances _surveillances;
    std::vector<Sursis> _sursis;
};

} // namespace orix

#endif
