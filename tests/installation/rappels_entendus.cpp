#include "CdvVol.h"
#include "OXcdvCliArret.h"
#include "OXcdvCliItf.h"
#include "orix/Processus.h"
#include <future>
extern std::promise<orix::OXstatut> activation;
extern std::promise<int> creation;
int main(int argc, char** argv)
{
    char service[] = "cdv";
    cdv::Vol vol;
    vol.ecrire("identifiant", "20261121DESSAI-000");
    int idOp = 0;
    const bool entendu =
        orix::initialiser(argc, argv, argv[1]) == orix::OXS_OK &&
        OXcdvCliItf::active(service) == orix::OXS_OK && activation.get_future().get() == orix::OXS_OK &&
        OXcdvCliItf::cree_vol_complet(&vol.brut(), idOp) == orix::OXS_OK && creation.get_future().get() == 0;
    OXcdvCliItf::desactive();
    orix::detruireOXcdvCliItfAdaptateur();
    return orix::terminer() == orix::OXS_OK && entendu ? 0 : 1;
}
