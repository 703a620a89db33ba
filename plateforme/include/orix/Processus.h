#ifndef ORIX_PROCESSUS_H
#define ORIX_PROCESSUS_H

#include "orix/Configuration.h"
#include "orix/OXstatut.h"

#include <string>

namespace orix {

/// Starts the middleware of this process: trace, ORB and its thread, kernel, monitor, callback executor.
/// To be called once, from one thread, before any facade of a service. Throws nothing.
///
/// argc, argv: the ORB takes out the options it knows ("-ORB...").
/// message: where one line goes that says what is wrong; may be null (the line is then only traced).
/// Returns OXS_OK; OXS_NOYAU_DEJA_INITIALISE; OXS_ABSENCE_CONF when the file cannot be read;
/// OXS_MAUVAISE_CONF when a setting is wrong or an endpoint cannot be opened; OXS_ERREUR_CORBA when the ORB
/// does not start.
ORIX_API OXstatut initialiser(int& argc, char** argv, const std::string& fichierConfiguration,
                              std::string* message = nullptr);
ORIX_API OXstatut initialiser(int& argc, char** argv, const Configuration& configuration,
                              std::string* message = nullptr);

/// Stops the middleware: refuses new work, runs the callbacks that wait, stops the ORB and every thread it
/// started. Deactivate the services first (and end their adapters). Nothing is called back after it returned.
/// From a callback it is refused with OXS_NOK: the executor cannot wait for itself. A callback that does not
/// return within delaiAppel is named in the trace and waited for no longer; OXS_NOK is then returned.
/// Returns OXS_NOYAU_NON_INITIALISE when nothing runs. Afterwards initialiser() may be called again.
ORIX_API OXstatut terminer();

} // namespace orix

#endif
