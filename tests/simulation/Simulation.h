#ifndef SIMULATION_H
#define SIMULATION_H

#include "Reconnexion.h"
#include "TableDemandes.h"

#include <deque>
#include <stdexcept>

namespace essais {

/// Where the events come from: a seed, or the bytes of a fuzzer.
class Choix
{
  public:
    virtual ~Choix() = default;
    /// From 0 to borne - 1.
    virtual unsigned tirer(unsigned borne) = 0;
    bool unSur(unsigned n) { return tirer(n) == 0; }
};

/// What must never be; what() says it.
struct Faute : std::logic_error
{
    using std::logic_error::logic_error;
};

/// One session's decisions in a world of chance, on virtual time: requests, readers, the threads of the
/// engine, the client of the service, its server and its callback thread each take their next step when it is
/// their turn.
class Simulation
{
  public:
    explicit Simulation(Choix& choix);
    /// One event, then all that must hold after any event. Throws Faute.
    void pas();
    /// Lets everything come to rest, or not, and closes the session. Throws Faute.
    void finir();

  private:
    struct Essai;
    enum class Sorte
    {
        active,
        deconnexion,
        vol,
        fin
    };
    struct Rappel
    {
        Sorte sorte;
        orix::OXstatut statut = orix::OXS_OK;
        cdv::Genre genre = cdv::Genre::creer;
        int idOp = 0;
    };
    enum class Client
    {
        inactif,
        enCours,
        actif
    };
    enum class Appel ///< of the thread of the connection
    {
        aucun,
        active,
        activeFaite,
        desactive,
        desactiveFaite
    };

    void exiger(bool condition, const char* faute) const;
    void verifier();
    bool perteDue() const; ///< its notice is under way
    void verifierEvenement(const cdv::Evenement& evenement);
    void suivre(const cdv::Reconnexion::Action& action);
    std::shared_ptr<Essai> quelconque(); ///< null: there is none
    void oublierFinis();

    void demander();
    void rendreAppel(Essai& essai);
    void repondre();
    void lire(const std::shared_ptr<Essai>& essai);
    void deciderActivation(unsigned issue);
    void perdreConnexion();
    void avancerConnexion();
    orix::OXstatut executerActive();
    void livrerRappel();
    void avancerTemps();
    void tourCalme();

    Choix& _choix;
    cdv::Options _options;
    cdv::Instant _maintenant{std::chrono::hours(1)};
    cdv::Livraisons _fins;
    cdv::TableDemandes _table;
    cdv::Reconnexion _reconnexion;
    cdv::EtatSession _etat = cdv::EtatSession::fermee;
    std::vector<std::shared_ptr<Essai>> _essais; ///< not ended, or in their call
    int _numero = 0;
    int _nonFinis = 0;
    int _aLivrer = 0;
    bool _finDouble = false;
    bool _troptot = false;
    bool _fausse = false;
    bool _fermee = false;
    bool _perteTue = false; ///< the client has lost its connection without a notice

    Client _client = Client::inactif;
    const std::size_t _plafond; ///< of the requests at a time
    bool _occupe;               ///< it owes an answer to another session
    Appel _appel = Appel::aucun;
    orix::OXstatut _statutAppel = orix::OXS_OK;
    bool _serveurSain = false; ///< accepts, always
    std::deque<Rappel> _rappels;
    bool _retenu = false; ///< the first of them has been presented, and waits
    bool _plein = false;  ///< and that is because its reader has not read enough
    cdv::Notification _notification{cdv::Notification::Sorte::fin, 0, std::nullopt};
    cdv::TableDemandes::Rang _appelAlors = 0;
};

} // namespace essais

#endif
