#ifndef CDVSESSION_H
#define CDVSESSION_H

/// @file
/// Sessions of the cdv service: requests with results, in place of bare callbacks.
///
/// A program that links libOXcdvSession does not define OXcdvCliCB: the library does. A program that wants
/// the bare callbacks links libOXcdvCli, and libOXcdvVol where it wants cdv::Vol.

#include "CdvStatistiques.h"
#include "CdvVol.h"
#include "orix/Configuration.h"
#include "orix/Exportation.h"
#include "orix/INonCopiable.h"
#include "orix/OXstatut.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace cdv {

/// Every duration of this interface.
using Duree = std::chrono::milliseconds;

/// What cannot be done at all: no process, no session. what() is one line for users.
class ORIX_API Erreur : public std::runtime_error
{
  public:
    /// @cond
    Erreur(orix::OXstatut statut, const std::string& message) : std::runtime_error(message), _statut(statut)
    {}
    ~Erreur() override;
    /// @endcond

    orix::OXstatut statut() const noexcept { return _statut; } ///< the reason, for programs

  private:
    orix::OXstatut _statut;
};

/// The middleware of the process, for the time this object lives: orix::initialiser() at its beginning; at
/// its end the cdv client is destroyed, then orix::terminer() runs. To be declared before the session, in
/// main().
class ORIX_API Processus : orix::INonCopiable
{
  public:
    /// argc, argv: the ORB takes out its own options ("-ORB..."). Throws Erreur; when the configuration is
    /// what is wrong, the orix::ErreurConfiguration is nested in it (std::rethrow_if_nested).
    Processus(int& argc, char** argv, const std::string& fichierConfiguration);
    /// The same, with settings that the program made itself; they are verified.
    Processus(int& argc, char** argv, const orix::Configuration& configuration);
    /// The same, without options of the ORB.
    explicit Processus(const orix::Configuration& configuration);
    ~Processus();
};

/// How a request ended. Whatever happens, each request ends once.
struct ORIX_API Resultat
{
    /// The kinds of ends.
    enum class Etat
    {
        fait,      ///< the server did it: code is 0
        refuse,    ///< the server answered with another code
        delai,     ///< no answer in time: a change may or may not have been done
        perdu,     ///< the connection was lost first (statut says how), or memory lacked for the answer
                   ///< (OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE): a change may or may not have been done
        nonEnvoye, ///< it never left (statut says why): it was not done
        ferme      ///< the session was closed first: a change may or may not have been done
    };

    Etat etat = Etat::nonEnvoye;          ///< which of the ends it was
    int code = 0;                         ///< the server's (OXcdvCliCode.h); meaningful for fait and refuse
    orix::OXstatut statut = orix::OXS_OK; ///< meaningful for perdu and nonEnvoye
    bool lecture = false;                 ///< of a consultation or a listing, which change nothing
    /// The record that the server sent along, as it keeps it: after a creation, a change and a consultation.
    std::optional<Vol> vol;

    /// True for fait alone.
    explicit operator bool() const noexcept { return etat == Etat::fait; }
    /// One line for users: "done", "refused by the server: no such record (code 2)", ...
    std::string texte() const;
};

/// How a listing ended, with the records that came before its end.
struct ResultatListe : Resultat
{
    std::vector<Vol> vols; ///< all of them when it ended as fait, else those that came in time
};

/// State of a session.
enum class EtatSession
{
    fermee,     ///< not opened yet, or closed
    activation, ///< a server is being asked
    active,     ///< requests may be made
    perdue,     ///< no connection, and none will be tried
    attente     ///< no connection; the next try comes by itself
};
ORIX_API const char* texteEtat(EtatSession etat) noexcept; ///< "active", ...

/// A change of a session's state, for an observer.
struct Evenement
{
    EtatSession etat = EtatSession::fermee; ///< the new one
    orix::OXstatut statut = orix::OXS_OK;   ///< perdue, attente: why
    std::string serveur;                    ///< active: the server's name
    std::string machine;                    ///< active: the server's machine
    Duree delai{0};                         ///< attente: time to the next try
    bool perte = false;                     ///< an active connection has just been lost
};

