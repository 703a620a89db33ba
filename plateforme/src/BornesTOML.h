#ifndef BORNESTOML_H
#define BORNESTOML_H

#include <cstddef>
#include <string>

namespace orix {

constexpr std::size_t TAILLE_TOML_MAX = 1 << 20; // bytes
constexpr std::size_t NIVEAUX_TOML_MAX = 64;

/// Throws ErreurConfiguration for a text that no configuration is: longer than that, or with a statement
/// whose brackets and dotted names make more levels. To be asked before the parser, which goes down each
/// level on the stack. nom stands for the file in the message.
void verifierBornesTOML(const std::string& texte, const std::string& nom);

} // namespace orix

#endif
