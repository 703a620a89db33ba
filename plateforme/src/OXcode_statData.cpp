#include "orix/OXcode_statData.h"

#include "OXcode_statDataC.h"

#define ENREGISTREMENT OXcode_statData
#define CHAMPS OXCODE_STAT_CHAMPS
#include "EnregistrementTextes.inc"

OXcode_statData::OXcode_statData(char* gcode, char* glibelle, char* gheure_chgt) noexcept
    : m_gcode(gcode), m_glibelle(glibelle), m_gheure_chgt(gheure_chgt)
{}
