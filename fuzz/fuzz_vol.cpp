// What a peer sends as a record: octets, wire struct, record, dump, and the way back.
#include "OXvol_completData.h"

#include "FluxORB.h"
#include "OXvol_completDataC.h"
#include "VueVolComplet.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string afficher(const OXvol_completData& vol)
{
    std::ostringstream texte;
    texte << vol;
    return texte.str();
}

/// False when the octets are not a record.
bool lire(OXvol_completData_v3_0_0& filaire, const void* octets, std::size_t taille)
{
    cdrMemoryStream flux(const_cast<void*>(octets), taille);
    try {
        filaire <<= flux;
        return true;
    } catch (const CORBA::SystemException&) {
        return false;
    }
}

void exiger(bool vrai)
{
    if (!vrai)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return essais::creerORB(); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    // Marshalling aligns to 8 octets from the beginning; a copy of the exact size shows what reads beyond.
    std::vector<std::uint64_t> aligne((taille + 7) / 8);
    std::copy(octets, octets + taille, reinterpret_cast<std::uint8_t*>(aligne.data()));
    OXvol_completData_v3_0_0 filaire;
    if (!lire(filaire, aligne.data(), taille))
        return 0;
    const auto recu = std::make_unique<const OXvol_completData>(filaire);
    const std::string texte = afficher(*recu);
    exiger(afficher(OXvol_completData(*recu)) == texte);

    // What goes back is a record again, and the same one.
    cdrMemoryStream retour;
    VueVolComplet(*recu).lire() >>= retour;
    OXvol_completData_v3_0_0 relu;
    exiger(lire(relu, retour.bufPtr(), retour.bufSize()));
    exiger(afficher(OXvol_completData(relu)) == texte);
    return 0;
}
