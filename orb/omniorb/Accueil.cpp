#include "Accueil.h"

#include "Cadrage.h"
#include "ConnexionEnveloppe.h"
#include "Ecartes.h"
#include "Pair.h"
#include "ReceptionTLS.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/callHandle.h>
#include <omniORB4/giopEndpoint.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>

namespace orix::orb {

namespace {

using Horloge = std::chrono::steady_clock;

/// What the connections of the process share. Never destroyed: the ORB's threads may outlive the static
/// objects.
struct Etat
{
    std::mutex mutexRegles;
    ReglesAccueil regles;
    Ecartes ecartes;
    std::shared_mutex mutexConnus;
    std::map<std::string, int> connus; ///< how many know each identity

    ReglesAccueil lireRegles()
    {
        const std::lock_guard<std::mutex> verrou(mutexRegles);
        return regles;
    }
    bool connait(const std::string& identite)
    {
        const std::shared_lock<std::shared_mutex> verrou(mutexConnus);
        return connus.count(identite) != 0;
    }
    /// Whether somebody known is at that address, under whatever name.
    bool connaitAdresse(const std::string& adresse)
    {
        const std::shared_lock<std::shared_mutex> verrou(mutexConnus);
        const auto place = connus.lower_bound(adresse);
        return place != connus.end() &&
               (place->first == adresse || place->first.rfind(adresse + '/', 0) == 0);
    }
};

Etat& etat()
{
    static auto* const etat = new Etat;
    return *etat;
}

class ConnexionGardee;

/// Which connection of ours stands for which of the ORB's. Outlives its access point.
class Correspondances
{
  public:
    void ajouter(omni::giopConnection* sienne, ConnexionGardee* notre)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _notres.emplace(sienne, notre);
    }
    void oter(omni::giopConnection* sienne)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _notres.erase(sienne);
    }
    ConnexionGardee* trouver(omni::giopConnection* sienne)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        const auto place = _notres.find(sienne);
        return place != _notres.end() ? place->second : nullptr;
    }

  private:
    std::mutex _mutex;
    std::map<omni::giopConnection*, ConnexionGardee*> _notres;
};

/// A connection that somebody opened to us.
class ConnexionGardee final : public ConnexionEnveloppe
{
  public:
    ConnexionGardee(omni::giopConnection& connexion, std::shared_ptr<Correspondances> correspondances)
        : ConnexionEnveloppe(connexion),
          _correspondances(std::move(correspondances)),
          _regles(etat().lireRegles()),
          _adresse(adresseDe(connexion)),
          _cadrage(
              [this] { return etat().connait(_identite()) ? _regles.tailleMax : _regles.tailleMaxInconnu; })
    {
        _correspondances->ajouter(&connexion, this);
    }

    /// As identiteAppelant() begins.
    static std::string adresseDe(omni::giopConnection& connexion)
    {
        return std::string(lieu(connexion.peeraddress(), connexion.myaddress()));
    }

    void condamner() noexcept
    {
        try {
            if (!_condamnee.exchange(true) && !etat().connaitAdresse(_adresse))
                etat().ecartes.noter(_adresse, Horloge::now());
        } catch (const std::bad_alloc&) {
            // The connection ends all the same; its address is not held off this time.
        }
    }

    int Recv(void* octets, size_t taille, const omni_time_t& limite) override
    {
        if (_condamnee)
            return -1;
        const bool auMilieu = _cadrage.estAuMilieu();
        const unsigned long messages = _cadrage.messages();
        const int lus = recevoirEnregistrement(connexion(), octets, taille,
                                               auMilieu ? _limiter(limite) : limite, _regles.delaiMessage);
        const bool accepte =
            lus > 0 ? _accepter(octets, static_cast<std::size_t>(lus)) : lus < 0 || !auMilieu;
        if (_cadrage.messages() != messages)
            _echeance = omni_time_t();
        if (accepte)
            return lus;
        condamner();
        return lus > 0 ? -1 : lus;
    }

  private:
    ~ConnexionGardee() override
    {
        _correspondances->oter(&connexion());
        rendre();
    }

