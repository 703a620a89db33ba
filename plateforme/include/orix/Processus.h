#ifndef ORIX_PROCESSUS_H
#define ORIX_PROCESSUS_H

#include "orix/Configuration.h"
#include "orix/OXstatut.h"

#include <exception>
#include <string>

namespace orix {

/// Starts the middleware of this process: trace, ORB and its thread, kernel, monitor, callback executor.
/// To be called once, from one thread, before any facade of a service. Throws nothing.
///
/// argc, argv: the ORB takes out the options it knows ("-ORB...").
/// message: where one line goes that says what is wrong; may be null (the line is then only traced).
/// cause: where the ErreurConfiguration goes, when the configuration is what is wrong; may be null.
/// Returns OXS_OK; OXS_NOYAU_DEJA_INITIALISE; OXS_ABSENCE_CONF when the file cannot be read;
/// OXS_MAUVAISE_CONF when a setting is wrong or an endpoint cannot be opened; OXS_ERREUR_CORBA when the ORB
/// does not start.
ORIX_API OXstatut initialiser(int& argc, char** argv, const std::string& fichierConfiguration,
                              std::string* message = nullptr, std::exception_ptr* cause = nullptr);
ORIX_API OXstatut initialiser(int& argc, char** argv, const Configuration& configuration,
                              std::string* message = nullptr, std::exception_ptr* cause = nullptr);

/// Reads the files of [tls] again: certificates that were renewed, a list of those that are revoked.
/// Connections that begin from now on use them; those that are open stay. The files are those of the
/// configuration in use. Any thread, not inside a signal handler. Returns OXS_OK; OXS_NOYAU_NON_INITIALISE;
/// OXS_MAUVAISE_CONF when a file is wrong, in which case what was read before goes on: message, which may be
/// null, says what.
ORIX_API OXstatut relireTLS(std::string* message = nullptr);

/// Opens the file of [trace] again under its name, which may have been given to another file meanwhile; what
/// was traced before goes to the one that was open. Threads and results as above; when it cannot be opened,
/// the lines go where they went.
ORIX_API OXstatut rouvrirTrace(std::string* message = nullptr);

/// Stops the middleware: refuses new work, runs the callbacks that wait, stops the ORB and every thread it
/// started. Deactivate the services first (and end their adapters): a connection that is still there ends
/// with the middleware, without a callback, and an activation that is still pending is told by a callback
/// with OXS_NOYAU_NON_INITIALISE. Nothing is called back after it returned. From a callback it is refused
/// with OXS_NOK: the executor cannot wait for itself. A callback that does not return within delaiAppel is
/// named in the trace and waited for no longer; those behind it are destroyed, and OXS_NOK is returned. The
/// same for a peer that hangs, or a trace output that nobody reads: each is waited for delaiAppel at most. A
/// thread that is inside the facade of a service gets OXS_ERREUR_CORBA or OXS_NOYAU_NON_INITIALISE, one that
/// calls it later the second. Returns OXS_NOYAU_NON_INITIALISE when nothing runs. Afterwards initialiser()
/// may be called again, even while such a callback is still inside.
///
/// A process that exits without it (return from main, std::exit(), on whichever thread, from a callback too)
/// is stopped the same way, except that the callbacks that wait are destroyed without being run: none runs
/// once static objects are being destroyed, unless it is one that does not return within delaiAppel.
/// A signal handler may call std::exit() only where the thread that it interrupts holds no lock, of the
/// allocator for one: let one thread wait in sigwait() instead. A child made by fork() has none of the
/// threads: it may exec, or leave by _exit(). The library is never unloaded: dlclose() of a module that
/// brought it stops nothing and leaves the module with the callbacks in place too.
ORIX_API OXstatut terminer();

} // namespace orix

#endif
