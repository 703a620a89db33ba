#ifndef ORIX_OXCCI_RUB_CHGTDATA_H
#define ORIX_OXCCI_RUB_CHGTDATA_H

#include "orix/EnregistrementTextes.h"

struct OXcci_rub_chgtData_v3_0_0;

/// The fields, in wire order.
#define OXCCI_RUB_CHGT_CHAMPS(TEXTE)                                                                         \
    TEXTE(grubrique)                                                                                         \
    TEXTE(gancienne_valeur)                                                                                  \
    TEXTE(gnouvelle_valeur)

/// Changed field of a record: its name, its text before and after. See ORIX_ENREGISTREMENT_TEXTES.
class ORIX_API OXcci_rub_chgtData
{
  public:
    /// Takes ownership of the texts, null or not; nothing is copied.
    OXcci_rub_chgtData(char* grubrique, char* gancienne_valeur, char* gnouvelle_valeur) noexcept;

    ORIX_ENREGISTREMENT_TEXTES(OXcci_rub_chgtData, OXCCI_RUB_CHGT_CHAMPS);
};

ORIX_API std::ostream& operator<<(std::ostream& flux, const OXcci_rub_chgtData& objet);

#endif
