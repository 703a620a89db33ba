#include "EnvoisGroupes.h"

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
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace orix::orb {

namespace {

using Horloge = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// Measured: with these, requests that await an answer each, up to 32 at a time, never wait here.
constexpr microseconds ECART_MAX{10};    ///< between two messages of a burst
constexpr int ENVOIS_AVANT_RAFALE = 8;   ///< close messages in a row that make a burst
constexpr microseconds ATTENTE_MAX{50};  ///< of a message, give or take a turn of the scheduler
constexpr std::size_t CAPACITE = 32768;  ///< bytes that may wait
constexpr milliseconds DELAI_POUSSEE{1}; ///< for a peer to take what waits, when nobody asks for it
constexpr milliseconds REPIT{5};         ///< of a connection that takes nothing more for now
constexpr milliseconds DELAI_FERMETURE{100};

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

    enum class Suite
    {
        Faite,
        APousser ///< accepted; somebody must push it
    };

    /// Sends or keeps the bytes; the result as giopConnection::Send() has it.
    int envoyer(void* octets, std::size_t taille, const omni_time_t& limite, Suite& suite)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_perdue)
            return -1;
        const bool garder = _estRafale() && taille <= CAPACITE && _prevoirTampon();
        if (!garder || _taille + taille > CAPACITE) {
            const int resultat = _vider(limite);
            if (resultat <= 0)
                return resultat;
        }
        if (!garder)
            return _connexion.Send(octets, taille, limite);
        std::memcpy(_tampon.get() + _taille, octets, taille);
        _taille += taille;
        if (!_confiee)
            suite = Suite::APousser;
        _confiee = true;
        return static_cast<int>(taille);
    }

    /// Sends all that waits, or what the peer takes in that time.
    void vider(const omni_time_t& limite)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _vider(limite);
    }

    /// The same, when nobody could be found to push it: the next message that waits is entrusted anew.
    void reprendre(const omni_time_t& limite)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _confiee = false;
        _vider(limite);
    }

    /// The same as vider(), but never behind another thread that is sending: that one will send it all.
    void viderSansAttendre(milliseconds delai)
    {
        const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
        if (verrou)
            _vider(dans(delai));
    }

    /// The same, for who pushes: when to come again, and zero when nothing had come since the last time: it
    /// is no longer entrusted.
    microseconds pousser()
    {
        const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
        if (!verrou)
            return REPIT; // another thread is sending: what waits leaves with it
        if (_taille == 0 || _perdue) {
            _confiee = false;
            return microseconds(0);
        }
        return _vider(dans(DELAI_POUSSEE)) == 0 ? REPIT : ATTENTE_MAX;
    }

    /// The connection ends: what waits is lost.
    void abandonner()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _perdue = true;
        _taille = 0;
    }

  private:
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
    int _vider(const omni_time_t& limite)
    {
        if (_perdue)
            return -1;
        std::size_t partis = 0;
        int resultat = 1;
        while (partis < _taille && resultat > 0) {
            resultat = _connexion.Send(_tampon.get() + partis, _taille - partis, limite);
            if (resultat > 0)
                partis += static_cast<std::size_t>(resultat);
        }
        _taille -= partis;
        if (_taille != 0)
            std::memmove(_tampon.get(), _tampon.get() + partis, _taille);
        _perdue = resultat < 0;
        return resultat;
    }

    std::mutex _mutex; // guards all that follows
    omni::giopConnection& _connexion;
    std::unique_ptr<char[]> _tampon; // null until the first burst
    std::size_t _taille = 0;         // of what waits, in _tampon
    Horloge::time_point _dernier;    // message
    int _proches = 0;                // messages in a row, each close to the one before
    bool _confiee = false;           // somebody pushes it
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
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (!_fil.joinable())
                _fil = std::thread([this] { _executer(); });
            _nouvelles.push_back(attente);
            _arrivee.notify_one();
            return true;
        } catch (const std::bad_alloc&) {
        } catch (const std::system_error&) {
        }
        return false;
    }

    void arreter()
    {
        std::thread fil;
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            fil.swap(_fil);
            _arret = fil.joinable();
            _arrivee.notify_one();
        }
        if (fil.joinable())
            fil.join();
    }

  private:
    struct Confiee
    {
        std::shared_ptr<Attente> attente;
        Horloge::time_point echeance;
    };

    void _executer()
    {
        prctl(PR_SET_TIMERSLACK, 1UL); // ns: the waits are short
        std::vector<Confiee> confiees;
        std::unique_lock<std::mutex> verrou(_mutex);
        while (!_attendre(verrou, confiees)) {
            const Horloge::time_point maintenant = Horloge::now();
            for (std::shared_ptr<Attente>& nouvelle : _nouvelles)
                confiees.push_back({std::move(nouvelle), maintenant + ATTENTE_MAX});
            _nouvelles.clear();
            verrou.unlock();
            _pousser(confiees, maintenant);
            verrou.lock();
        }
        _nouvelles.clear();
        _arret = false;
    }

    /// Until there is something to do; true: to stop.
    bool _attendre(std::unique_lock<std::mutex>& verrou, const std::vector<Confiee>& confiees)
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

    static void _pousser(std::vector<Confiee>& confiees, Horloge::time_point maintenant)
    {
        for (std::size_t i = 0; i < confiees.size();) {
            Confiee& confiee = confiees[i];
            if (confiee.echeance <= maintenant) {
                const microseconds delai = confiee.attente->pousser();
                if (delai == microseconds(0)) {
                    std::swap(confiee, confiees.back());
                    confiees.pop_back();
                    continue;
                }
                confiee.echeance = maintenant + delai;
            }
            ++i;
        }
    }

    std::mutex _mutex; // guards what follows
    std::condition_variable _arrivee;
    std::vector<std::shared_ptr<Attente>> _nouvelles;
    std::thread _fil; // none before the first burst
    bool _arret = false;
};