/// Settings of a session, with their defaults.
struct Options
{
    std::string service = "cdv"; ///< its name in the routing table of the configuration

    Duree delaiRequete{10000}; ///< a request not answered by then ends as delai; 0: none does. For a listing,
                               ///< from one record to the next
    /// An activation that the middleware has not answered by then has failed. Longer than its own time-out,
    /// which normally tells first.
    Duree delaiActivation{15000};

    /// Try again by itself, whenever there is no connection: at once, then after delays that double from
    /// delaiReprise to delaiRepriseMax, each longer or shorter by a random part of at most gigue (0 to 1).
    /// Every try asks one server, then the other. Without it a lost session stays perdue until activer().
    bool reprise = true;
    Duree delaiReprise{250};      ///< the first delay; see reprise
    Duree delaiRepriseMax{30000}; ///< no delay is longer, but for its random part
    double gigue = 0.25;          ///< that part, so that the clients of a dead server do not return together

    /// Told of each change of state, in order. See Session for its thread.
    std::function<void(const Evenement&)> observateur;

    /// Told of the session's figures each time that so much has passed, on the thread of the completions; one
    /// that comes late takes the place of those that it has missed. 0: never.
    Duree periodeStatistiques{0};
    std::function<void(const Statistiques&)> surStatistiques; ///< see periodeStatistiques
};

/// The records of a listing, as they come, through a bounded buffer.
///
///     for (cdv::Vol& vol : session.parcourir(exemple)) ...
///
/// While the buffer is full the callback thread waits, and the server after it: read on, or abandon. The
/// bound is lifted while another request is unanswered: its answer comes after the records, and the reader
/// may be the one who waits for it. Threads: one reader at a time, any thread except one that runs a
/// completion or an observer. Destruction abandons the listing: what still comes of it is dropped. A stream
/// may outlive its session.
class ORIX_API Flux
{
  public:
    Flux(Flux&&) noexcept;            ///< the source is at its end, and has no resultat()
    Flux& operator=(Flux&&) noexcept; ///< abandons the listing that was there
    ~Flux();

    /// The next record; waits for it. Empty after the last one, and when the listing ended otherwise:
    /// resultat() says how. Throws std::logic_error inside a completion or an observer: it would wait for its
    /// own thread.
    std::optional<Vol> suivant();
    /// How the listing ended. To be asked after suivant() gave nothing; throws std::logic_error before.
    const Resultat& resultat() const;
    /// Wants no more records: those in the buffer are freed, suivant() gives nothing, resultat() is ferme.
    /// May be called from any thread.
    void abandonner() noexcept;

    /// Single pass; the record is valid until the next step, and may be moved from.
    class ORIX_API Iterateur
    {
      public:
        /// @cond
        using iterator_category = std::input_iterator_tag;
        using value_type = Vol;
        using difference_type = std::ptrdiff_t;
        using pointer = Vol*;
        using reference = Vol&;

        Iterateur() = default;
        explicit Iterateur(Flux* flux) : _flux(flux) { ++*this; }
        Vol& operator*() const { return *_flux->_courant; }
        Vol* operator->() const { return &*_flux->_courant; }
        Iterateur& operator++()
        {
            _flux->_courant = _flux->suivant();
            if (!_flux->_courant)
                _flux = nullptr;
            return *this;
        }
        friend bool operator==(const Iterateur& a, const Iterateur& b) { return a._flux == b._flux; }
        friend bool operator!=(const Iterateur& a, const Iterateur& b) { return a._flux != b._flux; }
        /// @endcond

      private:
        Flux* _flux = nullptr;
    };
    Iterateur begin() { return Iterateur(this); } ///< takes the next record: waits as suivant() does
    Iterateur end() { return {}; }                ///< where suivant() gives nothing

    /// @cond
    class Tampon;
    explicit Flux(std::shared_ptr<Tampon> tampon) noexcept;
    /// @endcond

