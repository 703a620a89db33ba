// A client of the cdv service under way, threads that send requests without a pause, the notifications that
// answer them, pings in both directions, whose process ends in the way that it is told:  arrets URL WAY
#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "orix/Exportation.h"
#include "orix/OXchaine.h"
#include "orix/Processus.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

// The ends that this program comes to leave threads behind, and one calls exit() in a signal handler: that is
// the fault, not a finding.
extern "C" ORIX_API const char* __tsan_default_options();
const char* __tsan_default_options() { return "report_thread_leaks=0:report_signal_unsafe=0"; }

namespace {

constexpr int EMETTEURS = 2;
constexpr int EN_VOL_MAX = 4000; // requests not answered yet: more than the sockets of a hung server take in
constexpr int ETABLI = 2000;     // answers after which everything flows
constexpr std::size_t TAILLE = 8192; // of a record
constexpr unsigned BLOQUE = 30;      // seconds: many times the call time-out, on a slow machine too

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
    std::atomic<void (*)()> action{nullptr}; ///< for one of the next callbacks
    std::promise<void> ordre; ///< given when the end is ordered, to a callback that waits for it

    /// Changes it, and tells whoever waits.
    void changer(const std::function<void()>& changement_)
    {
        const std::lock_guard<std::mutex> verrou(mutex);
        changement_();
        changement.notify_all();
    }
    void attendre(const char* quoi, const std::function<bool()>& condition)
    {
        std::unique_lock<std::mutex> verrou(mutex);
        if (changement.wait_for(verrou, std::chrono::seconds(60), condition))
            return;
        std::cerr << "no " << quoi << std::endl;
        std::_Exit(3);
    }
};
Etat& e = *new Etat;

/// What an application has at namespace scope, and uses in its callbacks.
struct ObjetStatique
{
    ~ObjetStatique() { vivant = false; }
    std::atomic<bool> vivant{true};
} s_objet;

void emettre()
{
    OXvol_completData vol;
    vol.ecrire_gidentifiant(OXdupliqueChaine(std::string(TAILLE, 'V').c_str()));
    for (orix::OXstatut statut = orix::OXS_OK; statut == orix::OXS_OK || statut == orix::OXS_ERREUR_CORBA;) {
        {
            std::unique_lock<std::mutex> verrou(e.mutex);
            e.changement.wait(verrou, [] { return e.arret || e.envoyees - e.recues < EN_VOL_MAX; });
            if (e.arret)
                return;
            ++e.envoyees;
        }
        int idOp = 0;
        statut = OXcdvCliItf::consulte_vol_complet(&vol, idOp);
    }
}

/// Returns once all of it flows.
void etablirTrafic(const char* urlNoyau)
{
    orix::Configuration configuration;
    configuration[orix::cle::routage]["cdv"] = {urlNoyau};
    configuration[orix::cle::periodePing] = std::chrono::milliseconds(20);
    configuration[orix::cle::delaiPing] = std::chrono::seconds(20);
    configuration[orix::cle::delaiAppel] = std::chrono::seconds(2);
    configuration[orix::cle::fichierTrace] = "/dev/null"; // written, as in service
    int argc = 0;
    char service[] = "cdv";
    if (orix::initialiser(argc, nullptr, configuration) == orix::OXS_OK)
        OXcdvCliItf::active(service);
    e.attendre("activation", [] { return e.activation == orix::OXS_OK; });
    for (int i = 0; i < EMETTEURS; ++i)
        e.emetteurs.emplace_back(emettre);
    e.attendre("answers", [] { return e.recues >= ETABLI; });
}

/// Nobody is inside the facade any more. What was sent goes on being answered.
void cesserRequetes()
{
    e.changer([] { e.arret = true; });
    for (std::thread& emetteur : e.emetteurs)
        emetteur.join();
    e.emetteurs.clear();
}

/// The end as it should be.
int arreterTrafic()
{
    cesserRequetes();
    orix::detruireOXcdvCliItfAdaptateur();
    return orix::terminer();
}

[[noreturn]] void attendreLaFin()
{
    for (;;)
        pause();
}

[[noreturn]] void sortir() { std::exit(0); }

/// What is done inside a callback, and then by the main thread.
struct Maniere
{
    int (*fin)();
    void (*callback)() = nullptr;
};
const std::map<std::string, Maniere> MANIERES{
    {"everything", {arreterTrafic}},
    {"destroy", {[] {
         cesserRequetes();
         orix::detruireOXcdvCliItfAdaptateur();
         return 0;
     }}},
    // The threads that send go on calling the facade.
    {"terminate", {[] { return static_cast<int>(orix::terminer()); }}},
    {"terminateLate", {[] {
         orix::terminer();
         return arreterTrafic() == orix::OXS_NOYAU_NON_INITIALISE ? 0 : 1;
     }}},
    {"exit", {[]() -> int { sortir(); }}},
    {"exitInCallback",
     {[]() -> int {
          e.ordre.set_value();
          attendreLaFin();
      },
      [] {
          e.ordre.get_future().wait();
          sortir();
      }}},
    {"exitWhileCallbackBlocks", {[]() -> int { sortir(); }, [] { attendreLaFin(); }}},
    {"return", {[] { return 0; }}},
};

} // namespace

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char*, const char*)
{
    e.changer([=] { e.activation = statut; });
}
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int)
{
    if (!s_objet.vivant) {
        std::cerr << "a callback runs after the end of the static objects" << std::endl;
        std::abort();
    }
    void (*const action)() = e.action.exchange(nullptr);
    e.changer([] { ++e.recues; });
    if (action != nullptr)
        action();
}
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::cree_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int, int) {}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) {}
void OXcdvCliCB::fin_liste_vol_completCB(int, int) {}

// The end of this program is ordered by SIGUSR1, and watched: one that hangs is ended by SIGALRM.
int main(int, char** argv)
{
    const std::string maniere = argv[2];
    sigset_t signaux; // reserved before any thread starts
    sigemptyset(&signaux);
    sigaddset(&signaux, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signaux, nullptr);
    if (maniere == "signalHandler")
        std::signal(SIGTERM, [](int) {
            alarm(BLOQUE);
            sortir();
        });
    etablirTrafic(argv[1]);
    const auto prevue = MANIERES.find(maniere);
    if (prevue != MANIERES.end() && prevue->second.callback != nullptr) {
        e.action = prevue->second.callback;
        e.attendre("callback", [] { return e.action == nullptr; });
    }
    std::cout << "traffic flows" << std::endl;
    int recu = 0;
    sigwait(&signaux, &recu);
    alarm(BLOQUE);
    return prevue != MANIERES.end() ? prevue->second.fin() : 2;
}
