#include "trafic.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "orix/OXchaine.h"
#include "orix/Processus.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int EMETTEURS = 2;
constexpr int EN_VOL_MAX = 4000; // requests not answered yet: more than the sockets of a hung server take in
constexpr int ETABLI = 2000;     // answers after which everything flows
constexpr std::size_t TAILLE = 8192; // of a record

/// What the threads share: never destroyed, since they may outlive the static objects.
struct Etat
{
    std::mutex mutex;
    std::condition_variable changement;
    int envoyees = 0;
    int recues = 0;
    int activation = -1;
    bool arret = false;
    std::vector<std::thread> emetteurs;
    std::atomic<void (*)()> action{nullptr};
};

Etat& etat()
{
    static auto* const etat = new Etat;
    return *etat;
}

/// What an application has at namespace scope, and uses in its callbacks.
struct ObjetStatique
{
    ~ObjetStatique() { vivant = false; }
    std::atomic<bool> vivant{true};
} s_objet;

void noterReponse()
{
    if (!s_objet.vivant) {
        std::cerr << "a callback runs after the end of the static objects" << std::endl;
        std::abort();
    }
    Etat& e = etat();
    void (*const action)() = e.action.exchange(nullptr);
    {
        const std::lock_guard<std::mutex> verrou(e.mutex);
        ++e.recues;
        e.changement.notify_all();
    }
    if (action != nullptr)
        action();
}

void emettre()
{
    Etat& e = etat();
    OXvol_completData vol;
    vol.ecrire_gidentifiant(OXdupliqueChaine(std::string(TAILLE, 'V').c_str()));
    for (;;) {
        {
            std::unique_lock<std::mutex> verrou(e.mutex);
            e.changement.wait(verrou, [&] { return e.arret || e.envoyees - e.recues < EN_VOL_MAX; });
            if (e.arret)
                return;
            ++e.envoyees;
        }
        int idOp = 0;
        const orix::OXstatut statut = OXcdvCliItf::consulte_vol_complet(&vol, idOp);
        if (statut != orix::OXS_OK && statut != orix::OXS_ERREUR_CORBA)
            return;
    }
}

void attendre(const char* quoi, bool (*condition)(const Etat&))
{
    Etat& e = etat();
    std::unique_lock<std::mutex> verrou(e.mutex);
    if (e.changement.wait_for(verrou, std::chrono::seconds(60), [&] { return condition(e); }))
        return;
    std::cerr << "no " << quoi << std::endl;
    std::_Exit(3);
}

} // namespace

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char*, const char*)
{
    const std::lock_guard<std::mutex> verrou(etat().mutex);
    etat().activation = statut;
    etat().changement.notify_all();
}
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int) { noterReponse(); }
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::cree_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int, int) {}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) {}
void OXcdvCliCB::fin_liste_vol_completCB(int, int) {}

void etablirTrafic(const char* urlNoyau)
{
    Etat& e = etat();
    orix::Configuration configuration;
    configuration[orix::cle::routage]["cdv"] = {urlNoyau};
    configuration[orix::cle::periodePing] = std::chrono::milliseconds(20);
    configuration[orix::cle::delaiPing] = std::chrono::seconds(20);
    configuration[orix::cle::delaiAppel] = std::chrono::seconds(2);
    configuration[orix::cle::fichierTrace] = "/dev/null"; // written, as in service
    int argc = 0;
    std::string message;
    char service[] = "cdv";
    if (orix::initialiser(argc, nullptr, configuration, &message) != orix::OXS_OK ||
        OXcdvCliItf::active(service) != orix::OXS_OK) {
        std::cerr << "no start: " << message << std::endl;
        std::_Exit(3);
    }
    attendre("activation", [](const Etat& courant) { return courant.activation == orix::OXS_OK; });
    for (int i = 0; i < EMETTEURS; ++i)
        e.emetteurs.emplace_back(emettre);
    attendre("answers", [](const Etat& courant) { return courant.recues >= ETABLI; });
}

void cesserRequetes()
{
    Etat& e = etat();
    {
        const std::lock_guard<std::mutex> verrou(e.mutex);
        e.arret = true;
        e.changement.notify_all();
    }
    for (std::thread& emetteur : e.emetteurs)
        emetteur.join();
    e.emetteurs.clear();
}

int arreterTrafic()
{
    cesserRequetes();
    orix::detruireOXcdvCliItfAdaptateur();
    return orix::terminer();
}

void pendantUnCallback(void (*action)())
{
    etat().action = action;
    attendre("callback", [](const Etat& courant) { return courant.action == nullptr; });
}
