// What anybody may send to a port: the octets of a connection, which are followed alike in whatever pieces
// they come; the arguments of an activation, and of a question for the type of an object, which lose no
// memory when they are wrong.
#include "Cadrage.h"
#include "FluxORB.h"
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

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return essais::creerORB(); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    suivre(octets, taille);
    essais::lire(octets, taille, [](cdrStream& flux) { orix::LectureActivation().lire(flux); });
    essais::lire(octets, taille, [](cdrStream& flux) { orix::orb::lireTexteBrut(flux); });
    essais::lire(octets, taille, [](cdrStream& flux) { CORBA::release(orix::orb::lireReference(flux)); });
    return 0;
}
