#ifndef FRANCAIS_H
#define FRANCAIS_H

#include "ErreurVol.h"

#include <string>

namespace outils {

/// What the error says, for the user of the command.
std::string enFrancais(const cdv::ErreurVol& erreur);
/// Why a call of the system failed, by its errno.
std::string raisonSysteme(int erreur);

} // namespace outils

#endif
