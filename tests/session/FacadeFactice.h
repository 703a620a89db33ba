#ifndef FACADEFACTICE_H
#define FACADEFACTICE_H

#include "FileAttente.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "VolNomme.h"

namespace essais {

/// The callback thread: runs what is posted, in order.
class FilCallbacks
{
  public:
    ~FilCallbacks() ///< after all that was posted has run
    {
        poster({});
        _fil.join();
    }
    void poster(std::function<void()> appel) { _appels.poser(std::move(appel)); }
    /// Waits until everything posted so far has run.
    void vider()
    {
        const auto passe = std::make_shared<std::promise<void>>();
        poster([passe] { passe->set_value(); });
        passe->get_future().wait();
    }
    /// Runs a callback. To be set before there is any.
    std::function<void(const std::function<void()>&)> executer = [](const auto& appel) { appel(); };

  private:
    FileAttente<std::function<void()>> _appels;
    std::thread _fil{[this] {
        while (const auto appel = _appels.prendre({}, std::chrono::hours(1)))
            executer(appel);
    }};
};

/// What the client library does, as the test wants it. OXcdvCliItf is defined on it.
class Facade
{
  public:
    Facade()
    {
        _facade = this;
        fil.executer = [this](const auto& appel) {
            surPoint();
            appel();
            surPoint();
        };
    }
    ~Facade()
    {
        fil.vider(); // what was posted still calls
        _facade = nullptr;
    }
    static Facade& instance() { return *_facade; }

    struct Requete
    {
        std::string operation; ///< "cree", "modifie", ...
        std::string identifiant;
        int idOp;
    };

    /// @name What the functions do
    /// By default: what a client does that has a connection, is being given one, or has none. To be set while
    /// no session is open.
    /// @{
    std::function<orix::OXstatut()> surActive = [this] {
        if (!_passer(Etat::inactif, Etat::enCours))
            return estActif() ? orix::OXS_SERVICE_DEJA_ACTIVE : orix::OXS_ACTIVATION_EN_COURS;
        if (accepte)
            accepter();
        return orix::OXS_OK;
    };
    /// Runs inside the request call, which has its number already. Without any lock.
    std::function<orix::OXstatut(const Requete&)> surRequete = [](auto&) { return orix::OXS_OK; };
    /// At the beginning and at the end of each call and of each callback.
    std::function<void()> surPoint = [] {};
    std::atomic<bool> accepte{true}; ///< an activation is answered at once, instead of by what follows
    /// @}

    /// @name The server answers the activation that is under way, if there is one
    /// @{
    void accepter()
    {
        _passer(Etat::enCours, Etat::actif, [this] { _posterActivation(orix::OXS_OK); });
    }
    void refuser()
    {
        _passer(Etat::enCours, Etat::inactif, [this] { _posterActivation(orix::OXS_NOK); });
    }
    /// the loss of the connection is told before its acceptance
    void accepterTropTard()
    {
        _passer(Etat::enCours, Etat::inactif, [this] {
            _posterPerte(orix::OXS_SERVICE_NON_ACTIVE);
            _posterActivation(orix::OXS_OK);
        });
    }
    /// @}
    bool estActif() { return _passer(Etat::actif, Etat::actif); }
    bool estEnCours() { return _passer(Etat::enCours, Etat::enCours); }

    /// @name Callbacks, on the callback thread
    /// @{
    /// if there is a connection
    void perdre(orix::OXstatut statut)
    {
        _passer(Etat::actif, Etat::inactif, [=] { _posterPerte(statut); });
    }
    /// The answer to "cree", "modifie", "supprime", "consulte", or the end of a "liste".
    void repondre(const std::string& operation, int idOp, int code = 0)
    {
        using Rappel = void (*)(int, OXvol_completData*, int);
        static const std::map<std::string, Rappel> RAPPELS{
            {"cree", &OXcdvCliCB::cree_vol_completCB},
            {"modifie", &OXcdvCliCB::modifie_vol_completCB},
            {"consulte", &OXcdvCliCB::consulte_vol_completCB},
            {"supprime", [](int c, auto*, int id) { OXcdvCliCB::supprime_vol_completCB(c, id); }},
            {"liste", [](int c, auto*, int id) { OXcdvCliCB::fin_liste_vol_completCB(c, id); }}};
        fil.poster([=, vol = std::shared_ptr(vol("V"))] { RAPPELS.at(operation)(code, vol.get(), idOp); });
    }
    void repondre(const Requete& requete, int code = 0) { repondre(requete.operation, requete.idOp, code); }
    /// to all that ever came
    void repondreTout()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        for (const Requete& requete : _requetes)
            repondre(requete);
    }
    /// one record of a listing
    void envoyer(int idOp, const std::string& identifiant)
    {
        fil.poster([idOp, vol = std::shared_ptr(vol(identifiant))] {
            OXcdvCliCB::liste_vol_completCB(vol.get(), idOp);
        });
    }
    FilCallbacks fil;
    /// @}

    Requete derniere()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _requetes.back();
    }
    int activations() const { return _activations; }

    orix::OXstatut active()
    {
        ++_activations;
        return _entre(surActive);
    }
    orix::OXstatut desactive()
    {
        return _entre([this] {
            return _passer(Etat::actif, Etat::inactif) ? orix::OXS_OK : orix::OXS_SERVICE_NON_ACTIVE;
        });
    }
    orix::OXstatut demander(const char* operation, OXvol_completData* vol, int& idOp)
    {
        return _entre([&] {
            Requete requete;
            {
                const std::lock_guard<std::mutex> verrou(_mutex);
                if (_etat != Etat::actif)
                    return orix::OXS_SERVICE_NON_ACTIVE;
                requete = {operation, vol->m_gidentifiant != nullptr ? vol->m_gidentifiant : "",
                           static_cast<int>(_requetes.size()) + 1};
                _requetes.push_back(requete);
            }
            idOp = requete.idOp;
            return surRequete(requete);
        });
    }

  private:
    enum class Etat
    {
        inactif,
        enCours,
        actif
    };
    /// Moves on if it is in that state, and posts the callbacks under the same lock.
    bool _passer(Etat de, Etat a, const std::function<void()>& suite = nullptr)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (_etat != de)
            return false;
        _etat = a;
        if (suite)
            suite();
        return true;
    }

    void _posterActivation(orix::OXstatut statut)
    {
        fil.poster([=] { OXcdvCliCB::activeCB(statut, "cdv1", "machine"); });
    }
    void _posterPerte(orix::OXstatut statut)
    {
        fil.poster([=] { OXcdvCliCB::deconnexionCB(statut); });
    }
    orix::OXstatut _entre(const std::function<orix::OXstatut()>& fonction)
    {
        surPoint();
        const orix::OXstatut statut = fonction();
        surPoint();
        return statut;
    }

    static inline Facade* _facade = nullptr;
    std::mutex _mutex;
    Etat _etat = Etat::inactif;
    std::vector<Requete> _requetes;
    std::atomic<int> _activations{0};
};

} // namespace essais

#endif
