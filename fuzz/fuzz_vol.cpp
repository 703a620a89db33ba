// What a peer sends as a record: octets, wire struct, record, dump, and the way back.
#include "FluxORB.h"
#include "LecturesVol.h"
#include "VueVolComplet.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

void exiger(bool vrai)
{
    if (!vrai)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return essais::creerORB(); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    const essais::OctetsVol envoyes(octets, taille);
    const essais::VolLu lecture = envoyes.lireSurPlace();
    exiger(lecture == envoyes.lireParLORB());
    if (lecture.texte.empty())
        return 0;
    const std::unique_ptr<const OXvol_completData> recu = envoyes.faireSurPlace();
    exiger(essais::afficher(OXvol_completData(*recu)) == lecture.texte);

    // What goes back is a record again, and the same one.
    cdrMemoryStream retour;
    VueVolComplet(*recu).lire() >>= retour;
    exiger(essais::OctetsVol(retour.bufPtr(), retour.bufSize()).lireSurPlace().texte == lecture.texte);
    return 0;
}
