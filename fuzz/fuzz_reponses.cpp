// What a server may answer to the calls of a client: whatever our readers let pass the ORB reads too, to the
// same end; whatever they refuse loses no memory.
#include "FluxORB.h"
#include "Lecture.h"
#include "LectureActivation.h"

#include <cstdlib>

namespace {

/// The ORB reads only what we have.
template <class Notre, class Sienne>
void comparer(const std::uint8_t* octets, std::size_t taille, Notre notre, Sienne sienne)
{
    const long fin = essais::lire(octets, taille, notre);
    if (fin >= 0 && essais::lire(octets, taille, sienne) != fin)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return essais::creerORB(); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    comparer(octets, taille, &orix::lireReponseActivation, [](cdrStream& flux) {
        CORBA::Long nombre = 0;
        nombre <<= flux;
        for (int texte = 0; texte < 2; ++texte)
            const CORBA::String_var lu = flux.unmarshalString(0);
        orix_corba::NiveauReference niveau;
        niveau <<= flux;
        nombre <<= flux;
    });
    comparer(
        octets, taille, [](cdrStream& flux) { orix::orb::lireTexteBrut(flux); },
        [](cdrStream& flux) { const CORBA::String_var lu = flux.unmarshalRawString(); });
    comparer(
        octets, taille,
        [](cdrStream& flux) {
            const CORBA::Object_var lu = orix::orb::lireReference(flux, orix::orb::Relecture::parLORB);
        },
        [](cdrStream& flux) { const CORBA::Object_var lu = CORBA::Object::_unmarshalObjRef(flux); });
    return 0;
}
