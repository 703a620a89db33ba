#ifndef FRANCAIS_H
#define FRANCAIS_H

#include <string>

namespace outils {

/// What cdv::ErreurVol says, for the user of the command; a text that is not one of the library's stays as it
/// is.
std::string enFrancais(const std::string& message);
/// Why a call of the system failed, by its errno.
std::string raisonSysteme(int erreur);

} // namespace outils

#endif
