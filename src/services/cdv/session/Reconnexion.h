#ifndef CDV_RECONNEXION_H
#define CDV_RECONNEXION_H

#include "CdvStatistiques.h"
#include "Instant.h"

#include <random>

namespace cdv {

/// The state of a session, and when a server is to be asked: each event and its time come in, what is to be
/// done goes out. Allocates nothing; knows neither clock nor threads: to be guarded by whoever has them.
///
/// A loss may be told twice (by a refused request, then by its notice) and out of order (a notice that
/// overtakes the acceptance that it ends). So an acceptance that comes after a notice which ended nothing is
/// not believed: the client is asked again, which either says that it is active already or starts anew.
class Reconnexion
{
  public:
    /// What an event asks for, in this order.
    struct Action
    {
        bool oublier = false; ///< the answer to another session's activation is not waited for any more
        bool perte = false; ///< the connection is over, by the event's statut: what waits for an answer ends
        bool annoncer = false;   ///< evenement() is new
        bool connecter = false;  ///< active() is to be called, then appelRendu()
        bool desactiver = false; ///< desactive() is to be called, then desactivationRendue()
    };

    /// graine: of the random part of the delays.
    Reconnexion(const Options& options, std::minstd_rand::result_type graine);

    /// @name The application's will
    /// @{
    Action ouvrir(Instant maintenant) noexcept; ///< once
    Action activer(Instant maintenant) noexcept;
    Action fermer() noexcept; ///< nothing has an effect afterwards, but the return of the call in progress
    /// @}

    /// @name Time
    /// @{
    Instant echeance() const noexcept; ///< when avancer() is to be called
    /// occupe: the client owes the answer to an activation of another session. It would pass for ours, so it
    /// is waited for: see libre().
    Action avancer(Instant maintenant, bool occupe) noexcept;
    Action libre(Instant maintenant) noexcept; ///< it has come
    /// @}

    /// @name What comes from the client
    /// @{
    Action appelRendu(orix::OXstatut statut, Instant maintenant) noexcept;
    Action desactivationRendue(Instant maintenant) noexcept;
    Action reponse(orix::OXstatut statut, std::string serveur, std::string machine,
                   Instant maintenant) noexcept;                            ///< activeCB
    Action deconnexion(orix::OXstatut statut, Instant maintenant) noexcept; ///< deconnexionCB
    /// The status of a request that was made while connexion() was that.
    Action requeteRefusee(orix::OXstatut statut, unsigned long long connexion, Instant maintenant) noexcept;
    /// @}

    EtatSession etat() const noexcept { return _evenement.etat; }
    const Evenement& evenement() const noexcept { return _evenement; }   ///< the last change of state
    unsigned long long connexion() const noexcept { return _connexion; } ///< how many there were
    bool premierTourFini() const noexcept { return _tourFini; } ///< both servers were tried, or one accepted
    bool reponseAttendue() const noexcept { return _reponseAttendue; } ///< an activeCB is to come
    bool peutEtreConnectee() const noexcept;                           ///< there is something to deactivate
    void compter(Statistiques& statistiques, Instant maintenant) const noexcept; ///< its figures
    orix::OXstatut refus() const noexcept; ///< why a request made now does not leave, unless active

  private:
    enum class Appel
    {
        aucun,
        activation,
        verification, ///< of an acceptance that is not believed
        desactivation
    };

    Action _passer(EtatSession etat, orix::OXstatut statut = orix::OXS_OK) noexcept;
    Action _verifier(Instant maintenant) noexcept;
    Action _devenirActive(Instant maintenant) noexcept;
    Action _perdre(orix::OXstatut statut, Instant maintenant) noexcept;
    Action _echouer(orix::OXstatut statut, Instant maintenant) noexcept;
    Action _reessayerPlusTard(orix::OXstatut statut, Instant maintenant, bool perte) noexcept;
    Duree _prochainDelai() noexcept;

    const bool _reprise;
    const Duree _delaiActivation;
    const Duree _premierDelai;
    const Duree _delaiMax;
    const double _gigue;
    std::minstd_rand _hasard;

    Evenement _evenement;
    unsigned long long _connexion = 0;
    Instant _activeDepuis{};
    std::uint64_t _pertes = 0;
    Instant _perdueDepuis{};
    std::chrono::nanoseconds _absences{0}; ///< without a connection, up to the last one
    std::chrono::nanoseconds _derniereAbsence{0};
    Instant _prochainEssai = JAMAIS;
    Instant _finReponse = JAMAIS; ///< until when the answer is waited for, ours or the other session's
    Appel _appel = Appel::aucun;  ///< in progress
    bool _reponseAttendue = false;
    bool _differee = false;   ///< it is the other session's answer that is waited for
    bool _doute = false;      ///< the next acceptance may be over, or be that of a connection that is
    bool _aVerifier = false;  ///< one that is not believed has come, from the server below
    bool _contredite = false; ///< a notice that ended nothing has come since the last call of active() began
    std::string _serveur;
    std::string _machine;
    bool _fermee = false;
    bool _tourFini = false;
    int _essais = 0;        ///< failed since the last delay
    Duree _delaiReprise{0}; ///< the last one, without its random part
};

} // namespace cdv

#endif
