#ifndef BENCH_VOLAPPLICATION_H
#define BENCH_VOLAPPLICATION_H

#include "../vol.h"

#include "OXvol_completData.h"
#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"

namespace bench {

/// Fills in an empty record of the library.
inline void remplir(OXvol_completData& vol, const Contenu& contenu)
{
    const auto copie = [](const std::string& texte) { return OXdupliqueChaine(texte.c_str()); };
#define BENCH_TEXTE(nom)                                                                                     \
    if (!contenu.nom.empty())                                                                                \
        vol.ecrire_##nom(copie(contenu.nom));
#define BENCH_CODE(nom)                                                                                      \
    for (const Triplet& code : contenu.nom)                                                                  \
        vol.ecrire_##nom(new OXcode_statData(copie(code.a), copie(code.b), copie(code.c)));
    OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
    for (const Triplet& rubrique : contenu.rubriques)
        vol.ajouter_rub_chgt(new OXcci_rub_chgtData(copie(rubrique.a), copie(rubrique.b), copie(rubrique.c)));
    for (std::string point : contenu.points)
        vol.ajouter_point(point.data());
}

} // namespace bench

#endif