  private:
    std::shared_ptr<Tampon> _tampon;
    std::optional<Vol> _courant; ///< of the iterators
};

/// @cond
class MoteurSession;
/// @endcond

/// A session of the cdv service: a connection to one of its servers, and requests that give results.
///
///     cdv::Processus processus(argc, argv, "cdv.toml");
///     cdv::Session session{cdv::Options{}};
///     cdv::Vol vol;
///     vol.ecrire("identifiant", "20261121DAFR012-000");
///     const cdv::Resultat resultat = session.creer(vol).get();
///     if (!resultat)
///         std::cerr << resultat.texte() << '\n';
///
/// One at a time: a process has at most one open session, since it has one client of the service.
///
/// Requests: each ends exactly once, with a Resultat. One made while the session is not active ends at once
/// as nonEnvoye; nothing is queued, and nothing is ever sent twice. When the connection is lost every pending
/// request ends at once as perdu; when the session is closed, as ferme. A request whose call throws
/// (std::bad_alloc) was not made, and has no end. The record given is only read, inside the call.
///
/// Threads: every function may be called from any thread, from completions and observers too. Futures are
/// fulfilled at once by whoever knows: the callback thread for answers and losses, the session's own thread
/// for time-outs, the calling thread for what it finds out itself. Completions and observers run one at a
/// time, in the order of the events, without any lock, on the callback thread or on the session's own; never
/// inside the call that makes the request, except for requests on a closed session, which has no thread. They
/// should be short, since answers wait behind them, and never wait for another request: its answer would come
/// through the thread that waits. What they throw is traced, and goes no further.
///
/// End: fermer(), or the destructor, deactivates the service, ends what is pending, and returns when no
/// completion and no observer runs any more; none will run afterwards. Called from a completion or an
/// observer it cannot wait for its own end: what remains then runs right after that function returns, and a
/// session that the function opens may be told of before. It waits for an activation call in progress, which
/// takes no longer than the connection time-out of the configuration.
class ORIX_API Session : orix::INonCopiable
{
  public:
    using Fin = std::function<void(Resultat)>;           ///< receives the result of a request
    using FinListe = std::function<void(ResultatListe)>; ///< receives the result of a listing
    /// Time-out of one request; empty: Options::delaiRequete.
    using Delai = std::optional<Duree>;

    Session() noexcept; ///< closed; see ouvrir()
    /// Opens, and waits until the session is active. Throws Erreur when another session is open, and when no
    /// server accepted at the first try of each (the session is closed again then). To keep trying, use
    /// ouvrir().
    explicit Session(const Options& options);
    ~Session(); ///< fermer()

    /// Starts the activation and returns. Throws Erreur, OXS_DEJA_CONNECTE, when this session or another one
    /// of the process is open, and OXS_NOK when the process has callbacks of its own (OXcdvCliCB), which hide
    /// those of the sessions; std::system_error or std::bad_alloc when there is no thread or no memory for
    /// it: it is closed then. A fermer() that another thread calls meanwhile comes before or after it.
    void ouvrir(const Options& options = {});
    /// Waits until the session is active; false when the time has passed, or when it is perdue or closed.
    /// Throws std::logic_error inside a completion or an observer.
    bool attendreActive(Duree delai);
    /// Tries now: a perdue session starts again, one in attente does not wait any longer. Otherwise without
    /// effect.
    void activer();
    /// Ends the session; see End above. Without effect on a closed one. ouvrir() may follow.
    void fermer();

    EtatSession etat() const;           ///< now; it may have changed when it is looked at
    Evenement dernierEvenement() const; ///< the last change of state
    /// Requests may be made. One made then may still end as nonEnvoye.
    bool estActive() const { return etat() == EtatSession::active; }
    /// The number that the server gave to this process when it accepted, by which its own traces name the
    /// client; 0 unless active.
    int numeroClient() const;
    std::size_t nombreEnCours() const; ///< requests made and not ended
    /// The figures of this opening of the session, also after its end; all zero when it was never opened.
    Statistiques statistiques() const;
    /// Waits until every request has ended and what is to be told of it has been; false when the time has
    /// passed. Throws std::logic_error inside a completion or an observer.
    bool attendreFin(Duree delai);

