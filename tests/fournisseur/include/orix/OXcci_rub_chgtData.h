#ifndef ORIX_OXCCI_RUB_CHGTDATA_H
#define ORIX_OXCCI_RUB_CHGTDATA_H

#include "orix/Voisin.h"

ORIX_VOISIN(OXcci_rub_chgtData);

#endif
