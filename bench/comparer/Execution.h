#ifndef EXECUTION_H
#define EXECUTION_H

#include "Comparaison.h"

#include <nlohmann/json.hpp>

// One run: a client and a server, each a process of its own.
namespace comparaison {

/// Whether the programs of that system are there, beside this one.
bool estConstruit(const Systeme& systeme);

/// The figures of one run. Throws std::runtime_error when one of the two processes fails.
nlohmann::json executer(const Mesure& mesure, const Systeme& systeme, int nombre);

} // namespace comparaison

#endif
