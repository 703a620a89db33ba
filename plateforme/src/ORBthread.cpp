#include "ORBthreadImplementation.h"

#include "ExceptionCourante.h"
#include "LectureActivation.h"
#include "LiaisonORB.h"
#include "VerificationTLS.h"
#include "orix/Configuration.h"
#include "orix/Enumerer.h"
#include "orix/Trace.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace orix {

namespace {

/// What the ORB is asked to do on a thread that nobody may be waiting for any more.
template <class Action>
void tenter(const char* fonction, Action&& action)
{
    try {
        action();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "ORBthread", fonction,
                              "Exception non prévue : " << texteExceptionCourante());
    }
}

} // namespace

void ORBthreadImplementation::relireTLS(const Configuration& configuration)
{
    orb::relireTLS(parametresTLS(configuration));
}

namespace {
/// Several programs run on one machine, and one of them several times.
std::string nomParDefaut()
{
    return std::string(program_invocation_short_name) + "[" + std::to_string(::getpid()) + "]";
}
} // namespace

ORBthreadImplementation::ORBthreadImplementation(int& argc, char** argv, const Configuration& configuration)
    : _nom(configuration[cle::nomProcessus].empty() ? nomParDefaut() : configuration[cle::nomProcessus])
{
    orb::ParametresORB parametres;
    parametres.pointsAcces = configuration[cle::pointsAcces];
    parametres.reponses = {{"activerService", &lireReponseActivation}};
    parametres.delaiConnexion = configuration[cle::delaiConnexion];
    parametres.delaiAppel = configuration[cle::delaiAppel];
    parametres.tailleMessageMax = static_cast<std::size_t>(configuration[cle::tailleMessageMax]);
    parametres.grouperEnvois = configuration[cle::grouperEnvois];
    parametres.tls = parametresTLS(configuration);
    _orb = orb::creerORB(argc, argv, parametres);
    try {
        try {
            _ouvrir();
        } catch (const CORBA::INITIALIZE& exception) {
            throw ErreurConfiguration(ErreurConfiguration::Motif::pointAccesLibre,
                                      {"", 0, "[orb] points_acces"},
                                      {enumerer(configuration[cle::pointsAcces],
                                                [](const std::string& point) { return '"' + point + '"'; })},
                                      orb::information(exception));
        }
        _execution.lancer([orb = CORBA::ORB_var(CORBA::ORB::_duplicate(_orb))] {
            tenter("executer", [&] { orb->run(); });
        });
    } catch (...) {
        tenter("ORBthread", [this] { orb::detruireORB(_orb); });
        throw;
    }
}

void ORBthreadImplementation::_ouvrir()
{
    const CORBA::Object_var racine = _orb->resolve_initial_references("RootPOA");
    _poaRacine = PortableServer::POA::_narrow(racine);
    const PortableServer::POAManager_var gestionnaire = _poaRacine->the_POAManager();

    CORBA::PolicyList politiques;
    politiques.length(3);
    politiques[0] = _poaRacine->create_id_assignment_policy(PortableServer::USER_ID);
    politiques[1] = _poaRacine->create_id_uniqueness_policy(PortableServer::MULTIPLE_ID);
    politiques[2] = _poaRacine->create_lifespan_policy(PortableServer::TRANSIENT);
    _poaORIX = _poaRacine->create_POA("ORIX", gestionnaire, politiques);
    gestionnaire->activate();
}

bool ORBthreadImplementation::arreterReception(std::chrono::milliseconds delai)
{
    _reception.lancer([poa = PortableServer::POA_var(PortableServer::POA::_duplicate(_poaRacine))] {
        tenter("arreterReception", [&] {
            const PortableServer::POAManager_var gestionnaire = poa->the_POAManager();
            gestionnaire->deactivate(/*etherealize*/ true, /*wait*/ true);
        });
    });
    return _reception.attendre(delai);
}

bool ORBthreadImplementation::detruire(std::chrono::milliseconds delai)
{
    _destruction.lancer([orb = CORBA::ORB_var(CORBA::ORB::_duplicate(_orb))] {
        tenter("detruire", [&] { orb::detruireORB(orb); });
    });
    return _destruction.attendre(delai) && _execution.attendre(delai);
}

bool ORBthreadImplementation::estDetruit()
{
    return _reception.attendre({}) && _destruction.attendre({}) && _execution.attendre({});
}

} // namespace orix
