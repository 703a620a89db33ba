#include "orix/OXcci_rub_chgtData.h"

#include "OXcci_rub_chgtDataC.h"

#define ENREGISTREMENT OXcci_rub_chgtData
#define CHAMPS OXCCI_RUB_CHGT_CHAMPS
#include "EnregistrementTextes.inc"

OXcci_rub_chgtData::OXcci_rub_chgtData(char* grubrique, char* gancienne_valeur,
                                       char* gnouvelle_valeur) noexcept
    : m_grubrique(grubrique), m_gancienne_valeur(gancienne_valeur), m_gnouvelle_valeur(gnouvelle_valeur)
{}
