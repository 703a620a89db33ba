#ifndef ETRANGER_H
#define ETRANGER_H

#include "Essais.h"
#include "orix/INonCopiable.h"
#include "orix_baseS.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace essais {

inline constexpr int PATIENCE_ETRANGER = 20; // s
inline constexpr int PATIENCE_CONNEXION = 3; // s; a queue that is full accepts nobody, and says nothing

inline sockaddr_in adresse(const std::string& hote, int port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, hote.c_str(), &a.sin_addr);
    return a;
}

/// GIOP 1.2 messages made by hand, right or wrong.
namespace giop {

constexpr std::size_t TAILLE_ENTETE = 12;

enum Genre : unsigned char
{
    REQUEST = 0,
    REPLY = 1,
    CANCEL_REQUEST = 2,
    LOCATE_REQUEST = 3,
    CLOSE_CONNECTION = 5,
    MESSAGE_ERROR = 6,
    FRAGMENT = 7
};

/// The octets of an integer, least significant first.
inline std::string octets(std::uint32_t valeur)
{
    std::string resultat;
    for (int i = 0; i < 4; ++i)
        resultat += static_cast<char>(valeur >> 8 * i);
    return resultat;
}
/// The one that stands there in what was received; 0 past the end.
inline std::uint32_t entier(const std::string& octets, std::size_t position)
{
    std::uint32_t valeur = 0;
    if (position + sizeof valeur <= octets.size())
        std::memcpy(&valeur, octets.data() + position, sizeof valeur);
    return valeur;
}
/// The header of a message whose rest has that size.
inline std::string entete(unsigned char genre, std::uint32_t taille)
{
    constexpr char PETIT_BOUTISTE = 1;
    return std::string("GIOP\1\2", 6) + PETIT_BOUTISTE + static_cast<char>(genre) + octets(taille);
}
inline std::string message(unsigned char genre, const std::string& corps)
{
    return entete(genre, static_cast<std::uint32_t>(corps.size())) + corps;
}
/// A request that wants a response. cle: the octets of the object's key. arguments: as they are marshalled
/// from an offset that is a multiple of 8.
inline std::string requete(const std::string& cle, const std::string& operation,
                           const std::string& arguments = {})
{
    const auto aligner = [](std::string& texte, std::size_t pas) {
        texte.append((pas - texte.size() % pas) % pas, '\0');
    };
    constexpr std::uint32_t NUMERO = 7;
    constexpr std::uint32_t REPONSE_ATTENDUE = 3;
    constexpr std::uint32_t PAR_CLE = 0;
    std::string corps = octets(NUMERO) + octets(REPONSE_ATTENDUE) + octets(PAR_CLE);
    corps += octets(static_cast<std::uint32_t>(cle.size())) + cle;
    aligner(corps, 4);
    corps += octets(static_cast<std::uint32_t>(operation.size() + 1)) + operation + '\0';
    aligner(corps, 4);
    corps += octets(0); // service contexts
    if (!arguments.empty()) {
        corps.insert(0, TAILLE_ENTETE, '\0'); // alignment counts from the beginning of the message
        aligner(corps, 8);
        corps.erase(0, TAILLE_ENTETE);
    }
    return message(REQUEST, corps + arguments);
}

inline void ecrire(cdrStream& flux, const char* texte) { flux.marshalString(texte, 0); }
inline void ecrire(cdrStream& flux, orix_corba__Client_ptr client)
{
    orix_corba__Client::_marshalObjRef(client, flux);
}
template <class T>
void ecrire(cdrStream& flux, const T& valeur)
{
    valeur >>= flux;
}

/// The arguments as they travel.
template <class... Arguments>
std::string arguments(const Arguments&... valeurs)
{
    cdrMemoryStream flux;
    (..., ecrire(flux, valeurs));
    return {static_cast<const char*>(flux.bufPtr()), flux.bufSize()};
}
/// The key of an object, however its reference was had.
inline std::string cle(CORBA::Object_ptr objet)
{
    const omniIOR_var ior = objet->_PR_getobj()->_getIOR();
    IIOP::ProfileBody corps;
    IIOP::unmarshalProfile(ior->iopProfiles()[0], corps);
    return {reinterpret_cast<const char*>(corps.object_key.get_buffer()), corps.object_key.length()};
}

} // namespace giop

/// A port of that address of the loopback where connections are taken in and nothing is said, until one is
/// accepted. octets: what its system may keep of one; 0: what it likes.
class Muet : orix::INonCopiable
{
  public:
    explicit Muet(const std::string& hote, int octets = 0)
    {
        sockaddr_in ici = adresse(hote, 0);
        socklen_t taille = sizeof ici;
        if (octets != 0)
            setsockopt(_prise, SOL_SOCKET, SO_RCVBUF, &octets, sizeof octets);
        if (bind(_prise, reinterpret_cast<const sockaddr*>(&ici), sizeof ici) == 0 &&
            listen(_prise, SOMAXCONN) == 0 &&
            getsockname(_prise, reinterpret_cast<sockaddr*>(&ici), &taille) == 0)
            _port = ntohs(ici.sin_port);
    }
    ~Muet() { close(_prise); }

    int port() const { return _port; }
    int accepter() const { return accept(_prise, nullptr, nullptr); } ///< the caller's to close
    void fermer() { shutdown(_prise, SHUT_RDWR); }                    ///< who accepts gets -1

  private:
    int _prise = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int _port = 0;
};

