// What a reference that comes from another process holds, and where it leads.
#include "LiaisonORB.h"

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

namespace orix::orb {

namespace {

/// An IPv4 address is the IPv6 one that stands for it.
using Adresse = in6_addr;

Adresse depuisIPv4(const in_addr& adresse)
{
    Adresse resultat{};
    resultat.s6_addr[10] = resultat.s6_addr[11] = 0xFF;
    std::memcpy(resultat.s6_addr + 12, &adresse, sizeof adresse);
    return resultat;
}

/// "127.0.0.1", "[::1]", "fe80::1%eth0"; none for a name.
std::optional<Adresse> lireAdresse(std::string texte)
{
    if (texte == "localhost")
        texte = "127.0.0.1";
    if (!texte.empty() && texte.front() == '[')
        texte = texte.substr(1, texte.find(']') - 1);
    texte.resize(std::min(texte.find('%'), texte.size()));
    in_addr courte{};
    if (inet_pton(AF_INET, texte.c_str(), &courte) == 1)
        return depuisIPv4(courte);
    Adresse longue{};
    if (inet_pton(AF_INET6, texte.c_str(), &longue) == 1)
        return longue;
    return std::nullopt;
}

bool sontEgales(const Adresse& a, const Adresse& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// Whether this machine has that address.
bool estDIci(const Adresse& adresse)
{
    constexpr unsigned char BOUCLE_IPV4 = 127; // all of 127.0.0.0/8
    if (IN6_IS_ADDR_LOOPBACK(&adresse) ||
        (IN6_IS_ADDR_V4MAPPED(&adresse) && adresse.s6_addr[12] == BOUCLE_IPV4))
        return true;
    ifaddrs* premiere = nullptr;
    if (getifaddrs(&premiere) != 0)
        return false;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> fin(premiere, &freeifaddrs);
    for (const ifaddrs* i = premiere; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr == nullptr)
            continue;
        const void* brute = i->ifa_addr; // of the kind that the family says
        if ((i->ifa_addr->sa_family == AF_INET &&
             sontEgales(depuisIPv4(static_cast<const sockaddr_in*>(brute)->sin_addr), adresse)) ||
            (i->ifa_addr->sa_family == AF_INET6 &&
             sontEgales(static_cast<const sockaddr_in6*>(brute)->sin6_addr, adresse)))
            return true;
    }
    return false;
}

} // namespace

std::string adresse(const std::string& appelant) { return appelant.substr(0, appelant.find('/')); }

std::size_t taille(CORBA::Object_ptr objet)
{
    const omniIOR_var ior = objet->_PR_getobj()->_getIOR();
    std::size_t octets = std::strlen(ior->repositoryID());
    const IOP::TaggedProfileList& profils = ior->iopProfiles();
    for (CORBA::ULong i = 0; i < profils.length(); ++i)
        octets += profils[i].profile_data.length();
    return octets;
}

bool meneA(CORBA::Object_ptr objet, const std::string& appelant)
{
    const std::string attendue = adresse(appelant);
    const std::optional<Adresse> autre = lireAdresse(attendue);
    const omniIOR_var ior = objet->_PR_getobj()->_getIOR();
    const auto& points = ior->getIORInfo()->addresses();
    return !points.empty() && std::all_of(points.begin(), points.end(), [&](const auto* point) {
        const char* hote = point->host(); // null where there is none: the path of a socket
        const std::optional<Adresse> la = lireAdresse(hote != nullptr ? hote : "");
        return la && (attendue == APPELANT_LOCAL ? estDIci(*la) : autre && sontEgales(*la, *autre));
    });
}

} // namespace orix::orb
