#ifndef VOLSESSAI_H
#define VOLSESSAI_H

#include "Essais.h"
#include "OXvol_completData.h"

#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"

namespace essais {

inline OXcode_statData* codeStat(const char* code)
{
    return new OXcode_statData(OXdupliqueChaine(code), OXdupliqueChaine("libelle"), nullptr);
}

inline OXcci_rub_chgtData* rubChgt(const char* rubrique)
{
    return new OXcci_rub_chgtData(OXdupliqueChaine(rubrique), OXdupliqueChaine("avant"),
                                  OXdupliqueChaine("apres"));
}

/// A record with every field set: each text to its own name, two changed fields, three points.
inline std::unique_ptr<OXvol_completData> volComplet()
{
#define TEXTE(nom) OXdupliqueChaine(#nom),
#define CODE_STAT(nom) codeStat(#nom),
    return std::make_unique<OXvol_completData>(
        OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT) 2,
        new OXcci_rub_chgtData* [2] { rubChgt("piste"), rubChgt("parking") }, 3,
        new char* [3] { OXdupliqueChaine("AGEN"), OXdupliqueChaine("LMG"), OXdupliqueChaine("") });
#undef TEXTE
#undef CODE_STAT
}

} // namespace essais

#endif
