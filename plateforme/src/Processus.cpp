#include "orix/Processus.h"

#include "ExceptionCourante.h"
#include "ExecuteurCBImplementation.h"
#include "JournalTrace.h"
#include "NoyauImplementation.h"
#include "ORBthreadImplementation.h"
#include "OXroutageImplementation.h"
#include "SurveillantConnexionsImplementation.h"
#include "VerificationTLS.h"
#include "orix/Trace.h"
#include "orix/interne/Livraison.h"
#include "orix/interne/Perpetuel.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

namespace orix {

namespace {

/// The life of the middleware in this process.
class Processus
{
  public:
    static Processus& instance()
    {
        static const Perpetuel<Processus> processus;
        return *processus;
    }

    const Configuration* lireConfiguration() const { return _configuration.load(); }

    OXstatut initialiser(int& argc, char** argv, const Configuration& configuration);
    OXstatut relireTLS();
    OXstatut rouvrirTrace();
    OXstatut terminer();
    void quitter();

  private:
    friend class Perpetuel<Processus>;
    Processus()
    {
        _configurations.push_back(std::make_unique<const Configuration>());
        _configuration = _configurations.front().get();
    }

    void _demarrer(int& argc, char** argv, const Configuration& configuration);
    enum class Callbacks
    {
        appeler,
        abandonner
    };
    bool _arreter(Callbacks callbacks, std::chrono::milliseconds delai);
    bool _arreter() { return _arreter(Callbacks::appeler, lireConfiguration()->lire(cle::delaiAppel)); }

    /// A callback and a delivery must not wait for the end, which waits for them.
    static bool _estAppeleDIci() { return ExecuteurCBImplementation::estIci() || Livraison::estEnCoursIci(); }

    std::mutex _mutex; // one start or stop at a time; guards what follows
    bool _demarre = false;
    pid_t _pid = 0;                              // that started: a child made by fork has none of the threads
    ORBthreadImplementation* _courant = nullptr; // null: no ORB
    std::atomic<const Configuration*> _configuration{nullptr};
    // Everything that was ever handed out stays: whoever kept a pointer reads old values, and nothing worse.
    std::vector<std::unique_ptr<const Configuration>> _configurations;
    std::vector<std::unique_ptr<ORBthreadImplementation>> _pointsAcces;
};

OXstatut Processus::initialiser(int& argc, char** argv, const Configuration& configuration)
{
    if (_estAppeleDIci())
        return OXS_NOYAU_DEJA_INITIALISE;
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_demarre)
        return OXS_NOYAU_DEJA_INITIALISE;
    try {
        _demarrer(argc, argv, configuration);
    } catch (...) {
        _arreter();
        throw;
    }
    return OXS_OK;
}

void quitterEnFin();

void ouvrirJournal(const Configuration& configuration)
{
    try {
        journal::ouvrir(configuration[cle::fichierTrace], configuration[cle::capaciteTrace]);
    } catch (const std::exception& erreur) {
        throw ErreurConfiguration(ErreurConfiguration::Motif::fichierInscriptible, {"", 0, "[trace] fichier"},
                                  {'"' + configuration[cle::fichierTrace] + '"'}, erreur.what());
    }
}

void Processus::_demarrer(int& argc, char** argv, const Configuration& configuration)
{
    configuration.verifier("configuration");
    verifierTLS(parametresTLS(configuration));
    if (!_pointsAcces.empty() && !_pointsAcces.back()->estDetruit())
        throw std::runtime_error("the ORB of the previous run has not ended yet: a request is still inside");

    ouvrirJournal(configuration);
    Trace::definirSeuil(configuration[cle::niveauTrace]);

    _configurations.push_back(std::make_unique<const Configuration>(configuration));
    const Configuration& gardee = *_configurations.back();
    _configuration = &gardee;
    routage::definir(&gardee[cle::routage]);

    _pointsAcces.push_back(std::make_unique<ORBthreadImplementation>(argc, argv, gardee));
    _courant = _pointsAcces.back().get();
    ExecuteurCBImplementation::instance().demarrer(gardee[cle::capaciteFileCB],
                                                   std::chrono::microseconds(gardee[cle::guetFileCB]));
    NoyauImplementation::instance().demarrer(_courant, gardee[cle::delaiActivation]);
    SurveillantConnexionsImplementation::instance().demarrer(*_courant, gardee);

    static const int inscrit =
        std::atexit(quitterEnFin); // after the ORB's static objects, hence before their end
    static_cast<void>(inscrit);
    _pid = ::getpid();
    _demarre = true;
    NoyauImplementation::instance().ecrireEtat(NOYAU_INITIALISE);
}

/// Also undoes a start that failed half-way: what was not started has nothing to stop. delai: of each step.
bool Processus::_arreter(Callbacks callbacks, std::chrono::milliseconds delai)
{
    NoyauImplementation& noyau = NoyauImplementation::instance();
    ExecuteurCBImplementation& executeur = ExecuteurCBImplementation::instance();
    noyau.ecrireEtat(NOYAU_EN_ARRET);
    bool complet = true;
    const auto attendre = [&complet](bool fini, const char* quoi) {
        if (!fini)
            ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "Processus", "terminer",
                                  "Arrêt incomplet, n'est plus attendu : " << quoi);
        complet = complet && fini;
    };
    {
        // The requests that are being received post callbacks: none of them may wait for a place.
        const ExecuteurCB::AttenteLevee levee(&executeur);
        if (callbacks == Callbacks::abandonner) // first: the kernel tells the adapters of its end
            attendre(executeur.abandonner(delai), "exécuteur");
        attendre(noyau.arreter(delai), "activations en attente");
        attendre(SurveillantConnexionsImplementation::instance().arreter(delai),
                 "surveillant des connexions");
        if (_courant != nullptr)
            attendre(_courant->arreterReception(delai), "requêtes reçues");
        if (callbacks == Callbacks::appeler)
            attendre(executeur.arreter(delai), "exécuteur");
    }
    noyau.oublierPointAcces();
    // A call that the ORB sends may be opening its connection first.
    if (_courant != nullptr)
        attendre(_courant->detruire(delai + lireConfiguration()->lire(cle::delaiConnexion)), "ORB");
    _courant = nullptr;
    // Whoever reads the lines may have stopped to: the end does not wait for it.
    Fil fermeture;
    fermeture.lancer(journal::fermer);
    attendre(fermeture.attendre(delai), "lignes de trace");
    _demarre = false;
    noyau.ecrireEtat(NOYAU_NON_INITIALISE);
    return complet;
}

