#ifndef MASQUE_H
#define MASQUE_H

#include <string>

namespace essais {

/// Puts something constant in place of what differs from one run to the next, given as a regular expression.
std::string masquer(const std::string& texte, const std::string& motif, const std::string& masque = "...");

} // namespace essais

#endif
