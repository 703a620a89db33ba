#include "FacadeFactice.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliConnexion.h"
#include "PanneMemoire.h"
#include "orix/OXchaine.h"

#include <future>

namespace essais {

void FilCallbacks::vider()
{
    const auto passe = std::make_shared<std::promise<void>>();
    poster([passe] { passe->set_value(); });
    passe->get_future().wait();
}

namespace {
Facade* s_facade = nullptr;

std::shared_ptr<OXvol_completData> unVol(const std::string& identifiant)
{
    auto vol = std::make_shared<OXvol_completData>();
    vol->ecrire_gidentifiant(OXdupliqueChaine(identifiant.c_str()));
    return vol;
}
} // namespace

template <class Suite>
bool Facade::passer(Etat de, Etat a, Suite suite)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_etat != de)
        return false;
    _etat = a;
    suite();
    return true;
}

Facade::Facade()
    : surActive([this] {
          if (!passer(Etat::inactif, Etat::enCours, [] {}))
              return estActif() ? orix::OXS_SERVICE_DEJA_ACTIVE : orix::OXS_ACTIVATION_EN_COURS;
          if (accepte)
              accepter();
          return orix::OXS_OK;
      }),
      surDesactive([this] {
          return passer(Etat::actif, Etat::inactif, [] {}) ? orix::OXS_OK : orix::OXS_SERVICE_NON_ACTIVE;
      }),
      surRequete([](const Requete&) { return orix::OXS_OK; })
{
    s_facade = this;
    fil.executer = [this](const auto& appel) {
        surPoint();
        appel();
        surPoint();
    };
}

Facade::~Facade()
{
    fil.vider(); // what was posted still calls
    s_facade = nullptr;
}

Facade& Facade::instance() { return *s_facade; }

namespace {
void posterActivation(FilCallbacks& fil, orix::OXstatut statut)
{
    fil.poster([=] { OXcdvCliCB::activeCB(statut, "cdv1", "machine"); });
}
void posterPerte(FilCallbacks& fil, orix::OXstatut statut)
{
    fil.poster([=] { OXcdvCliCB::deconnexionCB(statut); });
}
} // namespace

void Facade::accepter()
{
    passer(Etat::enCours, Etat::actif, [this] { posterActivation(fil, orix::OXS_OK); });
}

void Facade::refuser()
{
    passer(Etat::enCours, Etat::inactif, [this] { posterActivation(fil, orix::OXS_NOK); });
}

void Facade::accepterTropTard()
{
    passer(Etat::enCours, Etat::inactif, [this] {
        posterPerte(fil, orix::OXS_SERVICE_NON_ACTIVE);
        posterActivation(fil, orix::OXS_OK);
    });
}

bool Facade::estActif()
{
    return passer(Etat::actif, Etat::actif, [] {});
}

bool Facade::estEnCours()
{
    return passer(Etat::enCours, Etat::enCours, [] {});
}

void Facade::perdre(orix::OXstatut statut)
{
    passer(Etat::actif, Etat::inactif, [&] { posterPerte(fil, statut); });
}

void Facade::repondreTout()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    for (const Requete& requete : _requetes)
        repondre(requete);
}

void Facade::repondre(const std::string& operation, int idOp, int code)
{
    const std::shared_ptr<OXvol_completData> vol = unVol("V");
    fil.poster([=] {
        if (operation == "cree")
            OXcdvCliCB::cree_vol_completCB(code, vol.get(), idOp);
        else if (operation == "modifie")
            OXcdvCliCB::modifie_vol_completCB(code, vol.get(), idOp);
        else if (operation == "consulte")
            OXcdvCliCB::consulte_vol_completCB(code, vol.get(), idOp);
        else if (operation == "supprime")
            OXcdvCliCB::supprime_vol_completCB(code, idOp);
        else
            OXcdvCliCB::fin_liste_vol_completCB(code, idOp);
    });
}

void Facade::envoyer(int idOp, const std::string& identifiant)
{
    fil.poster([idOp, vol = unVol(identifiant)] { OXcdvCliCB::liste_vol_completCB(vol.get(), idOp); });
}

Facade::Requete Facade::derniere()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _requetes.back();
}

std::size_t Facade::nombreRequetes()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _requetes.size();
}

orix::OXstatut Facade::entre(const std::function<orix::OXstatut()>& fonction)
{
    surPoint();
    const orix::OXstatut statut = fonction();
    surPoint();
    return statut;
}

orix::OXstatut Facade::active()
{
    ++_activations;
    return entre(surActive);
}

orix::OXstatut Facade::desactive() { return entre(surDesactive); }

orix::OXstatut Facade::demander(const char* operation, OXvol_completData* vol, int& idOp)
{
    return entre([&] {
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

} // namespace essais

using essais::Facade;

orix::OXstatut OXcdvCliItf::active(char*) noexcept
{
    const essais::SansPanne portee;
    return Facade::instance().active();
}
orix::OXstatut OXcdvCliItf::desactive() noexcept
{
    const essais::SansPanne portee;
    return Facade::instance().desactive();
}
void orix::detruireOXcdvCliItfAdaptateur() {}
orix::OXcdvCliConnexion orix::lireOXcdvCliConnexion() noexcept { return {}; }

#define REQUETE(operation)                                                                                   \
    orix::OXstatut OXcdvCliItf::operation##_vol_complet(OXvol_completData* vol, int& idOp) noexcept          \
    {                                                                                                        \
        const essais::SansPanne portee;                                                                      \
        return Facade::instance().demander(#operation, vol, idOp);                                           \
    }
REQUETE(cree)
REQUETE(modifie)
REQUETE(supprime)
REQUETE(consulte)
REQUETE(liste)