OXstatut Processus::relireTLS()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (!_demarre)
        return OXS_NOYAU_NON_INITIALISE;
    verifierTLS(parametresTLS(*lireConfiguration()));
    ORBthreadImplementation::relireTLS(*lireConfiguration());
    return OXS_OK;
}

OXstatut Processus::rouvrirTrace()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (!_demarre)
        return OXS_NOYAU_NON_INITIALISE;
    ouvrirJournal(*lireConfiguration());
    return OXS_OK;
}

OXstatut Processus::terminer()
{
    if (_estAppeleDIci())
        return OXS_NOK;
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (!_demarre)
        return OXS_NOYAU_NON_INITIALISE;
    return _arreter() ? OXS_OK : OXS_NOK;
}

/// At the exit of a process that did not call terminer(): the ORB's threads must end before its static
/// objects do, and the application's objects may be gone already, so that nothing may be called back.
void Processus::quitter()
{
    const std::unique_lock<std::mutex> verrou(_mutex, std::try_to_lock);
    if (verrou.owns_lock() && _demarre && _pid == ::getpid())
        _arreter(Callbacks::abandonner, lireConfiguration()->lire(cle::delaiAppel));
}

void quitterEnFin()
{
    try {
        Processus::instance().quitter();
    } catch (...) {
        // The process ends anyway.
    }
}

/// Runs a start, and turns its failure into a status and a line.
template <class Demarrage>
OXstatut convertir(std::string* message, std::exception_ptr* cause, Demarrage&& demarrage)
{
    OXstatut statut = OXS_OK;
    std::string texte;
    try {
        try {
            statut = demarrage();
            if (statut == OXS_OK)
                return statut;
            texte = texteStatut(statut);
        } catch (const ErreurConfiguration& erreur) {
            statut = erreur.motif() == ErreurConfiguration::Motif::fichierIllisible ? OXS_ABSENCE_CONF
                                                                                    : OXS_MAUVAISE_CONF;
            texte = erreur.what();
            if (cause != nullptr)
                *cause = std::current_exception();
        } catch (const std::bad_alloc&) {
            statut = OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
            texte = texteStatut(statut);
        } catch (...) {
            statut = OXS_ERREUR_CORBA;
            texte = texteExceptionCourante();
        }
        // Said once: to the caller who asks, or in the trace.
        if (message != nullptr)
            *message = texte;
        else
            ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "Processus", "initialiser", texte);
    } catch (...) {
        // A receiver of traces that throws, or no memory for the text: the status says enough.
    }
    return statut;
}

} // namespace

const Configuration* configuration() { return Processus::instance().lireConfiguration(); }

OXstatut initialiser(int& argc, char** argv, const std::string& fichierConfiguration, std::string* message,
                     std::exception_ptr* cause)
{
    return convertir(message, cause, [&] {
        return Processus::instance().initialiser(argc, argv, Configuration::lire(fichierConfiguration));
    });
}

OXstatut initialiser(int& argc, char** argv, const Configuration& configuration, std::string* message,
                     std::exception_ptr* cause)
{
    return convertir(message, cause,
                     [&] { return Processus::instance().initialiser(argc, argv, configuration); });
}

OXstatut relireTLS(std::string* message)
{
    return convertir(message, nullptr, [] { return Processus::instance().relireTLS(); });
}

OXstatut rouvrirTrace(std::string* message)
{
    return convertir(message, nullptr, [] { return Processus::instance().rouvrirTrace(); });
}

OXstatut terminer()
{
    try {
        return Processus::instance().terminer();
    } catch (...) {
        return OXS_NOK;
    }
}

} // namespace orix
