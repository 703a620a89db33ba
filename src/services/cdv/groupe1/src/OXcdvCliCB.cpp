#include "OXcdvCliCB.h"

namespace orix {

namespace {
template <class Fonction>
const void* adresse(Fonction* fonction) noexcept
{
    return reinterpret_cast<const void*>(fonction);
}
} // namespace

std::array<const void*, 8> lireRappelsOXcdvCliCB() noexcept
{
    return {adresse(&OXcdvCliCB::activeCB),
            adresse(&OXcdvCliCB::deconnexionCB),
            adresse(&OXcdvCliCB::cree_vol_completCB),
            adresse(&OXcdvCliCB::modifie_vol_completCB),
            adresse(&OXcdvCliCB::supprime_vol_completCB),
            adresse(&OXcdvCliCB::consulte_vol_completCB),
            adresse(&OXcdvCliCB::liste_vol_completCB),
            adresse(&OXcdvCliCB::fin_liste_vol_completCB)};
}

} // namespace orix