    /// Without memory to follow them the octets are not accepted: on the ORB's thread nothing may be thrown.
    bool _accepter(const void* octets, std::size_t taille) noexcept
    {
        try {
            return _cadrage.suivre(octets, taille);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    std::string _identite()
    {
        const char* const certificat = peeridentity();
        return certificat != nullptr ? _adresse + '/' + certificat : _adresse;
    }

    /// Counted from when the rest is first waited for: before, the ORB may have been busy with other
    /// messages.
    omni_time_t _limiter(const omni_time_t& limite)
    {
        if (!_echeance) {
            const auto delai = static_cast<unsigned long>(_regles.delaiMessage.count());
            omni_thread::get_time(_echeance, omni_time_t(delai / 1000, delai % 1000 * 1000000));
        }
        return limite && limite < _echeance ? limite : _echeance;
    }

    const std::shared_ptr<Correspondances> _correspondances;
    const ReglesAccueil _regles;
    const std::string _adresse;
    std::atomic<bool> _condamnee{false};
    // The reading thread's.
    Cadrage _cadrage;
    omni_time_t _echeance; // of the message that is being waited for; zero: none
};

/// An access point of the ORB, whose connections are the above. Belongs to the ORB.
class PointAccesGarde final : public omni::giopEndpoint
{
  public:
    explicit PointAccesGarde(std::string adresse)
        : _adresse(std::move(adresse)), _point(omni::giopEndpoint::str2Endpoint(_adresse.c_str()))
    {}
    ~PointAccesGarde() override
    {
        if (!_ferme)
            delete _point;
    }

    bool existe() const { return _point != nullptr; }

    const char* type() const override { return _point->type(); }
    const char* address() const override { return _point->address(); }
    const omni::orbServer::EndpointList* addresses() const override { return _point->addresses(); }
    _CORBA_Boolean publish(const omni::orbServer::PublishSpecs& quoi, _CORBA_Boolean tout,
                           _CORBA_Boolean tous, omni::orbServer::EndpointList& publies) override
    {
        if (no_publish())
            _point->set_no_publish();
        return _point->publish(quoi, tout, tous, publies);
    }
    _CORBA_Boolean Bind() override { return _point->Bind(); }
    void Poke() override { _point->Poke(); }

    /// The ORB does not use it any more.
    void Shutdown() override
    {
        _ferme = true;
        _point->Shutdown(); // deletes itself after its last connection
        delete this;
    }

    omni::giopConnection* AcceptAndMonitor(omni::giopConnection::notifyReadable_t lisible,
                                           void* temoin) override
    {
        _lisible = lisible;
        _temoin = temoin;
        for (;;) {
            omni::giopConnection* const connexion =
                _point->AcceptAndMonitor(&PointAccesGarde::_signaler, this);
            if (connexion == nullptr)
                return nullptr;
            try {
                if (!_estEcartee(*connexion))
                    return new ConnexionGardee(*connexion, _correspondances);
            } catch (const std::bad_alloc&) {
                // Nobody is let in without memory.
            }
            connexion->decrRefCount(/*forced*/ 1);
        }
    }

  private:
    static bool _estEcartee(omni::giopConnection& connexion)
    {
        const std::string adresse = ConnexionGardee::adresseDe(connexion);
        return etat().ecartes.estEcartee(adresse, Horloge::now()) && !etat().connaitAdresse(adresse);
    }

    static void _signaler(void* moi, omni::giopConnection* connexion)
    {
        auto& point = *static_cast<PointAccesGarde*>(moi);
        if (ConnexionGardee* const notre = point._correspondances->trouver(connexion))
            point._lisible(point._temoin, notre);
    }

    const std::string _adresse; // the next one keeps a pointer into it
    omni::giopEndpoint* const _point;
    bool _ferme = false;
    const std::shared_ptr<Correspondances> _correspondances = std::make_shared<Correspondances>();
    omni::giopConnection::notifyReadable_t _lisible = nullptr;
    void* _temoin = nullptr;
};

/// "giop:garde:tcp:HOST:PORT".
class TransportGarde final : public omni::giopTransportImpl
{
  public:
    TransportGarde() : omni::giopTransportImpl("giop:garde") {}

    omni::giopEndpoint* toEndpoint(const char* parametre) override
    {
        auto point = std::make_unique<PointAccesGarde>(_gardee(parametre));
        return point->existe() ? point.release() : nullptr;
    }
    _CORBA_Boolean isValid(const char* parametre) override
    {
        return omni::giopEndpoint::strIsValidEndpoint(_gardee(parametre).c_str());
    }
    // Nobody connects to such an address, and none is published.
    omni::giopAddress* toAddress(const char*) override { return nullptr; }
    _CORBA_Boolean addToIOR(const char*, omni::IORPublish*) override { return false; }
    const omnivector<const char*>* getInterfaceAddress() override { return nullptr; }

  private:
    static std::string _gardee(const char* parametre) { return std::string("giop:") + parametre; }
};

} // namespace

void preparerAccueil(const ReglesAccueil& regles)
{
    static const auto* const transport = new TransportGarde; // never destroyed: the ORB points at it
    static_cast<void>(transport);
    etat().ecartes.oublier();
    const std::lock_guard<std::mutex> verrou(etat().mutexRegles);
    etat().regles = regles;
}

void condamner(omniCallHandle& appel)
{
    if (auto* const connexion = dynamic_cast<ConnexionGardee*>(appel.connection()))
        connexion->condamner();
}

void connaitre(const std::string& identite)
{
    const std::lock_guard<std::shared_mutex> verrou(etat().mutexConnus);
    ++etat().connus[identite];
}

void meconnaitre(const std::string& identite) noexcept
{
    const std::lock_guard<std::shared_mutex> verrou(etat().mutexConnus);
    const auto place = etat().connus.find(identite);
    if (place != etat().connus.end() && --place->second == 0)
        etat().connus.erase(place);
}

} // namespace orix::orb
