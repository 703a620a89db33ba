#ifndef ACCUEIL_H
#define ACCUEIL_H

#include <chrono>
#include <cstddef>
#include <string>

class omniCallHandle;

/// How this process receives those who connect to it: what they send is looked at before the ORB has it.
namespace orix::orb {

struct ReglesAccueil
{
    std::chrono::milliseconds delaiMessage{}; ///< for the rest of a message that has begun
    std::size_t tailleMax = 0;                ///< of a message of somebody who is known
    std::size_t tailleMaxInconnu = 65536;     ///< of the others
};

/// Makes the access points "giop:garde:tcp:..." and "giop:garde:ssl:..." known to the ORB, which are those
/// without "garde:" with these rules: a connection ends at its first wrong message, and at one that does not
/// come to its end in time; an address that goes on sending them is not let in for a while, longer each time,
/// unless somebody known is there.
void preparerAccueil(const ReglesAccueil& regles);

/// The request that is being served was wrong: no other comes over its connection.
void condamner(omniCallHandle& appel);

// For PairConnu (LiaisonORB.h).
void connaitre(const std::string& identite);
void meconnaitre(const std::string& identite) noexcept;

} // namespace orix::orb

#endif
