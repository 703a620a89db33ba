#include "OXcdvCliCB.h"
#include <future>
std::promise<orix::OXstatut> activation;
std::promise<int> creation;
void OXcdvCliCB::activeCB(orix::OXstatut statut, const char*, const char*) { activation.set_value(statut); }
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::cree_vol_completCB(int code, OXvol_completData*, int) { creation.set_value(code); }
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int, int) {}
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) {}
void OXcdvCliCB::fin_liste_vol_completCB(int, int) {}
