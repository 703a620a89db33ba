#include "ExecuteurCBImplementation.h"

#include "Activite.h"
#include "ExceptionCourante.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"
#include "orix/interne/Livraison.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <utility>

namespace orix {

namespace {

thread_local bool t_executeur = false; // this thread is an executor's

std::string nomType(const std::type_info* type)
{
    if (type == nullptr)
        return "?";
    const std::unique_ptr<char, void (*)(void*)> nom(
        abi::__cxa_demangle(type->name(), nullptr, nullptr, nullptr), std::free);
    return nom ? nom.get() : type->name();
}

} // namespace

ExecuteurCB* objetCB() { return &ExecuteurCBImplementation::instance(); }

ExecuteurCBImplementation& ExecuteurCBImplementation::instance()
{
    static const Perpetuel<ExecuteurCBImplementation> executeur;
    return *executeur;
}

bool ExecuteurCBImplementation::estIci() noexcept { return t_executeur; }

void ExecuteurCBImplementation::posterExecutable(int /*priorite*/, const std::string& nomService,
                                                 IExecutable* executable)
{
    std::unique_ptr<IExecutable> appel(executable);
    activite::noter(nomService);
    const bool livraison = Livraison::estEnCoursIci();
    const bool dispense = t_executeur || livraison;

    std::unique_lock<std::mutex> verrou(_mutex);
    if (_ouvert && !dispense && _levees == 0 && _estPleine()) {
        // Counted before the look at the queue, and looked at after each taking out of it: no wake-up is
        // missed.
        ++_posteursEnAttente;
        _place.wait(verrou, [this] { return !_ouvert || _levees != 0 || !_estPleine(); });
        --_posteursEnAttente;
    }
    if (!_ouvert)
        throw Echec(OXS_NOYAU_NON_INITIALISE);
    if (!livraison)
        _agrandir(1);
    _file.push_back(std::move(appel));
    _arrive.store(true, std::memory_order_relaxed);
    const bool reveiller = std::exchange(_endormi, false);
    verrou.unlock(); // or the thread would wake up only to wait for the lock
    if (reveiller)
        _arrivee.notify_one();
}

Statistiques ExecuteurCBImplementation::compter() noexcept
{
    Statistiques statistiques;
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (!_ouvert)
        return statistiques;
    statistiques.callbacks = _marche->commences;
    statistiques.callbacksEnAttente = _file.size() + _marche->restants;
    statistiques.callbacksMax = _capacite;
    return statistiques;
}

void ExecuteurCBImplementation::leverAttente(bool levee)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _levees += levee ? 1 : -1;
    _place.notify_all();
}

void ExecuteurCBImplementation::reserver(const std::string& nomService, std::size_t nombre)
{
    activite::lire(nomService); // a post counts there
    const std::lock_guard<std::mutex> verrou(_mutex);
    _reservees += nombre;
    try {
        _agrandir(0);
    } catch (...) {
        _reservees -= nombre;
        throw;
    }
}

void ExecuteurCBImplementation::liberer(std::size_t nombre) noexcept
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _reservees -= nombre;
}

/// Makes room for so many calls beside the reserved places.
void ExecuteurCBImplementation::_agrandir(std::size_t appels)
{
    const std::size_t besoin = _file.size() + appels + _reservees;
    if (_file.capacity() < besoin)
        _file.reserve(std::max(besoin, 2 * _file.capacity()));
}

/// Takes what waits: all of it, or one call when there is no memory for the queue that would take its place.
void ExecuteurCBImplementation::_prendre(File& lot)
{
    try {
        lot.reserve(_reservees);
        lot.swap(_file);
    } catch (const std::bad_alloc&) {
        lot.push_back(std::move(_file.front()));
        _file.erase(_file.begin());
    }
    _arrive.store(!_file.empty(), std::memory_order_relaxed);
}

bool ExecuteurCBImplementation::Marche::commencer()
{
    unsigned long avant = commences;
    do {
        if (avant == ABANDON)
            return false;
    } while (!commences.compare_exchange_weak(avant, avant + 1));
    return true;
}

