#ifndef CDVCHARGEMENT_H
#define CDVCHARGEMENT_H

/// @file
/// Loading in bulk: many requests of a session at a time, past the loss of a server.

#include "CdvSession.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace cdv {

/// Many requests of one session, with a bounded number unanswered, that go on when a server is lost.
///
///     cdv::Chargement chargement(session);
///     for (...)
///         if (!chargement.creer(std::move(vol)))
///             break;
///     const cdv::Chargement::Bilan bilan = chargement.attendreFin();
///
/// A loss: what had no answer is asked again once a server has accepted, so each record ends as one of
/// Bilan's figures says. A creation of which nobody knows whether it was done is settled by reading: when the
/// server has that very record, it is counted as created. A change is made again, which changes nothing when
/// it was done and nobody else has changed the flight since; a deletion that finds nothing the second time
/// was done the first. It gives up when no server has answered for Reglages::patience, when a request had no
/// answer in time ESSAIS times, and when the session is closed: what has not ended then ends as abandonne. A
/// request that cannot leave for as long, although the connection stands, is refused alone. A session without
/// Options::reprise is activated again once for each loss.
///
/// The records of one load should be of different flights: requests that are made again come behind others.
///
/// Threads: every function may be called on any thread; those that wait, on none that runs a completion or an
/// observer. The functions of Reglages run where completions do (see Session), or on the one thread of the
/// load, one at a time. The session outlives the load, which waits at its end for the answers that are under
/// way.
class ORIX_API Chargement : orix::INonCopiable
{
  public:
    /// How often a request is made that gets no answer in time, or cannot leave, while the server is there.
    static constexpr int ESSAIS = 3;

    /// What to do with a flight that the server has already, with another content.
    enum class Existants
    {
        refuser,
        modifier, ///< gives it the fields that are set
        ignorer
    };

    /// How the request of one record ended.
    enum class Fin
    {
        cree,
        modifie,
        supprime,
        ignore,   ///< it was there already
        refuse,   ///< by the server, with Resultat::code; or by the library, with Resultat::statut
        abandonne ///< it may or may not have been done, or was not made; Resultat says which
    };

    /// The figures of a load.
    struct Bilan
    {
        std::uint64_t crees = 0;
        std::uint64_t modifies = 0;
        std::uint64_t supprimes = 0;
        std::uint64_t ignores = 0;
        std::uint64_t refuses = 0;
        std::uint64_t abandonnes = 0;
        std::uint64_t refaites = 0;           ///< requests made once more
        std::uint64_t constates = 0;          ///< of crees, those that were found done
        std::uint64_t pertes = 0;             ///< of the connection, while requests were unanswered
        std::size_t enCours = 0;              ///< records that have not ended
        std::optional<Resultat::Etat> arret;  ///< of the request for which it gave up
        orix::OXstatut statut = orix::OXS_OK; ///< and why that one had no answer

        std::uint64_t faits() const { return crees + modifies + supprimes + ignores; }
        /// Every record that was given ended as asked.
        explicit operator bool() const { return refuses == 0 && abandonnes == 0 && enCours == 0; }
    };

    using SurFin = std::function<void(const Vol&, Fin, const Resultat&)>;

    struct Reglages
    {
        std::size_t fenetre = 1000; ///< records unanswered at a time; at least 1
        Existants existants = Existants::refuser;
        Duree patience{60000};                           ///< how long to go on without an answer after a loss
        Session::Delai delai;                            ///< of each request; empty: the session's
        SurFin surFin;                                   ///< told of each record
        std::function<void(const Bilan&)> surAvancement; ///< told after each record
    };

    explicit Chargement(Session& session) : Chargement(session, Reglages()) {}
    Chargement(Session& session, Reglages reglages);
    ~Chargement(); ///< interrompre(), then waits for the answers that are under way

    /// @name One record more
    /// Each waits for room, and takes the record over. surFin: told of this record, before Reglages::surFin.
    /// False when the load has given up, or was interrupted: the record is left as it was.
    /// @{
    bool creer(Vol&& vol, SurFin surFin = {});
    bool modifier(Vol&& vol, SurFin surFin = {});
    bool supprimer(Vol&& vol, SurFin surFin = {}); ///< only the identifier counts
    /// @}

    /// Waits until every record has ended, or the time has passed (empty: as long as it takes).
    Bilan attendreFin(std::optional<Duree> delai = {});
    /// Nothing more is asked. What is under way is waited for, what was to be asked again is given up.
    void interrompre();
    Bilan bilan() const;

    /// @cond
    /// What it needs of a session.
    struct Voies
    {
        enum Demande
        {
            CREER,
            MODIFIER,
            SUPPRIMER,
            CONSULTER
        };
        std::function<void(Demande, const Vol&, Session::Fin)> demander;
        /// Waits for a server; gives up at once when reveiller() has been called.
        std::function<bool(Duree)> attendreActive;
        std::function<unsigned long long()> connexion; ///< the present one; 0: none
        /// Waits for the end of that connection; gives up likewise.
        std::function<void(unsigned long long connexion, Duree)> attendreAutre;
        std::function<void()> reveiller;
    };
    Chargement(Voies voies, Reglages reglages);
    /// @endcond

  private:
    struct Element;
    using Verrou = std::unique_lock<std::mutex>;
    using Partage = std::shared_ptr<Element>;

    static Voies _vers(Session& session, const Session::Delai& delai);
    bool _ajouter(Voies::Demande demande, Vol& vol, SurFin surFin);
    void _demander(const Partage& element, Voies::Demande demande);
    void _recevoir(const Partage& element, Voies::Demande demande, Resultat resultat);
    void _surRefus(const Partage& element, Voies::Demande demande, Resultat resultat);
    void _existe(const Partage& element, Resultat resultat);
    void _sansReponse(const Partage& element, Voies::Demande demande, Resultat resultat);
    void _finir(const Partage& element, Fin fin, const Resultat& resultat);
    void _tenir();
    bool _attendreServeur(Verrou& verrou);
    void _renoncer(const Resultat& resultat);

    const Voies _voies;
    const Reglages _reglages;
    const std::size_t _fenetre;
    std::mutex _appels;        // held while the application's functions run
    mutable std::mutex _mutex; // guards what follows
    std::condition_variable _changement;
    std::vector<Partage> _aRefaire;   // has room for the whole window
    std::vector<Partage> _enReprise;  // likewise; of the load's thread
    unsigned long long _suspecte = 0; // connection on which a request could not leave; 0: none
    /// Set from the first request that is made again to the next answer.
    std::optional<std::chrono::steady_clock::time_point> _finPatience;
    bool _perdue = false; // nothing was answered since the last loss
    bool _arret = false;
    bool _fini = false;
    Bilan _bilan;
    std::thread _fil; // asks again
};

} // namespace cdv

#endif
