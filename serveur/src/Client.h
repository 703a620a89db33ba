#ifndef CLIENT_H
#define CLIENT_H

#include "Fil.h"
#include "FileBornee.h"
#include "LiaisonORB.h"
#include "Magasin.h"

#include "OXcdvServeurVersClientC.h"

#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace serveur {

/// What the server tells a client of one of its requests.
struct Notification
{
    enum class Genre
    {
        resultat, ///< of any operation but a listing
        element,  ///< one record of a listing
        finListe
    };

    Genre genre;
    Operation operation;
    int resultat;
    FichePartagee vol;
    int idOp;
};

/// An activated client: where its notifications go, and the thread that sends them, in order and without
/// awaiting responses. Everything but the thread's work may be called from any thread.
class Client : orix::INonCopiable
{
  public:
    struct Identite
    {
        int numero;
        std::string nom;
        std::string machine;
        std::string appelant; ///< who activated it, as the transport knows: nobody else may speak for it
        std::string adresse;  ///< that of appelant
    };
    /// Called once on the sender's thread when it ends of itself, with the reason, in two parts. Throws
    /// nothing.
    using SurFin = std::function<void(int numero, const char* raison, const std::string& precision)>;

    Client(Identite identite, orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
           orix_corba__Client_ptr client, std::size_t capaciteFile, SurFin surFin);
    ~Client() { abandonner(); } ///< not on the sender's thread

    const Identite& identite() const { return _identite; }
    orix_corba__Client_ptr reference() const { return _client.in(); } ///< stays this object's

    /// Queues a notification; waits for a place, at most for the limit. What a closed queue refuses is lost.
    Depot notifier(Notification notification, std::chrono::milliseconds limite)
    {
        return _file.deposer(std::move(notification), limite);
    }

    /// Sends what is queued, then tells the client that the server lets it go.
    void congedier() { _file.fermer(); }
    /// Drops what is queued and sends nothing more.
    void abandonner();
    bool aFini() const { return _fini; } ///< joining no longer waits
    void joindre() { _envoi.joindre(); }

    using Instant = std::chrono::steady_clock::time_point;
    Instant naissance() const { return _naissance; } ///< of the activation

    /// A message of the client came in. Returns whether it is the first.
    bool noterActivite() { return _activite++ == 0; }
    unsigned long activite() const { return _activite; } ///< how many came

    /// It answered a ping: behind the references that it gave there is a client. Returns whether it is the
    /// first time.
    bool confirmer() { return !_confirme.exchange(true); }
    bool estConfirme() const { return _confirme; }

  private:
    bool _envoyerSuite() noexcept;
    void _envoyer(const Notification& notification);

    const Identite _identite;
    const Instant _naissance = Instant::clock::now();
    const orix::orb::PairConnu _pair{_identite.appelant};
    const orix_corba::OXcdv_v3_0_0_ServeurVersClient_var _notifications;
    const orix_corba__Client_var _client;
    const SurFin _surFin;
    FileBornee<Notification> _file;
    std::atomic<bool> _abandon{false};
    std::atomic<unsigned long> _activite{0};
    std::atomic<bool> _confirme{false};
    std::atomic<bool> _fini{false};
    // Of the thread:
    std::vector<Notification> _lot;
    VolPrete _prete;
    Fil _envoi; // last: it uses everything above
};

} // namespace serveur

#endif
