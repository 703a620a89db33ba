#ifndef DEMARRAGE_H
#define DEMARRAGE_H

#include "Essais.h"
#include "orix/Processus.h"

namespace essais {

/// Starts the middleware with those settings, or that file: empty when it runs, else the status and what was
/// said.
template <class Reglages>
std::string demarrer(const Reglages& reglages)
{
    int argc = 0;
    std::string message;
    const orix::OXstatut statut = orix::initialiser(argc, nullptr, reglages, &message);
    return statut == orix::OXS_OK ? "" : orix::texteStatut(statut) + (": " + message);
}

} // namespace essais

#endif
