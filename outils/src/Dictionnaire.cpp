#include "Dictionnaire.h"

namespace outils {

namespace {

struct Forme
{
    std::string_view texte[2];
    std::string_view longueur;
};

constexpr Forme LIBRE{{"texte libre", "free text"}, ""};
constexpr Forme CODE{{"code du site", "code of the site"}, ""};
constexpr Forme AERODROME{{"indicateur d'emplacement OACI", "ICAO location indicator"}, "4"};
constexpr Forme EXPLOITANT{{"indicatif OACI d'exploitant", "ICAO operator designator"}, "3"};
constexpr Forme TYPE_AERONEF{{"indicatif de type OACI", "ICAO type designator"}, "2-4"};
constexpr Forme DATE{{"AAAAMMJJ", "YYYYMMDD"}, "8"};
constexpr Forme HEURE{{"HHMM", "HHMM"}, "4"};
constexpr Forme NOMBRE{{"chiffres", "digits"}, ""};
constexpr Forme SENS{{"A arrivée, D départ", "A arrival, D departure"}, "1"};
constexpr Forme SILLAGE{{"catégorie de sillage : L, M, H ou J", "wake category: L, M, H or J"}, "1"};
constexpr Forme REGLE{{"I (IFR), V (VFR), Y ou Z", "I (IFR), V (VFR), Y or Z"}, "1"};
constexpr Forme APPROCHE{{"catégorie d'aéronef, de A à E", "aircraft category, A to E"}, "1"};
constexpr Forme SSIS{{"de 1 à 10", "1 to 10"}, "1-2"};
constexpr Forme PISTE{{"deux chiffres, puis L, C ou R", "two digits, then L, C or R"}, "2-3"};
constexpr Forme METRES{{"mètres (9999 : 10 km ou plus)", "metres (9999: 10 km or more)"}, "4"};
constexpr Forme KILOGRAMMES{{"kilogrammes", "kilograms"}, "3-6"};
constexpr Forme BIGRAMME{{"deux caractères", "two characters"}, "2"};
constexpr Forme HEXADECIMAL{{"six chiffres hexadécimaux", "six hexadecimal digits"}, "6"};

DescriptionChamp decrire(cdv::Champ champ, std::string_view francais, std::string_view anglais,
                         const Forme& forme, std::string_view exemple = {})
{
    return {champ, {francais, anglais}, {forme.texte[0], forme.texte[1]}, forme.longueur, exemple};
}

} // namespace

const std::vector<DescriptionChamp>& dictionnaire()
{
    using C = cdv::Champ;
    // clang-format off
    static const std::vector<DescriptionChamp> CHAMPS{
        decrire(C::gidentifiant, "clé du vol, unique, choisie par qui le crée", "key of the flight, unique, chosen by who creates it", LIBRE, "20261121DAFR012-000"),
        decrire(C::grealisation, "réalisation du mouvement", "whether the movement has taken place", CODE, "R"),
        decrire(C::gaerod_dep, "aérodrome de départ", "aerodrome of departure", AERODROME, "LFBO"),
        decrire(C::gaerod_dest, "aérodrome de destination", "aerodrome of destination", AERODROME, "LFPG"),
        decrire(C::gdate_prev_mvt, "date prévue du mouvement", "planned date of the movement", DATE, "20261121"),
        decrire(C::gheure_prev_mvt, "heure prévue du mouvement", "planned time of the movement", HEURE, "0501"),
        decrire(C::gsens_mvt, "sens du mouvement", "direction of the movement", SENS, "D"),
        decrire(C::gindicatif, "indicatif d'appel", "callsign", LIBRE, "AFR012"),
        decrire(C::gexploitant_1, "exploitant", "operator", EXPLOITANT, "AFR"),
        decrire(C::gnumero_ligne_1, "numéro de ligne de cet exploitant", "line number of that operator", LIBRE, "012"),
        decrire(C::gbigramme_dgac, "bigramme DGAC de l'exploitant", "two-character DGAC code of the operator", BIGRAMME, "AF"),
        decrire(C::gimmatriculation, "immatriculation de l'aéronef", "registration of the aircraft", LIBRE, "F-GRHB"),
        decrire(C::gnumero_ordre, "numéro d'ordre", "order number", LIBRE),
        decrire(C::gexploitant_2, "second exploitant", "second operator", EXPLOITANT, "KLM"),
        decrire(C::gnumero_ligne_2, "numéro de ligne du second exploitant", "line number of the second operator", LIBRE, "2012"),
        decrire(C::gnature, "nature du vol", "nature of the flight", CODE, "REG"),
        decrire(C::gtype_exploitant, "type d'exploitant", "type of operator", CODE, "COM"),
        decrire(C::gheure_dep_reelle, "heure réelle de départ", "actual time of departure", HEURE, "0509"),
        decrire(C::gheure_arr_reelle, "heure réelle d'arrivée", "actual time of arrival", HEURE, "0513"),
        decrire(C::gaerod_arr_reel, "aérodrome réel d'arrivée", "actual aerodrome of arrival", AERODROME, "LFPO"),
        decrire(C::gtrtspec, "traitement spécial", "special handling", LIBRE),
        decrire(C::gtype_oaci, "type de l'aéronef", "type of the aircraft", TYPE_AERONEF, "A319"),
        decrire(C::gtype_fin, "type fin de l'aéronef", "detailed type of the aircraft", LIBRE),
        decrire(C::gcat_aeronef, "catégorie de l'aéronef", "category of the aircraft", SILLAGE, "M"),
        decrire(C::gmasse_max, "masse maximale", "maximum mass", KILOGRAMMES, "75500"),
        decrire(C::gacoustique, "classement acoustique", "noise class", CODE),
        decrire(C::gcat_ssis, "catégorie SSIS (sauvetage et incendie)", "rescue and fire-fighting category", SSIS, "6"),
        decrire(C::gpiste, "piste", "runway", PISTE, "32L"),
        decrire(C::gbalisage, "balisage", "lighting", CODE),
        decrire(C::gvisibilite, "visibilité", "visibility", METRES, "0800"),
        decrire(C::ghauteur_nuage, "hauteur des nuages", "height of clouds", LIBRE),
        decrire(C::gregle_vol, "règles de vol", "flight rules", REGLE, "I"),
        decrire(C::gapproche, "approche", "approach", APPROCHE, "C"),
        decrire(C::gparking, "poste de stationnement", "stand", LIBRE, "B12"),
        decrire(C::gnb_aeronef, "nombre d'aéronefs", "number of aircraft", NOMBRE, "1"),
        decrire(C::gsieges_offerts, "sièges offerts", "seats offered", NOMBRE, "144"),
        decrire(C::gcharge_offerte, "charge offerte", "load offered", LIBRE),
        decrire(C::gpax_transit, "passagers en transit", "passengers in transit", NOMBRE, "0"),
        decrire(C::gfret_transit, "fret en transit", "freight in transit", LIBRE),
        decrire(C::gnb_rub_chgt, "nombre de rubriques changées (rien ne l'accorde avec la liste)", "number of changed fields (nothing keeps it in step with the list)", NOMBRE, "2"),
        decrire(C::gpkdep, "parking (pk) du départ", "stand (pk) of the departure", LIBRE),
        decrire(C::gpkarr, "parking (pk) de l'arrivée", "stand (pk) of the arrival", LIBRE),
        decrire(C::pcode_stat_depart_gcode, "statut du départ", "status of the departure", CODE, "RTD"),
        decrire(C::pcode_stat_depart_glibelle, "libellé de ce statut", "text of that status", LIBRE),
        decrire(C::pcode_stat_depart_gheure_chgt, "heure où ce statut a changé", "time at which that status changed", LIBRE),
        decrire(C::pcode_stat_arrivee_gcode, "statut de l'arrivée", "status of the arrival", CODE, "RTD"),
        decrire(C::pcode_stat_arrivee_glibelle, "libellé de ce statut", "text of that status", LIBRE),
        decrire(C::pcode_stat_arrivee_gheure_chgt, "heure où ce statut a changé", "time at which that status changed", LIBRE),
        decrire(C::gindic_irregul_arr, "indicateur d'irrégularité de l'arrivée", "irregularity of the arrival", CODE),
        decrire(C::gindic_irregul_dep, "indicateur d'irrégularité du départ", "irregularity of the departure", CODE),
        decrire(C::gnb_mvt_arr, "nombre de mouvements à l'arrivée", "number of arrival movements", NOMBRE),
        decrire(C::gnb_mvt_dep, "nombre de mouvements au départ", "number of departure movements", NOMBRE),
        decrire(C::gaobdt, "départ réel du bloc", "actual off-block time", LIBRE),
        decrire(C::gaabdt, "arrivée réelle au bloc", "actual arrival at the block", LIBRE),
        decrire(C::gcause_irregul_arr, "cause de l'irrégularité de l'arrivée", "cause of the arrival's irregularity", CODE),
        decrire(C::gcause_irregul_dep, "cause de l'irrégularité du départ", "cause of the departure's irregularity", CODE),
        decrire(C::gheure_parking_arr, "heure au parking, à l'arrivée", "time at the stand, on arrival", HEURE, "0521"),
        decrire(C::gheure_parking_dep, "heure au parking, au départ", "time at the stand, on departure", HEURE, "0455"),
        decrire(C::gdate_reelle_mvt_arr, "date réelle de l'arrivée", "actual date of the arrival", DATE, "20261121"),
        decrire(C::gdate_reelle_mvt_dep, "date réelle du départ", "actual date of the departure", DATE, "20261121"),
        decrire(C::gadresse_mode_S, "adresse mode S de l'aéronef", "mode S address of the aircraft", HEXADECIMAL, "4C16BA"),
    };
    // clang-format on
    return CHAMPS;
}

std::string resumer(const DescriptionChamp& champ)
{
    std::string texte(champ.contenu[FRANCAIS]); // no line of a table is to end inside of a pair
    texte.append(" ; ").append(champ.forme[FRANCAIS]);
    if (!champ.longueur.empty())
        texte.append(", longueur\u00A0").append(champ.longueur);
    if (!champ.exemple.empty())
        texte.append(" ; exemple\u00A0:\u00A0").append(champ.exemple);
    return texte;
}

} // namespace outils
