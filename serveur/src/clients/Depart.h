#ifndef DEPART_H
#define DEPART_H

#include <array>
#include <cstddef>

namespace serveur {

/// Why a client is one no more.
enum class Depart
{
    desactivation,
    muet,
    renie,
    envoi,
    memoire,
    place,
    arret,
    lenteur
};

struct TexteDepart
{
    const char* etiquette; ///< in the figures
    const char* raison;    ///< in the traces
};

inline constexpr std::array<TexteDepart, 8> DEPARTS{{
    {"desactivation", "il se désactive"},
    {"muet", "il ne répond plus"},
    {"renie", "il n'est plus client de ce serveur"},
    {"envoi", "envoi impossible, "}, // the exception follows
    {"memoire", "mémoire insuffisante pour ses demandes"},
    {"place", "il cède sa place sans avoir répondu à un ping"},
    {"arret", "le service s'arrête"},
    {"lenteur", "il n'a pas tout pris à l'arrêt du service"},
}};

} // namespace serveur

#endif
