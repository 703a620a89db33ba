#include "FacadeFactice.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliConnexion.h"
#include "orix/OXchaine.h"

#include <algorithm>
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

Facade::Facade()
    : surActive([this] {
          activer();
          return orix::OXS_OK;
      }),
      surDesactive([] { return orix::OXS_OK; }),
      surRequete([](const Requete&) { return orix::OXS_OK; })
{
    s_facade = this;
}

Facade::~Facade() { s_facade = nullptr; }

Facade& Facade::instance() { return *s_facade; }

void Facade::activer(orix::OXstatut statut, const std::string& serveur)
{
    fil.poster([=] { OXcdvCliCB::activeCB(statut, serveur.c_str(), "machine"); });
}

void Facade::perdre(orix::OXstatut statut)
{
    fil.poster([=] { OXcdvCliCB::deconnexionCB(statut); });
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

orix::OXstatut Facade::active()
{
    ++_activations;
    return surActive();
}

orix::OXstatut Facade::desactive()
{
    ++_desactivations;
    return surDesactive();
}

orix::OXstatut Facade::demander(const char* operation, OXvol_completData* vol, int& idOp)
{
    Requete requete;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        requete = {operation, vol->m_gidentifiant != nullptr ? vol->m_gidentifiant : "",
                   static_cast<int>(_requetes.size()) + 1};
        _requetes.push_back(requete);
    }
    const orix::OXstatut statut = surRequete(requete);
    idOp = requete.idOp;
    return statut;
}

cdv::Instant HorlogeManuelle::maintenant() const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _maintenant;
}

void HorlogeManuelle::attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                               cdv::Instant fin)
{
    {
        const std::lock_guard<std::mutex> verrouHorloge(_mutex);
        if (_maintenant >= fin)
            return;
        _attentes.push_back({&condition, verrou.mutex(), &fin});
    }
    condition.wait(verrou);
    const std::lock_guard<std::mutex> verrouHorloge(_mutex);
    _attentes.erase(std::remove_if(_attentes.begin(), _attentes.end(),
                                   [&](const Attente& attente) { return attente.fin == &fin; }),
                    _attentes.end());
}

void HorlogeManuelle::avancer(std::chrono::milliseconds duree)
{
    std::vector<Attente> attentes;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _maintenant += duree;
        attentes = std::exchange(_attentes, {}); // those that go on waiting come back
    }
    for (const Attente& attente : attentes) {
        const std::lock_guard<std::mutex> verrou(*attente.mutex);
        attente.condition->notify_all();
    }
}

void HorlogeManuelle::attendreSansEcheance(std::ptrdiff_t nombre)
{
    const auto compter = [this] {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return std::count_if(_attentes.begin(), _attentes.end(),
                             [](const Attente& attente) { return *attente.fin == cdv::JAMAIS; });
    };
    do
        avancer(std::chrono::milliseconds(0)); // each looks again for how long it has to wait
    while (compter() != nombre);
}

} // namespace essais

using essais::Facade;

orix::OXstatut OXcdvCliItf::active(char*) noexcept { return Facade::instance().active(); }
orix::OXstatut OXcdvCliItf::desactive() noexcept { return Facade::instance().desactive(); }
void orix::detruireOXcdvCliItfAdaptateur() {}
orix::OXcdvCliConnexion orix::lireOXcdvCliConnexion() noexcept { return {}; }

#define REQUETE(operation)                                                                                   \
    orix::OXstatut OXcdvCliItf::operation##_vol_complet(OXvol_completData* vol, int& idOp) noexcept          \
    {                                                                                                        \
        return Facade::instance().demander(#operation, vol, idOp);                                           \
    }
REQUETE(cree)
REQUETE(modifie)
REQUETE(supprime)
REQUETE(consulte)
REQUETE(liste)
