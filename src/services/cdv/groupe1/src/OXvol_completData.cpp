#include "OXvol_completDataC.h"
