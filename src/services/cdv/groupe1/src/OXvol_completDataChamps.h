#ifndef OXVOL_COMPLETDATACHAMPS_H
#define OXVOL_COMPLETDATACHAMPS_H

/// The 57 scalar fields of a flight record, once, in wire order.
///
/// TEXTE(nom) stands for a text field, CODE_STAT(nom) for a status code; nom is the member's name without its
/// "m_" prefix. A new field is one line here, which changes no other, and one in OXvol_completData.idl.
// clang-format off
#define OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT) \
    TEXTE(gidentifiant) \
    TEXTE(grealisation) \
    TEXTE(gaerod_dep) \
    TEXTE(gaerod_dest) \
    TEXTE(gdate_prev_mvt) \
    TEXTE(gheure_prev_mvt) \
    TEXTE(gsens_mvt) \
    TEXTE(gindicatif) \
    TEXTE(gexploitant_1) \
    TEXTE(gnumero_ligne_1) \
    TEXTE(gbigramme_dgac) \
    TEXTE(gimmatriculation) \
    TEXTE(gnumero_ordre) \
    TEXTE(gexploitant_2) \
    TEXTE(gnumero_ligne_2) \
    TEXTE(gnature) \
    TEXTE(gtype_exploitant) \
    TEXTE(gheure_dep_reelle) \
    TEXTE(gheure_arr_reelle) \
    TEXTE(gaerod_arr_reel) \
    TEXTE(gtrtspec) \
    TEXTE(gtype_oaci) \
    TEXTE(gtype_fin) \
    TEXTE(gcat_aeronef) \
    TEXTE(gmasse_max) \
    TEXTE(gacoustique) \
    TEXTE(gcat_ssis) \
    TEXTE(gpiste) \
    TEXTE(gbalisage) \
    TEXTE(gvisibilite) \
    TEXTE(ghauteur_nuage) \
    TEXTE(gregle_vol) \
    TEXTE(gapproche) \
    TEXTE(gparking) \
    TEXTE(gnb_aeronef) \
    TEXTE(gsieges_offerts) \
    TEXTE(gcharge_offerte) \
    TEXTE(gpax_transit) \
    TEXTE(gfret_transit) \
    TEXTE(gnb_rub_chgt) \
    TEXTE(gpkdep) \
    TEXTE(gpkarr) \
    CODE_STAT(pcode_stat_depart) \
    CODE_STAT(pcode_stat_arrivee) \
    TEXTE(gindic_irregul_arr) \
    TEXTE(gindic_irregul_dep) \
    TEXTE(gnb_mvt_arr) \
    TEXTE(gnb_mvt_dep) \
    TEXTE(gaobdt) \
    TEXTE(gaabdt) \
    TEXTE(gcause_irregul_arr) \
    TEXTE(gcause_irregul_dep) \
    TEXTE(gheure_parking_arr) \
    TEXTE(gheure_parking_dep) \
    TEXTE(gdate_reelle_mvt_arr) \
    TEXTE(gdate_reelle_mvt_dep) \
    TEXTE(gadresse_mode_S)
// clang-format on

/// Calls action for each scalar field, in wire order, with the name of its member and that member of each of
/// the objects: records, or whatever has members of the same names.
template <class Action, class... Objets>
void pourChaqueChamp(Action action, Objets&... objets)
{
/// @cond
#define OXVOL_CHAMP(nom) action("m_" #nom, objets.m_##nom...);
    /// @endcond
    OXVOL_COMPLET_CHAMPS(OXVOL_CHAMP, OXVOL_CHAMP)
#undef OXVOL_CHAMP
}

#endif