void ExecuteurCBImplementation::_vider(Marche& marche)
{
    for (std::unique_ptr<IExecutable>& place : marche.lot) {
        const std::unique_ptr<IExecutable> appel = std::move(place);
        --marche.restants;
        if (_posteursEnAttente != 0) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            _place.notify_one();
        }
        const IExecutable& objet = *appel;
        marche.courant = &typeid(objet);
        if (!marche.commencer())
            return;
        try {
            appel->executer();
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "ExecuteurCB", "executer",
                                  "Exception non prévue lors de l'appel d'un callback applicatif : "
                                      << texteExceptionCourante());
        }
    }
}

void ExecuteurCBImplementation::_guetter(Horloge::time_point limite) const
{
    // No yield(): with another thread to run it would cost that one more than it gives it.
    while (!_arrive.load(std::memory_order_relaxed) && Horloge::now() < limite)
        ;
}

void ExecuteurCBImplementation::_executer(const std::shared_ptr<Marche>& marche)
{
    t_executeur = true;
    bool guet = false; // the calls come one by one, close to each other
    while (!marche->estAbandonnee()) {
        const Horloge::time_point debut = Horloge::now();
        if (guet)
            _guetter(debut + marche->guetMax);
        {
            std::unique_lock<std::mutex> verrou(_mutex);
            while (_file.empty() && _ouvert) {
                _endormi = true;
                _arrivee.wait(verrou);
            }
            if (_file.empty())
                return;
            _prendre(marche->lot);
            marche->restants = marche->lot.size();
        }
        guet = marche->lot.size() == 1 && Horloge::now() - debut < marche->guetMax;
        _vider(*marche);
        marche->lot.clear();
    }
}

void ExecuteurCBImplementation::demarrer(std::size_t capacite, std::chrono::microseconds guetMax)
{
    const auto marche = std::make_shared<Marche>();
    marche->lot.reserve(1);
    // With one processor, watching keeps the others from bringing what is watched for.
    if (std::thread::hardware_concurrency() > 1)
        marche->guetMax = guetMax;
    const std::lock_guard<std::mutex> verrou(_mutex);
    _marche = marche;
    _capacite = capacite;
    _ouvert = true;
    _endormi = false;
    try {
        _fil.lancer([this, marche] { _executer(marche); });
    } catch (...) {
        _ouvert = false;
        throw;
    }
}

std::shared_ptr<ExecuteurCBImplementation::Marche> ExecuteurCBImplementation::_fermer()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _ouvert = false;
    _arrivee.notify_all();
    _place.notify_all();
    return _marche;
}

void ExecuteurCBImplementation::_oublierLesAppels()
{
    File appels; // destroyed without the lock: their destructors are not ours
    const std::lock_guard<std::mutex> verrou(_mutex);
    appels.swap(_file);
}

bool ExecuteurCBImplementation::arreter(std::chrono::milliseconds delai)
{
    const std::shared_ptr<Marche> marche = _fermer();
    if (!marche)
        return true;
    unsigned long avant = 0;
    do { // as long as calls keep beginning, the queue empties itself
        avant = marche->commences;
        if (_fil.attendre(delai))
            return true;
    } while (!marche->commences.compare_exchange_strong(avant, Marche::ABANDON));

    _fil.oublier();
    _oublierLesAppels();
    ORIX_TRACE_SANS_ECHEC(
        NTO_NOTABLE, "ExecuteurCB", "arreter",
        "Un callback applicatif ne se termine pas, il n'est plus attendu : " << nomType(marche->courant));
    return false;
}

bool ExecuteurCBImplementation::abandonner(std::chrono::milliseconds delai)
{
    const std::shared_ptr<Marche> marche = _fermer();
    if (!marche)
        return true;
    marche->commences = Marche::ABANDON;
    _oublierLesAppels();
    return _fil.attendre(estIci() ? std::chrono::milliseconds(0) : delai);
}

} // namespace orix
