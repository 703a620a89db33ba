#include "orix/OXversion.h"

#include <ostream>

namespace orix {

std::ostream& operator<<(std::ostream& flux, const OXversion& version)
{
    return flux << version.lireMajeur() << '.' << version.lireMineur() << '.' << version.lireCorrectif()
                << '.' << version.lireConstruction();
}

} // namespace orix
