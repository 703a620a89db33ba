// The record and its form on the wire, both ways: texts are lent on the way out, taken over on the way in.
#include "OXvol_completData.h"
#include "VueVolComplet.h"

#include "Recu.h"
#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/Trace.h"

#include <cstring>
#include <utility>

#define DETAIL(signature, texte)                                                                             \
    ORIX_TRACE_SANS_ECHEC(orix::NTO_DETAIL, "OXvol_completData", signature, texte)

namespace {

constexpr const char* VERS_FIL =
    "OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const";
constexpr const char* DEPUIS_FIL = "OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0&)";

/// Stands on the wire for a text that is not set: no string is null there.
constexpr char MARQUEUR_NUL[] = "__PtrNULL__";

/// Assigned rather than constructed: where memory lacks half-way, what the sequences of this ORB have copied
/// in their constructors is lost.
OXvol_completData_v3_0_0 copier(const OXvol_completData_v3_0_0& source)
{
    OXvol_completData_v3_0_0 copie;
    copie = source;
    return copie;
}

// One overload for each kind of field.

void prendre(char*& champ, CORBA::String_member& fil)
{
    if (std::strcmp(fil, MARQUEUR_NUL) != 0)
        champ = orix::orb::prendre(fil);
}

void prendre(OXcode_statData*& champ, const SeqOXcode_statData_v3_0_0& fil)
{
    if (fil.length() != 0)
        champ = new OXcode_statData(fil[0]);
}

void rendre(CORBA::String_member& fil) noexcept { fil._retn(); }
void rendre(const SeqOXcode_statData_v3_0_0&) noexcept {} // borrowed nothing

/// For a sequence that does not own what it shows: no text is written through it.
char* montrable(const char* texte) noexcept { return const_cast<char*>(texte); }

} // namespace

OXvol_completData::OXvol_completData(OXvol_completData_v3_0_0&& source, Vide) : OXvol_completData(Vide{})
{
    DETAIL(DEPUIS_FIL, "Entrée constructeur de conversion v3.0.0");
    pourChaqueChamp([](const char*, auto& champ, auto& fil) { prendre(champ, fil); }, *this, source);
    const int nombreRubChgt = static_cast<int>(source.m_trub_chgt.length());
    for (; m_nrub_chgt < nombreRubChgt; ++m_nrub_chgt)
        m_trub_chgt[m_nrub_chgt] = new OXcci_rub_chgtData(source.m_trub_chgt[m_nrub_chgt]);
    const int nombrePoint = static_cast<int>(source.m_tpoint.length());
    for (; m_npoint < nombrePoint; ++m_npoint)
        m_tpoint[m_npoint] = orix::orb::prendre(source.m_tpoint[m_npoint]);
    DETAIL(DEPUIS_FIL, "Sortie constructeur de conversion v3.0.0");
}

OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0& source)
    : OXvol_completData(copier(source), Vide{})
{}

OXvol_completData* recevoirVolComplet(const OXvol_completData_v3_0_0& recu)
{
    if (OXvol_completData_v3_0_0* const aPrendre = orix::orb::prenable(recu))
        return new OXvol_completData(std::move(*aPrendre), OXvol_completData::Vide{});
    return new OXvol_completData(recu);
}

OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const
{
    return copier(VueVolComplet(*this).lire());
}

// Made empty first: the destructor then gives back what a failure has left half lent.
VueVolComplet::VueVolComplet(const OXvol_completData& vol) : VueVolComplet()
{
    DETAIL(VERS_FIL, "Entrée.");
    pourChaqueChamp([this](const char*, const auto* champ, auto& fil) { _emprunter(champ, fil); }, vol,
                    _objet);
    // An array given to the constructor may hold null entries: they go as changed fields with empty texts.
    for (int i = 0; i < vol.m_nrub_chgt; ++i)
        _changements.ajouter(vol.m_trub_chgt[i]);
    _objet.m_trub_chgt.replace(vol.m_nrub_chgt, _changements.debut());
    for (int i = 0; i < vol.m_npoint; ++i) {
        if (vol.m_tpoint[i] == nullptr)
            DETAIL(VERS_FIL, "Element " << i << " NULL dans m_tpoint");
        _points[i] = montrable(vol.m_tpoint[i] != nullptr ? vol.m_tpoint[i] : "");
    }
    _objet.m_tpoint.replace(vol.m_npoint, _points);
    DETAIL(VERS_FIL, "Sortie.");
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
