// The record and its form on the wire, both ways.
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

constexpr const char* DEPUIS_FIL = "OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0&)";

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
    if (std::strcmp(fil, VueVolComplet::MARQUEUR_NUL) != 0)
        champ = orix::orb::prendre(fil);
}

void prendre(OXcode_statData*& champ, const SeqOXcode_statData_v3_0_0& fil)
{
    if (fil.length() != 0)
        champ = new OXcode_statData(fil[0]);
}

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
