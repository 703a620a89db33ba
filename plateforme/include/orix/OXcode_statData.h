#ifndef ORIX_OXCODE_STATDATA_H
#define ORIX_OXCODE_STATDATA_H

#include "orix/EnregistrementTextes.h"

struct OXcode_statData_v3_0_0;

/// The fields, in wire order.
#define OXCODE_STAT_CHAMPS(TEXTE)                                                                            \
    TEXTE(gcode)                                                                                             \
    TEXTE(glibelle)                                                                                          \
    TEXTE(gheure_chgt)

/// Status code of a movement: three texts. See ORIX_ENREGISTREMENT_TEXTES.
class ORIX_API OXcode_statData
{
  public:
    /// Takes ownership of the texts, null or not; nothing is copied.
    OXcode_statData(char* gcode, char* glibelle, char* gheure_chgt) noexcept;

    ORIX_ENREGISTREMENT_TEXTES(OXcode_statData, OXCODE_STAT_CHAMPS);
};

ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcode_statData& objet);

#endif
