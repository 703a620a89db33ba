#include "ColonnesVol.h"

#include "OXvol_completDataChamps.h"

#include <cstring>

namespace serveur {

const char* Colonne::lire(const Vol& vol) const
{
    if (champ != nullptr) {
        const char* texte = (vol.*champ).in();
        return std::strcmp(texte, TEXTE_NUL) == 0 ? nullptr : texte;
    }
    return (vol.*code).length() == 0 ? nullptr : ((vol.*code)[0].*partie).in();
}

void Colonne::poser(Vol& vol, char* texte) const
{
    if (champ != nullptr) {
        vol.*champ = texte;
    } else {
        (vol.*code).length(1);
        (vol.*code)[0].*partie = texte;
    }
}

const std::vector<Colonne>& colonnesVol()
{
    using Vol = Colonne::Vol;
    using Code = Colonne::CodeStat;
#define COLONNE_TEXTE(nom) {"m_" #nom, &Vol::m_##nom, nullptr, nullptr},
#define COLONNES_CODE(nom)                                                                                   \
    {"m_" #nom "_code", nullptr, &Vol::m_##nom, &Code::m_gcode},                                             \
        {"m_" #nom "_libelle", nullptr, &Vol::m_##nom, &Code::m_glibelle},                                   \
        {"m_" #nom "_heure_chgt", nullptr, &Vol::m_##nom, &Code::m_gheure_chgt},
    static const std::vector<Colonne> colonnes{OXVOL_COMPLET_CHAMPS(COLONNE_TEXTE, COLONNES_CODE)};
#undef COLONNE_TEXTE
#undef COLONNES_CODE
    return colonnes;
}

} // namespace serveur
