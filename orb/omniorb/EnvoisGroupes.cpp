#include "EnvoisGroupes.h"

#include "ConnexionPatiente.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/IOP_C.h>
#include <omniORB4/giopEndpoint.h>
#include <omniORB4/internal/giopStream.h> // before the next two, which use it without including it

#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/giopStrand.h>

#include <omniORB4/internal/GIOP_C.h>
#include <omniORB4/omniInterceptors.h>

#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <system_error>
#include <thread>

namespace orix::orb {

namespace {

using Horloge = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// Measured: were a burst fewer messages, 2 to 8 requests in flight would wait for each other, at half the
// rate.
constexpr microseconds ECART_MAX{10};    ///< between two messages of a burst
constexpr int ENVOIS_AVANT_RAFALE = 8;   ///< close messages in a row that make a burst
constexpr microseconds ATTENTE_MAX{150}; ///< of a message, give or take a turn of the scheduler
constexpr std::size_t CAPACITE = 32768;  ///< bytes that may wait
constexpr milliseconds DELAI_POUSSEE{1}; ///< for a peer to take what waits, when nobody asks for it
constexpr milliseconds DELAI_FIN{100};   ///< the same at the end of the connection
constexpr milliseconds REPIT_OCCUPE{1};  ///< of a connection on which another thread is sending
constexpr milliseconds REPIT_PLEIN{50};  ///< at most, of a connection whose peer takes nothing

omni_time_t dans(milliseconds delai)
{
    unsigned long s = 0;
    unsigned long ns = 0;
    omni_thread::get_time(&s, &ns, 0, static_cast<unsigned long>(delai.count()) * 1000000);
    return {s, ns};
}

/// What waits to leave one connection. Any thread.
class Attente
{
  public:
    explicit Attente(omni::giopConnection& connexion) : _connexion(connexion) {}

    /// Sends or keeps the bytes; the result as giopConnection::Send() has it. True in aConfier: they are the
    /// first of those that wait.
    int envoyer(void* octets, std::size_t taille, const omni_time_t& limite, bool& aConfier)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_perdue)
            return -1;
        const bool garder = _estRafale() && taille <= CAPACITE && _prevoirTampon();
        if (!garder || _taille + taille > CAPACITE) {
            const int resultat = _vider(limite, &envoyerPatiemment);
            if (resultat <= 0)
                return resultat;
        }
        if (!garder)
            return envoyerPatiemment(_connexion, octets, taille, limite);
        std::memcpy(_tampon.get() + _taille, octets, taille);
        _taille += taille;
        aConfier = !_confiee;
        _confiee = true;
        return static_cast<int>(taille);
    }

    /// Nobody could be found to push what waits: it leaves now, or the connection is lost.
    void reprendre(const omni_time_t& limite)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _confiee = false;
        _perdue = _vider(limite) <= 0;
    }

    enum class Poussee
    {
        inutile, ///< nothing had come since the last time: no longer entrusted
        faite,
        occupee, ///< another thread is at it
        pleine   ///< the peer takes nothing
    };

    /// For who was entrusted with it: sends what the peer takes at once. Never waits behind another thread.
    Poussee pousser()
    {
        const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
        if (!verrou)
            return Poussee::occupee;
        if (_taille == 0 || _perdue) {
            _confiee = false;
            return Poussee::inutile;
        }
        return _vider(dans(DELAI_POUSSEE)) != 0 ? Poussee::faite : Poussee::pleine;
    }

    /// What waits goes before what the caller does next, unless another thread is sending.
    void devancer()
    {
        const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
        if (verrou)
            _vider(dans(DELAI_POUSSEE));
    }

    /// The connection ends: what the peer still takes goes, the rest is lost.
    void finir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _vider(dans(_pleine ? DELAI_POUSSEE : DELAI_FIN));
        _perdue = true;
    }

  private:
    using Envoi = int (*)(omni::giopConnection&, void*, std::size_t, const omni_time_t&);

    static int _envoyerAussitot(omni::giopConnection& connexion, void* octets, std::size_t taille,
                                const omni_time_t& limite)
    {
        return connexion.Send(octets, taille, limite);
    }

    bool _estRafale()
    {
        const Horloge::time_point maintenant = Horloge::now();
        _proches = maintenant - _dernier < ECART_MAX ? _proches + 1 : 0;
        _dernier = maintenant;
        return _taille != 0 || _proches >= ENVOIS_AVANT_RAFALE;
    }

    bool _prevoirTampon()
    {
        if (!_tampon)
            _tampon.reset(new (std::nothrow) char[CAPACITE]);
        return _tampon != nullptr;
    }

    /// 1 when nothing waits any more, else as giopConnection::Send(): 0 when time is up, -1 when the peer is
    /// lost.
    int _vider(const omni_time_t& limite, Envoi envoyer = &_envoyerAussitot)
    {
        if (_perdue)
            return -1;
        std::size_t partis = 0;
        int resultat = 1;
        while (partis < _taille && resultat > 0) {
            resultat = envoyer(_connexion, _tampon.get() + partis, _taille - partis, limite);
            if (resultat > 0)
                partis += static_cast<std::size_t>(resultat);
        }
        _taille -= partis;
        if (_taille != 0)
            std::memmove(_tampon.get(), _tampon.get() + partis, _taille);
        _perdue = resultat < 0;
        _pleine = resultat == 0;
        return resultat;
    }

    std::mutex _mutex; // guards all that follows
    omni::giopConnection& _connexion;
    std::unique_ptr<char[]> _tampon; // null until the first burst
    std::size_t _taille = 0;         // of what waits, in _tampon
    Horloge::time_point _dernier;    // message
    int _proches = 0;                // messages in a row, each close to the one before
    bool _confiee = false;           // somebody pushes it
    bool _pleine = false;            // the peer did not take all, the last time
    bool _perdue = false;
};

