#ifndef BENCH_VOLCORBA_H
#define BENCH_VOLCORBA_H

#include "../vol.h"

#include "OXvol_completDataC.h"

namespace bench {

/// The flight as it travels over CORBA.
inline OXvol_completData_v3_0_0 structure(const Contenu& contenu)
{
    OXvol_completData_v3_0_0 vol;
    const auto codeStat = [](SeqOXcode_statData_v3_0_0& sequence, const std::vector<Triplet>& codes) {
        sequence.length(static_cast<CORBA::ULong>(codes.size()));
        for (CORBA::ULong i = 0; i < sequence.length(); ++i) {
            sequence[i].m_gcode = codes[i].a.c_str();
            sequence[i].m_glibelle = codes[i].b.c_str();
            sequence[i].m_gheure_chgt = codes[i].c.c_str();
        }
    };
#define BENCH_TEXTE(nom) vol.m_##nom = contenu.nom.empty() ? "__PtrNULL__" : contenu.nom.c_str();
#define BENCH_CODE(nom) codeStat(vol.m_##nom, contenu.nom);
    OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
    vol.m_trub_chgt.length(static_cast<CORBA::ULong>(contenu.rubriques.size()));
    for (CORBA::ULong i = 0; i < vol.m_trub_chgt.length(); ++i) {
        vol.m_trub_chgt[i].m_grubrique = contenu.rubriques[i].a.c_str();
        vol.m_trub_chgt[i].m_gancienne_valeur = contenu.rubriques[i].b.c_str();
        vol.m_trub_chgt[i].m_gnouvelle_valeur = contenu.rubriques[i].c.c_str();
    }
    vol.m_tpoint.length(static_cast<CORBA::ULong>(contenu.points.size()));
    for (CORBA::ULong i = 0; i < vol.m_tpoint.length(); ++i)
        vol.m_tpoint[i] = contenu.points[i].c_str();
    return vol;
}

} // namespace bench

#endif
