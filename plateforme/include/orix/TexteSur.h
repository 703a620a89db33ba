#ifndef ORIX_TEXTESUR_H
#define ORIX_TEXTESUR_H

#include "orix/Exportation.h"

#include <cstddef>
#include <string>

namespace orix {

/// A text from outside as it may be shown to people, in a trace, a message or on a terminal: on one line, and
/// unable to move a cursor, to change a colour or to turn the line round. One that is safe is given back
/// without a copy.
///
/// What is no UTF-8, control characters (0x00 to 0x1F, 0x7F to 0x9F) and the characters that break a line or
/// change its direction are written in hexadecimal: "\x1B", "\u202E". All the rest stays as it is.
/// octetsMax: what would take more is cut, and its end says how much is missing: "… (+1234 octets)".
ORIX_API std::string texteSur(std::string texte, std::size_t octetsMax = std::string::npos);

/// A JSON text in UTF-8 with the same characters written as JSON does, "\u009b": it says the same, and may be
/// shown. The line ends and blanks between its parts stay.
ORIX_API std::string jsonSur(std::string json);

} // namespace orix

#endif