    /// @name Requests
    /// Each in two forms: a future, and a function that is called with the result.
    /// @{
    std::future<Resultat> creer(const Vol& vol, Delai delai = {}); ///< the identifier must be new
    /// As above.
    void creer(const Vol& vol, Fin fin, Delai delai = {});
    std::future<Resultat> modifier(const Vol& vol, Delai delai = {}); ///< overwrites the fields that are set
    /// As above.
    void modifier(const Vol& vol, Fin fin, Delai delai = {});
    std::future<Resultat> supprimer(const Vol& vol, Delai delai = {}); ///< only the identifier counts
    /// As above.
    void supprimer(const Vol& vol, Fin fin, Delai delai = {});
    /// As above.
    std::future<Resultat> supprimer(std::string_view identifiant, Delai delai = {});
    /// As above.
    void supprimer(std::string_view identifiant, Fin fin, Delai delai = {});
    std::future<Resultat> consulter(const Vol& vol,
                                    Delai delai = {}); ///< likewise; the result has the record
    /// As above.
    void consulter(const Vol& vol, Fin fin, Delai delai = {});
    /// As above.
    std::future<Resultat> consulter(std::string_view identifiant, Delai delai = {});
    /// As above.
    void consulter(std::string_view identifiant, Fin fin, Delai delai = {});
    /// All the records like the example, in memory.
    std::future<ResultatListe> lister(const Vol& exemple, Delai delai = {});
    /// As above.
    void lister(const Vol& exemple, FinListe fin, Delai delai = {});
    /// The same as a stream; at most capacite records wait in memory (at least 1).
    Flux parcourir(const Vol& exemple, std::size_t capacite = 1000, Delai delai = {});
    /// @}

    /// @name Requests whose function cannot be copied
    /// For one that owns something alone, as a lambda that has moved a std::unique_ptr in. Quoi: a record, or
    /// where it is enough its identifier.
    /// @{
    template <class F, class R>
    using SiUnique = std::enable_if_t<!std::is_copy_constructible_v<F> && std::is_invocable_v<F&, R>>;

    template <class F, class = SiUnique<F, Resultat>>
    void creer(const Vol& vol, F fin, Delai delai = {})
    {
        creer(vol, _partager<Resultat>(std::move(fin)), delai);
    }
    template <class F, class = SiUnique<F, Resultat>>
    void modifier(const Vol& vol, F fin, Delai delai = {})
    {
        modifier(vol, _partager<Resultat>(std::move(fin)), delai);
    }
    template <class F, class Quoi = Vol, class = SiUnique<F, Resultat>>
    void supprimer(const Quoi& quoi, F fin, Delai delai = {})
    {
        supprimer(quoi, _partager<Resultat>(std::move(fin)), delai);
    }
    template <class F, class Quoi = Vol, class = SiUnique<F, Resultat>>
    void consulter(const Quoi& quoi, F fin, Delai delai = {})
    {
        consulter(quoi, _partager<Resultat>(std::move(fin)), delai);
    }
    template <class F, class = SiUnique<F, ResultatListe>>
    void lister(const Vol& exemple, F fin, Delai delai = {})
    {
        lister(exemple, _partager<ResultatListe>(std::move(fin)), delai);
    }
    /// @}

  private:
    template <class R, class F>
    static std::function<void(R)> _partager(F fin)
    {
        return [seule = std::make_shared<F>(std::move(fin))](R resultat) { (*seule)(std::move(resultat)); };
    }

    friend class MoteurSession; ///< puts itself there
    friend class Chargement;
    std::shared_ptr<MoteurSession> _lireMoteur() const; ///< null when never opened

    mutable std::shared_ptr<MoteurSession> _moteur; ///< through std::atomic_load and std::atomic_store
};

} // namespace cdv

#endif
