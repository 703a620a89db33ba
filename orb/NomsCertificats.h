#ifndef NOMSCERTIFICATS_H
#define NOMSCERTIFICATS_H

#include <fnmatch.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace orix::orb {

/// The common name of the certificate in an identity (identiteAppelant()), of which it is a part; "" when
/// none was shown.
inline const char* nomCertificat(const std::string& identite)
{
    const char* const separateur = std::strchr(identite.c_str(), '/');
    return separateur != nullptr ? separateur + 1 : "";
}

/// Whether a certificate name is one of those: names, or patterns like those of file names ("*", "?",
/// "[...]").
inline bool estParmi(const std::vector<std::string>& noms, const char* nom)
{
    return std::any_of(noms.begin(), noms.end(),
                       [nom](const std::string& motif) { return fnmatch(motif.c_str(), nom, 0) == 0; });
}

} // namespace orix::orb

#endif
