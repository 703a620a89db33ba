#ifndef TERMINAL_H
#define TERMINAL_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace outils {

/// Columns at the end of a line that will be written over: the "^C" of a terminal goes there, and some
/// terminals go to the next line after the last one.
constexpr std::size_t RESERVE = 3;

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
/// The text in lines of at most that many columns, cut at spaces; those after the first are indented. A word
/// that is longer than a line stays whole: it can be copied.
std::string replier(std::string_view utf8, std::size_t colonnes, std::size_t marge);
/// A message for the standard error, folded when that is a terminal. Whatever files, servers and arguments
/// have put into it, it is safe to show, and not endless.
std::string message(const std::string& utf8);
/// A field's text (ISO-8859-1) for a terminal: in UTF-8, control characters shown as orix::texteSur() does.
/// Whatever a record holds, it cannot move the cursor or break a line.
std::string affichable(std::string_view latin1);

} // namespace outils

#endif
