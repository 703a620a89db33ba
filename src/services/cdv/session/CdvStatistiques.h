#ifndef CDVSTATISTIQUES_H
#define CDVSTATISTIQUES_H

#include "CdvVol.h"
#include "orix/Statistiques.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace cdv {

/// Kinds of requests, in the order of Statistiques::demandes.
enum class GenreDemande
{
    creation,
    modification,
    suppression,
    consultation,
    listage
};

/// What a session has done since it was opened; all figures of one instant. See champs() for the names under
/// which they are written.
struct ORIX_API Statistiques
{
    using Microsecondes = std::chrono::microseconds;

    /// How long the server took, from the request to its answer; within 3 %.
    struct Durees
    {
        std::uint64_t nombre = 0; ///< of answers; without any, all durations are 0
        Microsecondes p50{0};     ///< half of the answers took no longer
        Microsecondes p90{0};     ///< nine in ten
        Microsecondes p99{0};     ///< 99 in a hundred
        Microsecondes max{0};     ///< all of them
    };

    /// The requests of one kind.
    struct Demandes
    {
        std::array<std::uint64_t, 6> fins{}; ///< by the kinds of ends, Resultat::Etat
        Durees durees;                       ///< of those that were answered; of a listing up to its end
    };

    std::array<Demandes, 5> demandes; ///< by GenreDemande
    std::uint64_t enCours = 0;        ///< made and not ended

    std::uint64_t connexions = 0;               ///< servers that accepted
    std::uint64_t pertes = 0;                   ///< connections that were lost
    std::chrono::milliseconds sansConnexion{0}; ///< since the first connection, all in all, now included
    std::chrono::milliseconds dernierePerte{0}; ///< from the last loss until a server accepted, or until now

    orix::Statistiques processus; ///< the middleware's

    /// One figure.
    struct Champ
    {
        const char* nom;   ///< "pertes", "KIND.perdues"
        const char* unite; ///< "requests", "us"
        const char* texte; ///< what it counts
    };
    /// All of them, in the order of versJson(); "KIND" stands in a name for each kind of requests.
    static const std::vector<Champ>& champs();
    /// One JSON object, on one line.
    std::string versJson() const;
};

} // namespace cdv

#endif
