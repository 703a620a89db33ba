#include "OXcdvCliArret.h"

#include "OXcdvCliItfAdaptateur.h"

void orix::detruireOXcdvCliItfAdaptateur()
{
    if (OXcdvCliItfAdaptateur* const adaptateur = Singleton<OXcdvCliItfAdaptateur>::lireExistante())
        adaptateur->detruire();
}