/// A connection whose bursts are gathered. Belongs to the ORB, and owns the one that it stands for.
class ConnexionGroupee final : public omni::giopConnection
{
  public:
    explicit ConnexionGroupee(omni::giopConnection& connexion)
        : _connexion(connexion), _attente(std::make_shared<Attente>(connexion))
    {
        max_workers(connexion.max_workers());
    }

    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        auto suite = Attente::Suite::Faite;
        const int envoyes = _attente->envoyer(octets, taille, limite, suite);
        if (suite == Attente::Suite::APousser && !Pousseur::instance().confier(_attente))
            _attente->reprendre(limite);
        return envoyes;
    }
    int Recv(void* octets, size_t taille, const omni_time_t& limite) override
    {
        _attente->vider(limite); // the question before its answer
        return _connexion.Recv(octets, taille, limite);
    }
    void Shutdown() override
    {
        _attente->viderSansAttendre(DELAI_FERMETURE);
        _connexion.Shutdown();
    }

    const char* myaddress() override { return _connexion.myaddress(); }
    const char* peeraddress() override { return _connexion.peeraddress(); }
    const char* peeridentity() override { return _connexion.peeridentity(); }
    void* peerdetails() override { return _connexion.peerdetails(); }
    _CORBA_Boolean gatekeeperCheckSpecific(omni::giopStrand* brin) override
    {
        return _connexion.gatekeeperCheckSpecific(brin);
    }
    void setSelectable(int maintenant, _CORBA_Boolean donnees) override
    {
        _connexion.setSelectable(maintenant, donnees);
    }
    void clearSelectable() override { _connexion.clearSelectable(); }
    _CORBA_Boolean isSelectable() override { return _connexion.isSelectable(); }
    _CORBA_Boolean Peek() override { return _connexion.Peek(); }

  private:
    ~ConnexionGroupee() override
    {
        _attente->abandonner();
        _connexion.decrRefCount(/*forced*/ 1);
    }

    omni::giopConnection& _connexion;
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
        if (simple && dynamic_cast<ConnexionGroupee*>(connexion) == nullptr)
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
