#ifndef COMMANDES_H
#define COMMANDES_H

#include "Interruption.h"
#include "Options.h"

namespace outils {

/// Does what the options say; results go to the standard output, everything else to the standard error.
/// Returns the exit status; may throw Arret, LecteurParti.
int executer(const Options& options, Interruption& interruption);

// One for each command that needs more than a request.
int importer(const Options& options, Interruption& interruption);
int exporter(const Options& options, Interruption& interruption); ///< lister too
int surveiller(const Options& options, Interruption& interruption);
int etat(const Options& options, Interruption& interruption);

/// How records are written into that descriptor.
Presentation presenter(const Options& options, int descripteur);

/// The format of a command that knows tables and JSON only. Throws Arret for another.
Format formatSimple(const Options& options);

} // namespace outils

#endif
