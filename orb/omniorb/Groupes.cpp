#include "Groupes.h"

#include "ConnexionPatiente.h"
#include "LiaisonORB.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/IOP_C.h>
#include <omniORB4/giopEndpoint.h>
#include <omniORB4/internal/giopStream.h> // before the next two, which use it without including it

#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/giopStrand.h>

#include <omniORB4/internal/GIOP_C.h>
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/tcpConnection.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace orix::orb {

namespace {

constexpr std::size_t CAPACITE = 32768; ///< octets that may wait for one peer
constexpr std::chrono::milliseconds DELAI_FIN{
    100}; ///< for a peer to take what waits, at the end of the connection

std::atomic<long long> s_delai{5000}; // ms, for a peer to take what waits

omni_time_t dans(std::chrono::milliseconds delai)
{
    unsigned long s = 0;
    unsigned long ns = 0;
    omni_thread::get_time(&s, &ns, static_cast<unsigned long>(delai.count() / 1000),
                          static_cast<unsigned long>(delai.count() % 1000) * 1000000);
    return {s, ns};
}

/// Whether that is a message as a whole, and one that wants no response.
bool peutAttendre(const void* octets, std::size_t taille)
{
    constexpr std::size_t ENTETE = 12;
    constexpr std::size_t REPONSE = 16; // place of the response flags
    const auto* const message = static_cast<const unsigned char*>(octets);
    if (taille <= REPONSE || taille > CAPACITE || std::memcmp(message, "GIOP\1\2", 6) != 0)
        return false;
    const unsigned char ordre = omni::myByteOrder; // and no fragment follows
    constexpr unsigned char REQUETE = 0;
    std::uint32_t suite = 0;
    std::memcpy(&suite, message + 8, sizeof suite);
    return message[6] == ordre && message[7] == REQUETE && message[REPONSE] == 0 && suite == taille - ENTETE;
}

/// What waits to leave one connection. Any thread.
class Attente
{
  public:
    explicit Attente(ConnexionPatiente& connexion) : _connexion(connexion) {}

    /// Sends the octets behind what waits, or makes them wait too; the result as giopConnection::Send() has
    /// it.
    int envoyer(void* octets, std::size_t taille, const omni_time_t& limite, bool attendre)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (attendre && !_tampon)
            _tampon.reset(new (std::nothrow) char[CAPACITE]);
        attendre = attendre && _tampon != nullptr;
        if (!attendre || _taille + taille > CAPACITE)
            if (const int vide = _vider(limite); vide <= 0)
                return vide;
        if (!attendre)
            return _connexion.envoyer(octets, taille, limite);
        std::memcpy(_tampon.get() + _taille, octets, taille);
        _taille += taille;
        return static_cast<int>(taille);
    }

    /// What waits leaves; else the connection is lost, which is the result.
    bool vider(std::chrono::milliseconds delai)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_perdue || _vider(dans(delai)) > 0)
            return !_perdue;
        _perdre();
        return false;
    }

    /// The connection ends: what the peer still takes goes, unless another thread is sending.
    void devancer()
    {
        const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
        if (verrou)
            _vider(dans(DELAI_FIN));
    }
    /// There is no connection any more.
    void finir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _perdue = true;
    }

  private:
    /// 1 when nothing waits any more, else as giopConnection::Send(): 0 when time is up, -1 when the peer is
    /// lost.
    int _vider(const omni_time_t& limite)
    {
        if (_perdue)
            return -1;
        std::size_t partis = 0;
        int resultat = 1;
        while (partis < _taille && resultat > 0) {
            resultat = _connexion.envoyer(_tampon.get() + partis, _taille - partis, limite);
            if (resultat > 0)
                partis += static_cast<std::size_t>(resultat);
        }
        _taille -= partis;
        if (_taille != 0)
            std::memmove(_tampon.get(), _tampon.get() + partis, _taille);
        _perdue = resultat < 0;
        return resultat;
    }
    void _perdre()
    {
        _perdue = true;
        _connexion.fermer(); // who waits on it, and who comes next, is told
    }

    std::mutex _mutex; // guards what follows
    ConnexionPatiente& _connexion;
    std::unique_ptr<char[]> _tampon; // null until something waits
    std::size_t _taille = 0;         // of what waits, in _tampon
    bool _perdue = false;
};

/// What the calling thread makes wait.
struct Groupe
{
    unsigned ouverts = 0;
    std::vector<std::shared_ptr<Attente>> attentes;
};
thread_local Groupe t_groupe;

/// A connection whose messages may wait for each other.
class ConnexionGroupee final : public ConnexionPatiente
{
  public:
    explicit ConnexionGroupee(omni::giopConnection& connexion)
        : ConnexionPatiente(connexion), _attente(std::make_shared<Attente>(*this))
    {}

    int Send(void* octets, size_t taille, const omni_time_t& limite) override
    {
        const bool attendre = t_groupe.ouverts > 0 && peutAttendre(octets, taille) && _inscrire();
        return _attente->envoyer(octets, taille, limite, attendre);
    }
    void Shutdown() override
    {
        _attente->devancer();
        ConnexionPatiente::Shutdown();
    }

  private:
    ~ConnexionGroupee() override
    {
        _attente->devancer();
        _attente->finir();
    }
    /// False when there is no memory for it.
    bool _inscrire() noexcept
    {
        try {
            std::vector<std::shared_ptr<Attente>>& attentes = t_groupe.attentes;
            if (std::find(attentes.begin(), attentes.end(), _attente) == attentes.end())
                attentes.push_back(_attente);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    const std::shared_ptr<Attente> _attente; // shared with the threads that make messages wait
};

/// Takes the place of a connection that was just opened, before anything is sent on it.
CORBA::Boolean envelopper(omni::omniInterceptors::clientOpenConnection_T::info_T& info)
{
    omni::giopConnection*& connexion = info.giop_c.strand().connection;
    try {
        if (!info.giop_c.strand().isBiDir() && dynamic_cast<omni::tcpConnection*>(connexion) != nullptr)
            connexion = new ConnexionGroupee(*connexion);
    } catch (const std::bad_alloc&) {
        // It does as it is.
    }
    return true;
}

} // namespace

void ouvrirGroupe() noexcept { ++t_groupe.ouverts; }

void fermerGroupe() noexcept
{
    if (--t_groupe.ouverts == 0)
        envoyerGroupe();
}

bool envoyerGroupe() noexcept
{
    bool envoyes = true;
    for (const std::shared_ptr<Attente>& attente : t_groupe.attentes)
        envoyes = attente->vider(std::chrono::milliseconds(s_delai)) && envoyes;
    t_groupe.attentes.clear();
    return envoyes;
}

void permettreGroupes(std::chrono::milliseconds delai)
{
    s_delai = delai.count();
    omniORB::getInterceptors()->clientOpenConnection.add(&envelopper);
}

} // namespace orix::orb