/// A process that speaks to a port of the loopback with no ORB: one connection.
class Etranger
{
  public:
    struct Acceptee
    {
        int prise; ///< becomes its own
    };
    explicit Etranger(Acceptee connexion) : _prise(connexion.prise) {}
    /// The source is an address of the loopback; tls: null for plain text. estConnecte() tells the outcome.
    explicit Etranger(int port, const std::string& source = "127.0.0.1", SSL_CTX* tls = nullptr,
                      const std::string& destination = "127.0.0.1")
        : _prise(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const timeval patience{PATIENCE_ETRANGER, 0};
        const timeval patienceConnexion{PATIENCE_CONNEXION, 0};
        setsockopt(_prise, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(_prise, SOL_SOCKET, SO_SNDTIMEO, &patienceConnexion, sizeof patience);
        const int oui = 1;
        setsockopt(_prise, IPPROTO_TCP, TCP_NODELAY, &oui, sizeof oui);
        const sockaddr_in ici = adresse(source, 0);
        const sockaddr_in la = adresse(destination, port);
        _connecte = bind(_prise, reinterpret_cast<const sockaddr*>(&ici), sizeof ici) == 0 &&
                    connect(_prise, reinterpret_cast<const sockaddr*>(&la), sizeof la) == 0;
        setsockopt(_prise, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        if (_connecte && tls != nullptr) {
            _tls.reset(SSL_new(tls));
            SSL_set_fd(_tls.get(), _prise);
            _connecte = SSL_connect(_tls.get()) == 1;
        }
    }
    explicit Etranger(const Muet& ecoute) : _prise(ecoute.accepter()) {} ///< the next one that comes there
    ~Etranger() { close(_prise); }

    bool estConnecte() const { return _connecte; } ///< with TLS: the handshake succeeded on this side
    /// False when the peer has closed the connection.
    bool envoyer(const std::string& octets)
    {
        if (_tls != nullptr)
            return SSL_write(_tls.get(), octets.data(), static_cast<int>(octets.size())) > 0;
        return envoyerEnClair(octets);
    }
    bool envoyerEnClair(const std::string& octets) ///< under TLS, if there is any
    {
        for (std::size_t envoyes = 0; envoyes < octets.size();) {
            const ssize_t n = send(_prise, octets.data() + envoyes, octets.size() - envoyes, MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            envoyes += static_cast<std::size_t>(n);
        }
        return true;
    }
    /// No more will be sent; receiving goes on.
    void finir() { shutdown(_prise, SHUT_WR); }
    /// The connection will be reset, not closed.
    void rompreALaFin()
    {
        const linger sansAttendre{1, 0};
        setsockopt(_prise, SOL_SOCKET, SO_LINGER, &sansAttendre, sizeof sansAttendre);
    }

    bool rienNeVient() const ///< now
    {
        char octet = 0;
        return recv(_prise, &octet, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }
    /// The next message, its header included. Empty when the peer closed the connection, or said nothing for
    /// a long time.
    std::string recevoir()
    {
        const std::string entete = _lire(giop::TAILLE_ENTETE);
        return entete.size() < giop::TAILLE_ENTETE ? "" : entete + _lire(giop::entier(entete, 8));
    }
    /// All that comes until the peer closes the connection, or says nothing for a long time.
    std::string toutRecevoir()
    {
        std::string recus;
        for (std::string octet = _lire(1); !octet.empty(); octet = _lire(1))
            recus += octet;
        return recus;
    }
    /// Waits until the peer closes the connection; false when it has not after a long time.
    bool attendreFermeture()
    {
        while (!_lire(1).empty()) {
        }
        return _ferme;
    }

    /// What came of a request: "" for a normal reply, the bare name of the exception, "closed" when the peer
    /// closed the connection, else "no reply".
    std::string demander(const std::string& requete)
    {
        if (!envoyer(requete))
            return "closed";
        const std::string reponse = recevoir();
        if (reponse.empty())
            return _ferme ? "closed" : "no reply";
        constexpr std::size_t STATUT = giop::TAILLE_ENTETE + 4;
        constexpr std::size_t CONTEXTES = STATUT + 4;
        if (reponse[7] != giop::REPLY || giop::entier(reponse, CONTEXTES) != 0)
            return "message " + std::to_string(reponse[7]);
        if (giop::entier(reponse, STATUT) == 0)
            return "";
        constexpr std::size_t TEXTE =
            CONTEXTES + 4 + 4; // after its length: the body begins at a multiple of 8
        const std::string exception = reponse.substr(TEXTE, reponse.find('\0', TEXTE) - TEXTE);
        const std::size_t nom = exception.rfind('/') + 1; // "IDL:omg.org/CORBA/MARSHAL:1.0"
        return exception.substr(nom, exception.rfind(':') - nom);
    }

  private:
    /// So many octets, fewer at the end of the stream.
    std::string _lire(std::size_t taille)
    {
        std::string octets(taille, '\0');
        std::size_t lus = 0;
        while (lus < taille) {
            errno = 0;
            const ssize_t n = _tls != nullptr
                                  ? SSL_read(_tls.get(), octets.data() + lus, static_cast<int>(taille - lus))
                                  : recv(_prise, octets.data() + lus, taille - lus, 0);
            if (n <= 0) {
                _ferme = errno != EAGAIN && errno != EWOULDBLOCK;
                break;
            }
            lus += static_cast<std::size_t>(n);
        }
        octets.resize(lus);
        return octets;
    }

    int _prise = -1;
    bool _connecte = false;
    bool _ferme = false;
    std::unique_ptr<SSL, void (*)(SSL*)> _tls{nullptr, &SSL_free};
};

} // namespace essais

#endif
