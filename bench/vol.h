#ifndef BENCH_VOL_H
#define BENCH_VOL_H

#include "OXvol_completDataChamps.h"

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Triplet
{
    std::string a, b, c;
};

/// The flight that every program of the benchmarks sends, as an application holds it: an empty text is not
/// set. Each program has its own way to turn it into what its transport sends.
struct Contenu
{
#define BENCH_TEXTE(nom) std::string nom;
#define BENCH_CODE(nom) std::vector<Triplet> nom;
    OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
    std::vector<Triplet> rubriques;
    std::vector<std::string> points;

    static constexpr int TEXTES = 55;

    /// champs texts of that length, spread over the record; one status code, 2 changes, 4 points.
    Contenu(int champs, std::size_t longueur)
        : rubriques{{"gparking", "A12", "B07"}, {"gpiste", "26R", "27L"}},
          points{"LFPG", "BUBLI", "MOPIL", "LFMN"}
    {
        int rang = 0;
        // Of each run of ranks, as many are set as the proportion wants: champs in all.
        const auto poser = [&](std::string& texte) {
            if ((rang + 1) * champs / TEXTES > rang * champs / TEXTES)
                texte.assign(longueur, static_cast<char>('A' + rang % 26));
            ++rang;
        };
#define BENCH_TEXTE(nom) poser(nom);
#define BENCH_CODE(nom)
        OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
        pcode_stat_depart.push_back({"PAR", "Parti", "1042"});
    }
};

} // namespace bench

#endif
