#include "OXcdvCliArret.h"

#include "OXcdvCliDoublure.h"
#include "OXcdvCliItfAdaptateur.h"

void orix::detruireOXcdvCliItfAdaptateur()
{
    if (OXcdvCliDoublure* const doublure = lireDoublureOXcdvCliItf())
        return doublure->detruire();
    if (OXcdvCliItfAdaptateur* const adaptateur = Singleton<OXcdvCliItfAdaptateur>::lireExistante())
        adaptateur->detruire();
}
