#ifndef CDV_MOTEURSESSION_H
#define CDV_MOTEURSESSION_H

#include "FormesDemande.h"
#include "Horloge.h"
#include "Reconnexion.h"
#include "TableDemandes.h"

#include <atomic>
#include <string_view>
#include <thread>

namespace cdv {

/// What stands behind an open session: a lock, two threads (one for time-outs and what is to be delivered,
/// one for activations, whose call may take seconds), and the application's code that is to be run. It
/// decides nothing: Reconnexion and TableDemandes do.
///
/// The lock guards everything; it is never held while the facade or the application's code runs. Whoever may
/// still call in shares the engine, so it outlives the session as long as needed. Nothing but the beginning
/// of a session or of a request needs memory; when it lacks for telling the observer of a change, a later
/// change may be told in its place.
class MoteurSession : public std::enable_shared_from_this<MoteurSession>, orix::INonCopiable
{
  public:
    /// Opens the session, with a new engine. Throws Erreur when another one is open, and what the beginning
    /// of a thread may throw; nothing has changed then.
    static void ouvrir(Session& session, const Options& options, std::shared_ptr<Horloge> horloge);
    void fermer();

    void activer();
    /// Gives up, too, when reveiller() finds abandon set.
    bool attendreActive(Duree delai, const std::atomic<bool>* abandon = nullptr);
    unsigned long long connexion() const; ///< the present one; 0: none
    /// Until that one is over; gives up likewise.
    void attendreAutre(unsigned long long connexion, Duree delai, const std::atomic<bool>& abandon);
    void reveiller();
    bool attendreFin(Duree delai);
    /// Waits for the outcome of the first try of each server.
    bool attendrePremierTour();
    EtatSession etat() const;
    Evenement dernierEvenement() const;
    std::size_t nombreEnCours() const;
    Statistiques statistiques() const;

    void demander(const std::shared_ptr<Demande>& demande, Genre genre, const Vol& vol,
                  const Session::Delai& delai);

    std::optional<Vol> suivant(Flux::Tampon& tampon);
    const Resultat& finDe(const Flux::Tampon& tampon) const;
    void abandonner(Flux::Tampon& tampon) noexcept;

    /// @name From OXcdvCliCB, on the callback thread
    /// @{
    static void activeCB(orix::OXstatut statut, const char* serveur, const char* machine);
    void deconnexionCB(orix::OXstatut statut);
    /// An answer, with its record or without (null).
    void reponseCB(Genre genre, int code, OXvol_completData* vol, int idOp);
    void volListeCB(OXvol_completData* vol, int idOp);
    /// @}

    /// Through ouvrir() only.
    MoteurSession(const Options& options, std::shared_ptr<Horloge> horloge);

  private:
    using Verrou = std::unique_lock<std::mutex>;

    /// An event for the observer.
    class Annonce : public Livrable
    {
      public:
        Annonce(const std::function<void(const Evenement&)>& observateur, Evenement evenement)
            : evenement(std::move(evenement)), _observateur(observateur)
        {}
        void livrer() override { _observateur(evenement); }
        Evenement evenement;

      private:
        const std::function<void(const Evenement&)>& _observateur;
    };

    /// The figures, for who wants them from time to time.
    class Releve : public Livrable
    {
      public:
        explicit Releve(const MoteurSession& moteur) : _moteur(moteur) {}
        void livrer() override
        {
            enAttente = false;
            _moteur._options.surStatistiques(_moteur.statistiques());
        }
        std::atomic<bool> enAttente{false};

      private:
        const MoteurSession& _moteur;
    };

    void _demarrer();
    void _commencer();
    void _minuter();
    void _tenirConnexion();
    void _attendreCalme(Verrou& verrou);
    /// Throws std::logic_error in a completion or an observer.
    void _interdireDansRappel(std::string_view quoi) const;
    bool _dansRappel() const { return _livreur == std::this_thread::get_id(); }

    bool _surReponse(orix::OXstatut statut, const char* serveur, const char* machine);
    void _surLibre();
    void _notifier(Genre genre, int idOp, Notification notification);

    void _suivre(const Reconnexion::Action& action) noexcept;
    void _annoncer() noexcept;
    void _reveiller() noexcept;
    bool _estCalme() const noexcept { return !_resteALivrer() && _livreur == std::thread::id(); }
    bool _resteALivrer() const noexcept { return !_aLivrer.estVide() || _annonceDue; }
    std::shared_ptr<Livrable> _prochaineLivraison() noexcept;
    void _livrer(Verrou& verrou) noexcept;

    const Options _options;
    std::string _service; ///< as the facade wants it
    const std::shared_ptr<Horloge> _horloge;
    mutable std::mutex _mutex;
    std::thread _minuterie;
    std::thread _connexion;
    std::condition_variable _reveilMinuterie;
    std::condition_variable _reveilConnexion;
    std::condition_variable _changement; ///< of state, and of what fermer() waits for
    std::condition_variable _reprise;    ///< what the callback thread waits for

    // What is to be run, by one thread at a time.
    Livraisons _aLivrer;
    std::thread::id _livreur;
    bool _annonceDue = false; ///< memory lacked for an announcement: the state is to be told, by the next one
    const std::shared_ptr<Annonce> _annonceReservee;
    const std::shared_ptr<Releve> _releve;
    Instant _prochainReleve = JAMAIS;

    TableDemandes _demandes{_aLivrer};
    Reconnexion _reconnexion;
    Instant _essaiPrevu = Instant::min();  ///< until when the thread of the connection sleeps
    Instant _reveilPrevu = Instant::min(); ///< and that of the time-outs
    bool _ferme = false;                   ///< fermer() has begun
    bool _fermeture = false;               ///< and ended
};

} // namespace cdv

#endif
