#ifndef ORIX_OXCODE_STATDATA_H
#define ORIX_OXCODE_STATDATA_H

#include "orix/Voisin.h"

ORIX_VOISIN(OXcode_statData);

#endif
