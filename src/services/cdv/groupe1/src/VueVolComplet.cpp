#include "VueVolComplet.h"

#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/Trace.h"

#define DETAIL(texte)                                                                                        \
    ORIX_TRACE_SANS_ECHEC(                                                                                   \
        orix::NTO_DETAIL, "OXvol_completData",                                                               \
        "OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const", texte)

namespace {

void rendre(CORBA::String_member& fil) noexcept { fil._retn(); }
void rendre(const SeqOXcode_statData_v3_0_0&) noexcept {} // borrowed nothing

/// For a sequence that does not own what it shows: no text is written through it.
char* montrable(const char* texte) noexcept { return const_cast<char*>(texte); }

} // namespace

// Made empty first: the destructor then gives back what a failure has left half lent.
VueVolComplet::VueVolComplet(const OXvol_completData& vol) : VueVolComplet()
{
    DETAIL("Entrée.");
    pourChaqueChamp([this](const char*, const auto* champ, auto& fil) { _emprunter(champ, fil); }, vol,
                    _objet);
    // An array given to the constructor may hold null entries: they go as changed fields with empty texts.
    for (int i = 0; i < vol.m_nrub_chgt; ++i)
        _changements.ajouter(vol.m_trub_chgt[i]);
    _objet.m_trub_chgt.replace(vol.m_nrub_chgt, _changements.debut());
    for (int i = 0; i < vol.m_npoint; ++i) {
        if (vol.m_tpoint[i] == nullptr)
            DETAIL("Element " << i << " NULL dans m_tpoint");
        _points[i] = montrable(vol.m_tpoint[i] != nullptr ? vol.m_tpoint[i] : "");
    }
    _objet.m_tpoint.replace(vol.m_npoint, _points);
    DETAIL("Sortie.");
}

VueVolComplet::~VueVolComplet()
{
    pourChaqueChamp([](const char*, auto& fil) { rendre(fil); }, _objet);
}

void VueVolComplet::_emprunter(const char* texte, CORBA::String_member& fil) noexcept
{
    fil = montrable(texte != nullptr ? texte : MARQUEUR_NUL);
}

void VueVolComplet::_emprunter(const OXcode_statData* code, SeqOXcode_statData_v3_0_0& fil)
{
    if (code != nullptr)
        fil.replace(1, _codes.ajouter(code));
}
