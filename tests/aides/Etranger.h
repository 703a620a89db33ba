#ifndef ETRANGER_H
#define ETRANGER_H

#include "orix_baseS.h"

#include <openssl/ssl.h>

#include <cstdint>
#include <memory>
#include <string>

namespace essais {

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
std::string octets(std::uint32_t valeur);
/// The one that stands there in what was received; 0 past the end.
std::uint32_t entier(const std::string& octets, std::size_t position);
/// The header of a message whose rest has that size.
std::string entete(unsigned char genre, std::uint32_t taille);
inline std::string message(unsigned char genre, const std::string& corps)
{
    return entete(genre, static_cast<std::uint32_t>(corps.size())) + corps;
}
/// A request that wants a response. cle: the octets of the object's key. arguments: as they are marshalled
/// from an offset that is a multiple of 8.
std::string requete(const std::string& cle, const std::string& operation, const std::string& arguments = {});

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
std::string cle(CORBA::Object_ptr objet);

} // namespace giop

/// A process that speaks to a port of the loopback with no ORB: one connection.
class Etranger
{
  public:
    /// The source is an address of the loopback; tls: null for plain text. estConnecte() tells the outcome.
    explicit Etranger(int port, const std::string& source = "127.0.0.1", SSL_CTX* tls = nullptr,
                      const std::string& destination = "127.0.0.1");
    ~Etranger();
    Etranger(const Etranger&) = delete;
    Etranger& operator=(const Etranger&) = delete;

    bool estConnecte() const { return _connecte; } ///< with TLS: the handshake succeeded on this side
    /// False when the peer has closed the connection.
    bool envoyer(const std::string& octets);
    /// No more will be sent; receiving goes on.
    void finir();
    /// The connection will be reset, not closed.
    void rompreALaFin();

    /// The next message, its header included. Empty when the peer closed the connection, or said nothing for
    /// a long time.
    std::string recevoir();
    /// Waits until the peer closes the connection; false when it has not after a long time.
    bool attendreFermeture();

    /// What came of a request: "" for a normal reply, the name of the exception, "closed" when the peer
    /// closed the connection, else "no reply".
    std::string demander(const std::string& requete);

  private:
    friend class Muet;
    Etranger() = default;

    /// So many octets, fewer at the end of the stream.
    std::string _lire(std::size_t taille);

    int _prise = -1;
    bool _connecte = false;
    bool _ferme = false;
    std::unique_ptr<SSL, void (*)(SSL*)> _tls{nullptr, &SSL_free};
};

/// A port of that address of the loopback where connections are taken in, and nothing is said of itself.
class Muet
{
  public:
    explicit Muet(const std::string& hote);
    ~Muet();
    Muet(const Muet&) = delete;
    Muet& operator=(const Muet&) = delete;

    int port() const { return _port; }
    std::unique_ptr<Etranger> accepter(); ///< the next connection; null once closed
    void fermer();

  private:
    int _prise = -1;
    int _port = 0;
};

} // namespace essais

#endif
