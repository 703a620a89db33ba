#ifndef PAIR_H
#define PAIR_H

#include "LiaisonORB.h"

#include <string_view>

namespace orix::orb {

/// "127.0.0.1" of "giop:tcp:127.0.0.1:2809".
inline std::string_view hote(const char* adresse)
{
    std::string_view texte = adresse != nullptr ? adresse : "";
    for (int prefixes = 0; prefixes < 2; ++prefixes)
        texte.remove_prefix(texte.find(':') + 1); // npos + 1 is 0
    return texte.substr(0, texte.rfind(':'));
}

/// Where the peer of a connection is: its address, or APPELANT_LOCAL. A process of this machine has as many
/// addresses as the machine, and takes the one that it calls.
inline std::string_view lieu(const char* adressePair, const char* adresseIci)
{
    const std::string_view pair = hote(adressePair);
    return pair == hote(adresseIci) ? std::string_view(APPELANT_LOCAL) : pair;
}

} // namespace orix::orb

#endif