/// The thread that sends what waits when nothing follows. It runs while something waits, sleeps otherwise.
class Pousseur
{
  public:
    static Pousseur& instance()
    {
        static auto* const pousseur = new Pousseur; // never destroyed: its thread may outlive static objects
        return *pousseur;
    }

    /// False when there is no memory or thread for it.
    bool confier(const std::shared_ptr<Attente>& attente) noexcept
    {
        try {
            std::list<Confiee> nouvelle;
            nouvelle.push_back({attente, ATTENTE_MAX, Horloge::now() + ATTENTE_MAX});
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (!_fil.joinable())
                _fil = std::thread([this] { _executer(); });
            _nouvelles.splice(_nouvelles.end(), nouvelle);
            _arrivee.notify_one();
            return true;
        } catch (const std::bad_alloc&) {
        } catch (const std::system_error&) {
        }
        return false;
    }

    void arreter()
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (!_fil.joinable())
                return;
            _arret = true;
            _arrivee.notify_one();
        }
        _fil.join();
        const std::lock_guard<std::mutex> verrou(_mutex);
        _nouvelles.clear();
        _arret = false;
    }

  private:
    struct Confiee
    {
        std::shared_ptr<Attente> attente;
        microseconds repit; ///< before the next push
        Horloge::time_point echeance;
    };

    void _executer()
    {
        prctl(PR_SET_TIMERSLACK, 1UL); // ns: the waits are short
        std::list<Confiee> confiees;
        std::unique_lock<std::mutex> verrou(_mutex);
        while (!_attendre(verrou, confiees)) {
            confiees.splice(confiees.end(), _nouvelles);
            verrou.unlock();
            confiees.remove_if(
                [maintenant = Horloge::now()](Confiee& confiee) { return !_pousser(confiee, maintenant); });
            verrou.lock();
        }
    }

    /// Until there is something to do; true: to stop.
    bool _attendre(std::unique_lock<std::mutex>& verrou, const std::list<Confiee>& confiees)
    {
        const auto nouveau = [this] { return _arret || !_nouvelles.empty(); };
        if (confiees.empty()) {
            _arrivee.wait(verrou, nouveau);
        } else {
            const auto avant = [](const Confiee& a, const Confiee& b) { return a.echeance < b.echeance; };
            const auto premiere = std::min_element(confiees.begin(), confiees.end(), avant);
            _arrivee.wait_until(verrou, premiere->echeance, nouveau);
        }
        return _arret;
    }

    /// If it is time. False when it need not be pushed any more.
    static bool _pousser(Confiee& confiee, Horloge::time_point maintenant)
    {
        if (confiee.echeance > maintenant)
            return true;
        switch (confiee.attente->pousser()) {
        case Attente::Poussee::inutile:
            return false;
        case Attente::Poussee::faite:
            confiee.repit = ATTENTE_MAX;
            break;
        case Attente::Poussee::occupee:
            confiee.repit = REPIT_OCCUPE; // longer than it waits: a burst gains by being left alone
            break;
        case Attente::Poussee::pleine:
            confiee.repit = std::min<microseconds>(2 * confiee.repit, REPIT_PLEIN);
            break;
        }
        confiee.echeance = maintenant + confiee.repit;
        return true;
    }

    std::mutex _mutex; // guards what follows
    std::condition_variable _arrivee;
    std::list<Confiee> _nouvelles;
    std::thread _fil; // none before the first burst; joined without the lock, by arreter() alone
    bool _arret = false;
};

/// A connection whose bursts are gathered.
class ConnexionGroupee final : public ConnexionEnveloppe
{
  public:
    explicit ConnexionGroupee(omni::giopConnection& connexion)
        : ConnexionEnveloppe(connexion), _attente(std::make_shared<Attente>(connexion))
    {
        max_workers(connexion.max_workers());
    }

    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        bool aConfier = false;
        const int envoyes = _attente->envoyer(octets, taille, limite, aConfier);
        if (aConfier && !Pousseur::instance().confier(_attente))
            _attente->reprendre(limite);
        return envoyes;
    }
    int Recv(void* octets, size_t taille, const omni_time_t& limite) override
    {
        _attente->devancer(); // the question before its answer
        return ConnexionEnveloppe::Recv(octets, taille, limite);
    }
    void Shutdown() override
    {
        _attente->devancer();
        ConnexionEnveloppe::Shutdown();
    }

  private:
    ~ConnexionGroupee() override
    {
        _attente->finir();
        rendre();
    }

    const std::shared_ptr<Attente> _attente; // shared with who pushes
};

/// Takes the place of a connection that was just opened, before anything is sent on it.
CORBA::Boolean envelopper(omni::omniInterceptors::clientOpenConnection_T::info_T& info)
{
    constexpr std::string_view TCP = "giop:tcp:";
    omni::giopConnection*& connexion = info.giop_c.strand().connection;
    const char* const adresse = connexion->peeraddress();
    const bool simple = adresse != nullptr && TCP.compare(0, TCP.npos, adresse, TCP.size()) == 0;
    try {
        if (simple && !info.giop_c.strand().isBiDir() &&
            dynamic_cast<ConnexionGroupee*>(connexion) == nullptr)
            connexion = new ConnexionGroupee(*connexion);
    } catch (const std::bad_alloc&) {
        // It does as it is.
    }
    return true;
}

} // namespace

void grouperEnvois() { omniORB::getInterceptors()->clientOpenConnection.add(&envelopper); }

void arreterEnvoisGroupes() { Pousseur::instance().arreter(); }

} // namespace orix::orb
