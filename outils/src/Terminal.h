#ifndef TERMINAL_H
#define TERMINAL_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace outils {

bool estTerminal(int descripteur);
/// Columns to write in: what COLUMNS says, else the terminal's; empty when nothing limits them.
std::optional<std::size_t> largeurTerminal(int descripteur);

/// Columns that a text in UTF-8 takes. Every character counts for one: a flight record holds Western European
/// ones, our own words too.
std::size_t largeur(std::string_view utf8);
/// At most that many columns of the text; "…" stands for what is missing.
std::string tronquer(std::string_view utf8, std::size_t colonnes);
/// The text, filled up with spaces to that many columns, or cut to them.
std::string ajuster(std::string_view utf8, std::size_t colonnes);
/// A field's text (ISO-8859-1) for a terminal: in UTF-8, control characters shown as "·". Whatever a record
/// holds, it cannot move the cursor or break a line.
std::string affichable(std::string_view latin1);

} // namespace outils

#endif
