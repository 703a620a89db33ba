#ifndef RELAISESSAI_H
#define RELAISESSAI_H

#include "ServeurReel.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <list>

namespace essais {

/// Stands between clients and a server of the loopback, and cuts them off from each other at an exact octet.
class Relais : orix::INonCopiable
{
  public:
    enum Sens
    {
        ALLER,
        RETOUR
    };

    explicit Relais(int serveur) : _serveur(serveur)
    {
        sockaddr_in ici = _adresse(0);
        socklen_t taille = sizeof ici;
        if (bind(_ecoute, reinterpret_cast<sockaddr*>(&ici), taille) != 0 || listen(_ecoute, 16) != 0)
            throw std::runtime_error("no relay");
        getsockname(_ecoute, reinterpret_cast<sockaddr*>(&ici), &taille);
        _port = ntohs(ici.sin_port);
        _fil = std::thread([this] { _tourner(); });
    }
    ~Relais()
    {
        _fini = true;
        eventfd_write(_reveil, 1);
        _fil.join();
        close(_ecoute);
        close(_reveil);
    }

    int port() const { return _port; }

    /// From now on, what passes is counted from zero, and all of it passes.
    void compter() { _armer(ALLER, std::string::npos, false); }
    /// The same, but the connection that has passed so many octets that way is cut, at both ends. Once.
    void couper(Sens sens, std::size_t octets) { _armer(sens, octets, false); }
    /// The same, but only the client is cut off: what it still sent waits, and the server knows nothing.
    void retenir(std::size_t octets) { _armer(ALLER, octets, true); }
    /// What waits arrives, late.
    void relacher()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _envoyer(_retenue, _retenu);
        close(std::exchange(_retenue, -1));
    }
    /// The places between the messages that have passed, by the protocol: a letter, then the size.
    std::vector<std::size_t> frontieres(Sens sens)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        std::vector<std::size_t> places{0};
        while (places.back() + 5 <= _passes[sens].size()) {
            std::uint32_t taille = 0;
            std::memcpy(&taille, _passes[sens].data() + places.back() + 1, sizeof taille);
            places.push_back(places.back() + 1 + ntohl(taille));
        }
        return places;
    }
    bool aCoupe() const { return _coupe; } ///< since it was armed

  private:
    using Paire = std::array<int, 2>; // of ALLER, the client; of RETOUR, the server

    static sockaddr_in _adresse(int port)
    {
        sockaddr_in adresse{};
        adresse.sin_family = AF_INET;
        adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        adresse.sin_port = htons(static_cast<std::uint16_t>(port));
        return adresse;
    }
    static void _envoyer(int prise, const std::string& octets)
    {
        for (std::size_t n = 0; n < octets.size();) {
            const ssize_t envoyes = send(prise, octets.data() + n, octets.size() - n, MSG_NOSIGNAL);
            if (envoyes <= 0)
                return;
            n += static_cast<std::size_t>(envoyes);
        }
    }
    void _armer(Sens sens, std::size_t octets, bool retient)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _passes = {};
        _coupure = {sens, octets, retient};
        _coupe = false;
    }

    void _tourner()
    {
        while (!_fini) {
            std::vector<pollfd> prises{{_reveil, POLLIN, 0}, {_ecoute, POLLIN, 0}};
            for (const Paire& paire : _paires)
                for (const int prise : paire)
                    prises.push_back({prise, POLLIN, 0});
            poll(prises.data(), prises.size(), -1);
            std::size_t rang = 2;
            for (auto paire = _paires.begin(); paire != _paires.end(); rang += 2) {
                const bool reste = (prises[rang].revents == 0 || _passer(*paire, ALLER)) &&
                                   (prises[rang + 1].revents == 0 || _passer(*paire, RETOUR));
                paire = reste ? std::next(paire) : _fermer(paire);
            }
            if (prises[1].revents != 0)
                _accepter();
        }
        while (!_paires.empty())
            _fermer(_paires.begin());
    }
    std::list<Paire>::iterator _fermer(std::list<Paire>::iterator paire)
    {
        for (const int prise : *paire)
            if (prise >= 0)
                close(prise);
        return _paires.erase(paire);
    }
    void _accepter()
    {
        const Paire paire{accept4(_ecoute, nullptr, nullptr, SOCK_CLOEXEC),
                          socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
        const sockaddr_in la = _adresse(_serveur);
        const int oui = 1;
        for (const int prise : paire)
            setsockopt(prise, IPPROTO_TCP, TCP_NODELAY, &oui, sizeof oui);
        _paires.push_back(paire);
        if (connect(paire[RETOUR], reinterpret_cast<const sockaddr*>(&la), sizeof la) != 0)
            _fermer(std::prev(_paires.end()));
    }
    /// False when the connection is to be closed.
    bool _passer(Paire& paire, Sens sens)
    {
        char tampon[65536];
        const ssize_t lus = recv(paire[sens], tampon, sizeof tampon, 0);
        if (lus <= 0)
            return false;
        const std::lock_guard<std::mutex> verrou(_mutex);
        std::string octets(tampon, static_cast<std::size_t>(lus));
        const std::size_t deja = _passes[sens].size();
        _passes[sens] += octets;
        const bool coupe = !_coupe && sens == _coupure.sens && _passes[sens].size() >= _coupure.octets;
        if (!coupe) {
            _envoyer(paire[1 - sens], octets);
            return true;
        }
        _coupe = true;
        _envoyer(paire[1 - sens], octets.substr(0, _coupure.octets - deja));
        if (_coupure.retient) {
            _retenu = octets.substr(_coupure.octets - deja);
            _retenue = std::exchange(paire[RETOUR], -1);
        }
        return false;
    }

    struct Coupure
    {
        Sens sens = ALLER;
        std::size_t octets = std::string::npos;
        bool retient = false;
    };

    const int _serveur;
    const int _ecoute = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int _reveil = eventfd(0, EFD_CLOEXEC);
    int _port = 0;
    std::atomic<bool> _fini{false};
    std::atomic<bool> _coupe{false};
    std::list<Paire> _paires; // of the thread
    std::mutex _mutex;        // guards what follows
    std::array<std::string, 2> _passes;
    Coupure _coupure;
    std::string _retenu;
    int _retenue = -1;
    std::thread _fil; // last: it uses everything above
};

} // namespace essais

#endif
