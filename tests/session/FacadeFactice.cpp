// The facade of the client library, on the one that the test holds.
#include "FacadeFactice.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliConnexion.h"
#include "PanneMemoire.h"

using essais::Facade;

orix::OXstatut OXcdvCliItf::active(char*) noexcept
{
    const essais::SansPanne portee;
    return Facade::instance().active();
}
orix::OXstatut OXcdvCliItf::desactive() noexcept
{
    const essais::SansPanne portee;
    return Facade::instance().desactive();
}
void orix::detruireOXcdvCliItfAdaptateur() {}
orix::OXcdvCliConnexion orix::lireOXcdvCliConnexion() noexcept { return {}; }

#define REQUETE(operation)                                                                                   \
    orix::OXstatut OXcdvCliItf::operation##_vol_complet(OXvol_completData* vol, int& idOp) noexcept          \
    {                                                                                                        \
        const essais::SansPanne portee;                                                                      \
        return Facade::instance().demander(#operation, vol, idOp);                                           \
    }
REQUETE(cree)
REQUETE(modifie)
REQUETE(supprime)
REQUETE(consulte)
REQUETE(liste)
