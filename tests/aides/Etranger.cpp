#include "Etranger.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace essais {

namespace {

constexpr int PATIENCE = 20;          // s
constexpr int PATIENCE_CONNEXION = 3; // s; a queue that is full accepts nobody, and says nothing

sockaddr_in adresse(const std::string& hote, int port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, hote.c_str(), &a.sin_addr);
    return a;
}

} // namespace

namespace giop {

std::uint32_t entier(const std::string& octets, std::size_t position)
{
    std::uint32_t valeur = 0;
    if (position + sizeof valeur <= octets.size())
        std::memcpy(&valeur, octets.data() + position, sizeof valeur);
    return valeur;
}

std::string octets(std::uint32_t valeur)
{
    std::string resultat;
    for (int i = 0; i < 4; ++i)
        resultat += static_cast<char>(valeur >> 8 * i);
    return resultat;
}

std::string entete(unsigned char genre, std::uint32_t taille)
{
    constexpr char PETIT_BOUTISTE = 1;
    return std::string("GIOP\1\2", 6) + PETIT_BOUTISTE + static_cast<char>(genre) + octets(taille);
}

std::string requete(const std::string& cle, const std::string& operation, const std::string& arguments)
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

std::string cle(CORBA::Object_ptr objet)
{
    const omniIOR_var ior = objet->_PR_getobj()->_getIOR();
    IIOP::ProfileBody corps;
    IIOP::unmarshalProfile(ior->iopProfiles()[0], corps);
    return {reinterpret_cast<const char*>(corps.object_key.get_buffer()), corps.object_key.length()};
}

} // namespace giop

Etranger::Etranger(int port, const std::string& source, SSL_CTX* tls, const std::string& destination)
    : _prise(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const timeval patience{PATIENCE, 0};
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

Etranger::~Etranger() { close(_prise); }

bool Etranger::envoyer(const std::string& octets)
{
    if (_tls != nullptr)
        return SSL_write(_tls.get(), octets.data(), static_cast<int>(octets.size())) > 0;
    for (std::size_t envoyes = 0; envoyes < octets.size();) {
        const ssize_t n = send(_prise, octets.data() + envoyes, octets.size() - envoyes, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        envoyes += static_cast<std::size_t>(n);
    }
    return true;
}

void Etranger::finir() { shutdown(_prise, SHUT_WR); }

void Etranger::rompreALaFin()
{
    const linger sansAttendre{1, 0};
    setsockopt(_prise, SOL_SOCKET, SO_LINGER, &sansAttendre, sizeof sansAttendre);
}

std::string Etranger::_lire(std::size_t taille)
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

std::string Etranger::recevoir()
{
    const std::string entete = _lire(giop::TAILLE_ENTETE);
    return entete.size() < giop::TAILLE_ENTETE ? "" : entete + _lire(giop::entier(entete, 8));
}

bool Etranger::attendreFermeture()
{
    while (!_lire(1).empty()) {
    }
    return _ferme;
}

std::string Etranger::demander(const std::string& requete)
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
    constexpr std::size_t TEXTE = CONTEXTES + 4 + 4; // after its length: the body begins at a multiple of 8
    return reponse.substr(TEXTE, reponse.find('\0', TEXTE) - TEXTE);
}

Muet::Muet(const std::string& hote) : _prise(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in ici = adresse(hote, 0);
    socklen_t taille = sizeof ici;
    if (bind(_prise, reinterpret_cast<const sockaddr*>(&ici), sizeof ici) == 0 &&
        listen(_prise, SOMAXCONN) == 0 &&
        getsockname(_prise, reinterpret_cast<sockaddr*>(&ici), &taille) == 0)
        _port = ntohs(ici.sin_port);
}

Muet::~Muet() { close(_prise); }

std::unique_ptr<Etranger> Muet::accepter()
{
    std::unique_ptr<Etranger> client(new Etranger);
    client->_prise = accept4(_prise, nullptr, nullptr, SOCK_CLOEXEC);
    return client->_prise >= 0 ? std::move(client) : nullptr;
}

void Muet::fermer() { shutdown(_prise, SHUT_RDWR); }

} // namespace essais
