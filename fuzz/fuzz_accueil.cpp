// What anybody may send to a port: the octets of a connection, which are followed alike in whatever pieces
// they come; the arguments of an activation, and of a question for the type of an object, which lose no
// memory when they are wrong.
#include "Cadrage.h"
#include "Lecture.h"
#include "LectureActivation.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void exiger(bool vrai)
{
    if (!vrai)
        std::abort();
}

constexpr std::size_t TAILLE_MAX = 65536;

void suivre(const std::uint8_t* octets, std::size_t taille)
{
    const auto taillePermise = [] { return TAILLE_MAX; };
    orix::orb::Cadrage dUnCoup(taillePermise);
    const bool accepte = dUnCoup.suivre(octets, taille);
    for (const std::size_t pas : {std::size_t(1), std::size_t(7), std::size_t(13)}) {
        orix::orb::Cadrage parMorceaux(taillePermise);
        std::size_t suivis = 0;
        while (suivis < taille && parMorceaux.suivre(octets + suivis, std::min(pas, taille - suivis)))
            suivis += std::min(pas, taille - suivis);
        exiger((suivis == taille) == accepte);
        exiger(!accepte || (parMorceaux.messages() == dUnCoup.messages() &&
                            parMorceaux.estAuMilieu() == dUnCoup.estAuMilieu()));
    }
}

template <class Lecture>
void lire(const std::uint8_t* octets, std::size_t taille, Lecture lecture)
{
    cdrMemoryStream flux;
    flux.put_octet_array(octets, static_cast<int>(taille));
    flux.rewindInputPtr();
    try {
        lecture(flux);
    } catch (const CORBA::SystemException&) {
        // The leak checker looks at what stays.
    }
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
    suivre(octets, taille);
    lire(octets, taille, [](cdrStream& flux) { orix::LectureActivation().lire(flux); });
    lire(octets, taille, [](cdrStream& flux) { orix::orb::lireTexteBrut(flux); });
    lire(octets, taille, [](cdrStream& flux) { CORBA::release(orix::orb::lireReference(flux)); });
    return 0;
}
