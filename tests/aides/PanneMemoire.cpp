#include "PanneMemoire.h"

#include "orix/Trace.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>

namespace {

// The failure: set before the thread that it strikes, or the threads of that name.
std::atomic<std::thread::id> victime;
std::atomic<const char*> nomVictimes{nullptr};
std::atomic<int> reste{0}; // allocations until the one that fails
std::atomic<bool> epargnerORB{false};
std::atomic<bool> desormais{false};

std::mutex mutexTemoin; // guards the next; held during its calls
std::function<void()> leTemoin;
std::atomic<std::thread::id> observe;

thread_local long bilan = 0;        // allocations less releases
thread_local bool toujours = false; // all of them fail
thread_local bool epargnee = false; // none does meanwhile
thread_local bool interne = false;  // one operator may call another: counted once

/// The operator that this file hides. It still does the work: a sanitizer's goes on checking each delete
/// against its new.
template <class Operateur>
Operateur* suivant(const char* symbole)
{
    return reinterpret_cast<Operateur*>(dlsym(RTLD_NEXT, symbole));
}

class Interne
{
  public:
    Interne() : _avant(interne) { interne = true; }
    ~Interne() { interne = _avant; }

  private:
    bool _avant;
};

/// Whether the ORB, or a stub that it generated, is on the calling thread's stack.
bool estDansORB()
{
    const Interne portee;
    void* adresses[64];
    const int nombre = backtrace(adresses, 64);
    return std::any_of(adresses, adresses + nombre, [](void* adresse) {
        Dl_info objet;
        return dladdr(adresse, &objet) != 0 &&
               (std::strstr(objet.dli_fname, "libomni") != nullptr ||
                (objet.dli_sname != nullptr && std::strstr(objet.dli_sname, "_objref_") != nullptr));
    });
}

bool estVictime()
{
    char nom[16] = "";
    const char* const vise = nomVictimes;
    return victime == std::this_thread::get_id() ||
           (vise != nullptr && pthread_getname_np(pthread_self(), nom, sizeof nom) == 0 &&
            std::strcmp(nom, vise) == 0);
}

void* allouer(void* (*operateur)(std::size_t), std::size_t taille)
{
    if (interne)
        return operateur(taille);
    const std::thread::id moi = std::this_thread::get_id();
    const bool visee =
        (reste > 0 || desormais) && estVictime() && !(epargnerORB && estDansORB()) && --reste <= 0;
    if (!epargnee && (toujours || visee))
        throw std::bad_alloc();
    const Interne portee;
    if (observe == moi) {
        const std::lock_guard<std::mutex> verrou(mutexTemoin);
        if (observe == moi)
            leTemoin();
    }
    ++bilan;
    return operateur(taille);
}

template <class... Arguments>
void liberer(void (*operateur)(void*, Arguments...), void* memoire, Arguments... arguments)
{
    if (!interne && memoire != nullptr)
        --bilan;
    const Interne portee;
    operateur(memoire, arguments...);
}

} // namespace

#define ALLOUER(nom, symbole)                                                                                \
    void* operator nom(std::size_t taille)                                                                   \
    {                                                                                                        \
        static const auto operateur = suivant<void*(std::size_t)>(symbole);                                  \
        return allouer(operateur, taille);                                                                   \
    }
ALLOUER(new, "_Znwm")
ALLOUER(new[], "_Znam")

#define LIBERER(nom, symbole)                                                                                \
    void operator nom(void* memoire) noexcept                                                                \
    {                                                                                                        \
        static const auto operateur = suivant<void(void*)>(symbole);                                         \
        liberer(operateur, memoire);                                                                         \
    }                                                                                                        \
    void operator nom(void* memoire, std::size_t taille) noexcept                                            \
    {                                                                                                        \
        static const auto operateur = suivant<void(void*, std::size_t)>(symbole "m");                        \
        liberer(operateur, memoire, taille);                                                                 \
    }
LIBERER(delete, "_ZdlPv")
LIBERER(delete[], "_ZdaPv")

namespace essais {

namespace {
// The trace facility makes what it keeps at its first use: that is no leak of whoever traces first.
[[maybe_unused]] const bool tracePrete = (orix::trace()->definirRecepteur({}), true);
} // namespace

long bilanMemoire() noexcept { return bilan; }

void observerAllocations(std::thread::id fil, std::function<void()> temoin)
{
    observe = std::thread::id();
    const std::lock_guard<std::mutex> verrou(mutexTemoin);
    leTemoin = std::move(temoin);
    observe = fil;
}

PanneMemoire::PanneMemoire(int n, Ou ou, Duree duree, std::thread::id fil) noexcept
{
    reste = n;
    epargnerORB = ou == HorsORB;
    desormais = duree == Desormais;
    victime = fil;
}

PanneMemoire::PanneMemoire(const char* nom, int n) noexcept : PanneMemoire(n, HorsORB, UneFois, {})
{
    nomVictimes = nom;
}

PanneMemoire::~PanneMemoire()
{
    victime = std::thread::id();
    nomVictimes = nullptr;
}

bool PanneMemoire::survenue() const noexcept { return reste <= 0; }

void manquerToujours() noexcept { toujours = true; }

SansPanne::SansPanne() noexcept : _avant(epargnee) { epargnee = true; }
SansPanne::~SansPanne() { epargnee = _avant; }

} // namespace essais
