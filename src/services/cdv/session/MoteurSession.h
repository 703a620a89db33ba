#ifndef CDV_MOTEURSESSION_H
#define CDV_MOTEURSESSION_H

#include "Demande.h"

#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace cdv {

/// What stands behind an open session: the requests that wait, the connection, and two threads (one for
/// time-outs and what is to be delivered, one for activations, whose call may take seconds).
///
/// One lock guards everything; it is never held while the facade or the application's code runs. Whoever may
/// still call in shares the engine, so it outlives the session as long as needed.
class MoteurSession : public std::enable_shared_from_this<MoteurSession>, orix::INonCopiable
{
  public:
    /// The engine whose session is open in this process; may be null.
    static std::shared_ptr<MoteurSession> actuel();
    /// A new one, in the place; throws Erreur when it is taken. To be started, then closed.
    static std::shared_ptr<MoteurSession> installer(const Options& options);
    void demarrer();
    /// The client of the process is about to be destroyed: the answer to an activation that a closed session
    /// left behind, should one still come, calls nothing any more.
    static void oublierActivation();

    explicit MoteurSession(const Options& options);

    void fermer();
    void activer();
    bool attendreActive(Duree delai);
    /// Waits for the outcome of the first try of each server.
    bool attendrePremierTour();
    Evenement dernierEvenement() const;
    std::size_t nombreEnCours() const;

    void demander(const std::shared_ptr<Demande>& demande, Genre genre, const Vol& vol,
                  const Session::Delai& delai);

    std::optional<Vol> suivant(Flux::Tampon& tampon);
    const Resultat& finDe(const Flux::Tampon& tampon) const;
    void abandonner(Flux::Tampon& tampon);

    /// @name From OXcdvCliCB, on the callback thread
    /// @{
    static void activeCB(orix::OXstatut statut, const char* serveur, const char* machine);
    void deconnexionCB(orix::OXstatut statut);
    /// An answer, with its record or without (null).
    void reponseCB(Genre genre, int code, OXvol_completData* vol, int idOp);
    void volListeCB(OXvol_completData* vol, int idOp);
    /// @}

    /// Notifications that may wait for the call of their request to return. Beyond, the callback thread waits
    /// for it.
    static constexpr std::size_t MAX_DEPOTS = 1024;

  private:
    using Verrou = std::unique_lock<std::mutex>;
    using Clef = std::pair<Genre, int>; ///< a notification of another kind than its request's matches nothing

    /// A notification, as much of it as is kept: a record of a listing, or an end.
    struct Notification
    {
        bool estFin;
        int code;
        std::optional<Vol> vol;
    };
    /// What came for a number that no call has returned yet.
    struct Depot
    {
        std::vector<Notification> notifications;
        unsigned long long appel = 0; ///< the last call that had begun when the last of them came
    };

    void attendreCalme(Verrou& verrou);
    Instant dans(Duree delai) const;
    void minuter();
    void tenirConnexion();
    /// Throws std::logic_error in a completion or an observer.
    void interdireDansRappel(const char* quoi) const;
    bool dansRappel() const { return _livreur == std::this_thread::get_id(); }

    void surActivationLaissee();
    bool surActivation(orix::OXstatut statut, const char* serveur, const char* machine);
    void activationEchouee(orix::OXstatut statut);
    void essayer(Duree delai);
    void reessayerPlusTard(orix::OXstatut statut, bool perte);
    void changerEtat(Evenement evenement);

    void planifier(const std::shared_ptr<Demande>& demande); ///< its time-out starts now
    void deplanifier(const std::shared_ptr<Demande>& demande);
    void conclure(const std::shared_ptr<Demande>& demande, Resultat resultat);
    void conclureToutes(Resultat::Etat etat, orix::OXstatut statut);
    void notifier(Genre genre, int idOp, Notification notification);
    bool ranger(Verrou& verrou, Clef clef, Notification& notification);
    void appliquer(const std::shared_ptr<Demande>& demande, Notification notification);
    void attendrePlace(Verrou& verrou, const std::shared_ptr<Demande>& demande);
    void oublierDepots();
    bool appelCommenceAvant(unsigned long long appel) const;
    void livrer(Verrou& verrou);

    const Options _options;
    const std::shared_ptr<Horloge> _horloge;
    mutable std::mutex _mutex;
    std::thread _minuterie;
    std::thread _connexion;
    std::condition_variable _reveilMinuterie;
    std::condition_variable _reveilConnexion;
    std::condition_variable _changement; ///< of state, and of what fermer() waits for
    std::condition_variable _reprise;    ///< what the callback thread waits for

    // Requests. Each one not ended is in _appels, while the call that sends it lasts, then in _attentes.
    std::map<unsigned long long, std::shared_ptr<Demande>> _appels; ///< by rank of the call
    unsigned long long _dernierAppel = 0;
    std::map<Clef, std::shared_ptr<Demande>> _attentes;
    std::set<std::pair<Instant, std::shared_ptr<Demande>>> _echeances;
    Instant _reveilPrevu = Horloge::JAMAIS; ///< until when the time-out thread sleeps
    std::size_t _enCours = 0;               ///< requests not ended
    std::map<Clef, Depot> _depots;
    std::size_t _nombreDepots = 0;

    // Completions and events to be run, by one thread at a time.
    std::deque<std::function<void()>> _aLivrer;
    std::thread::id _livreur;

    // Connection.
    Evenement _evenement;
    bool _ferme = false;              ///< fermer() has begun
    bool _fermeture = false;          ///< and ended
    bool _activationAttendue = false; ///< an activeCB must come
    bool _tourFini = false;           ///< since the opening, both servers were tried, or one accepted
    int _essais = 0;                  ///< failed since the last delay
    Duree _delaiReprise{0};           ///< the last one, without its random part
    Instant _activeDepuis{};
    Instant _prochainEssai = Horloge::JAMAIS;
    Instant _finActivation = Horloge::JAMAIS;
    std::minstd_rand _hasard{std::random_device{}()};
};

} // namespace cdv

#endif
