// What a server may answer to the calls of a client: whatever our readers let pass the ORB reads too, to the
// same end; whatever they refuse loses no memory.
#include "Lecture.h"
#include "LectureActivation.h"

#include <cstdint>
#include <cstdlib>

namespace {

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

/// The ORB reads only what we have.
template <class Notre, class Sienne>
void comparer(const std::uint8_t* octets, std::size_t taille, Notre notre, Sienne sienne)
{
    const long fin = lire(octets, taille, notre);
    if (fin >= 0 && lire(octets, taille, sienne) != fin)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    int argc = 0;
    const char* options[][2] = {{"traceLevel", "0"}, {nullptr, nullptr}};
    static const CORBA::ORB_var orb =
        CORBA::ORB_init(argc, nullptr, "omniORB4", options); // references need it
    return 0;
}

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
