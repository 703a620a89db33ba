#ifndef FLUXORB_H
#define FLUXORB_H

// What the programs that read the ORB's streams share.
#include "EntetesORB.h"

#include <cstdint>

namespace essais {

/// References and texts need an ORB. Returns what LLVMFuzzerInitialize() must.
inline int creerORB()
{
    int argc = 0;
    const char* options[][2] = {{"traceLevel", "0"}, {nullptr, nullptr}};
    static const CORBA::ORB_var orb = CORBA::ORB_init(argc, nullptr, "omniORB4", options);
    return 0;
}

/// Where the reading ends; -1: it was refused. The leak checker looks at what stays.
template <class Lecture>
long lire(const std::uint8_t* octets, std::size_t taille, Lecture lecture)
{
    cdrMemoryStream flux;
    flux.put_octet_array(octets, static_cast<int>(taille));
    flux.rewindInputPtr();
    try {
        lecture(flux);
        return static_cast<long>(flux.currentInputPtr());
    } catch (const CORBA::SystemException&) {
        return -1;
    }
}

} // namespace essais

#endif
