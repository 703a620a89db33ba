#include "OXcdvServeurVersClientS.h"
