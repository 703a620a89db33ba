#include "orix/OXversion.h"

#include <ostream>
#include <string>

namespace orix {

std::ostream& operator<<(std::ostream& flux, const OXversion& version)
{
    // Numbers as texts: decimal, whatever the stream does with its own.
    return flux << std::to_string(version.lireMajeur()) << '.' << std::to_string(version.lireMineur()) << '.'
                << std::to_string(version.lireCorrectif()) << '.'
                << std::to_string(version.lireConstruction());
}

} // namespace orix
