#include "CdvStatistiques.h"

#include <nlohmann/json.hpp>

namespace cdv {

namespace {

/// A figure, and where it stands.
template <class Objet>
struct Figure
{
    Statistiques::Champ champ;
    std::uint64_t (*lire)(const Objet&);
};

using Demandes = Statistiques::Demandes;

constexpr const char* GENRES[] = {"creation", "modification", "suppression", "consultation", "listage"};

#define FIN(nom, rang, texte)                                                                                \
    {                                                                                                        \
        {"KIND." nom, "requests", texte}, [](const Demandes& d) { return d.fins[rang]; }                     \
    }
#define DUREE(nom, membre, texte)                                                                            \
    {                                                                                                        \
        {"KIND." nom "_us", "us", texte},                                                                    \
            [](const Demandes& d) { return static_cast<std::uint64_t>(d.durees.membre.count()); }            \
    }
constexpr Figure<Demandes> PAR_GENRE[] = {
    FIN("faites", 0, "that the server did"),
    FIN("refusees", 1, "that the server answered with another code"),
    FIN("sans_reponse", 2, "not answered in time"),
    FIN("perdues", 3, "whose connection, or memory for the answer, was lost first"),
    FIN("non_envoyees", 4, "that never left"),
    FIN("fermees", 5, "whose session was closed first, or that were given up"),
    DUREE("p50", p50, "half of the answers took no longer; of a listing, up to its end"),
    DUREE("p90", p90, "nine in ten took no longer"),
    DUREE("p99", p99, "99 in a hundred took no longer"),
    DUREE("max", max, "the longest"),
};
#undef FIN
#undef DUREE

#define FIGURE(nom, unite, expression, texte)                                                                \
    {                                                                                                        \
        {nom, unite, texte}, [](const Statistiques& s) { return static_cast<std::uint64_t>(s.expression); }  \
    }
constexpr Figure<Statistiques> FIGURES[] = {
    FIGURE("en_cours", "requests", enCours, "made and not ended"),
    FIGURE("connexions", "", connexions, "servers that accepted, since the session was opened"),
    FIGURE("pertes", "", pertes, "connections that were lost"),
    FIGURE("sans_connexion_ms", "ms", sansConnexion.count(),
           "without a connection since the first one, all in all, the present time included"),
    FIGURE("derniere_perte_ms", "ms", dernierePerte.count(),
           "from the last loss until a server accepted again, or until now"),
    FIGURE("callbacks", "", processus.callbacks,
           "begun on the callback thread, since the middleware started"),
    FIGURE("callbacks_en_attente", "", processus.callbacksEnAttente, "for that thread, now"),
    FIGURE("callbacks_max", "", processus.callbacksMax,
           "that may wait before the server is held back (`[executeur] capacite`)"),
    FIGURE("traces_perdues", "lines", processus.tracesPerdues,
           "more than could be written, since the process began"),
};
#undef FIGURE

} // namespace

const std::vector<Statistiques::Champ>& Statistiques::champs()
{
    static const std::vector<Champ> champs = [] {
        std::vector<Champ> tous;
        for (const auto& figure : PAR_GENRE)
            tous.push_back(figure.champ);
        for (const auto& figure : FIGURES)
            tous.push_back(figure.champ);
        return tous;
    }();
    return champs;
}

std::string Statistiques::versJson() const
{
    nlohmann::ordered_json objet;
    for (std::size_t genre = 0; genre < demandes.size(); ++genre)
        for (const auto& [champ, lire] : PAR_GENRE)
            objet[GENRES[genre]][champ.nom + sizeof "KIND"] = lire(demandes[genre]);
    for (const auto& [champ, lire] : FIGURES)
        objet[champ.nom] = lire(*this);
    return objet.dump();
}

} // namespace cdv
