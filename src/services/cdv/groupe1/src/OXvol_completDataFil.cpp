// The record and its form on the wire, both ways.
#include "OXvol_completData.h"

#include "VolRecu.h"
#include "VueVolComplet.h"
#include "orix/Trace.h"

#include <cstring>

#define DETAIL(signature, texte)                                                                             \
    ORIX_TRACE_SANS_ECHEC(orix::NTO_DETAIL, "OXvol_completData", signature, texte)

namespace {

constexpr const char* DEPUIS_FIL = "OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0&)";

// What a field is made of; null: it is not set.

const char* vue(const char* texte) noexcept
{
    return std::strcmp(texte, VueVolComplet::MARQUEUR_NUL) != 0 ? texte : nullptr;
}

const OXcode_statData_v3_0_0* vue(const SeqOXcode_statData_v3_0_0& codes)
{
    return codes.length() != 0 ? &codes[0] : nullptr;
}

} // namespace

OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0& source) : OXvol_completData(Vide{})
{
    DETAIL(DEPUIS_FIL, "Entrée constructeur de conversion v3.0.0");
    BlocVol bloc;
    const CORBA::ULong nombreRubChgt = source.m_trub_chgt.length();
    const CORBA::ULong nombrePoint = source.m_tpoint.length();
    pourChaqueChamp([&](const char*, auto& champ, const auto& fil) { bloc.prevoir(champ, vue(fil)); }, *this,
                    source);
    for (CORBA::ULong i = 0; i < nombreRubChgt; ++i)
        bloc.prevoir(m_trub_chgt[i], &source.m_trub_chgt[i]);
    for (CORBA::ULong i = 0; i < nombrePoint; ++i)
        bloc.prevoir(m_tpoint[i], source.m_tpoint[i].in());
    bloc.loger(_bloc, _finBloc);
    pourChaqueChamp([&](const char*, auto& champ, const auto& fil) { bloc.prendre(champ, vue(fil)); }, *this,
                    source);
    for (CORBA::ULong i = 0; i < nombreRubChgt; ++i, ++m_nrub_chgt)
        bloc.prendre(m_trub_chgt[i], &source.m_trub_chgt[i]);
    for (CORBA::ULong i = 0; i < nombrePoint; ++i, ++m_npoint)
        bloc.prendre(m_tpoint[i], source.m_tpoint[i].in());
    DETAIL(DEPUIS_FIL, "Sortie constructeur de conversion v3.0.0");
}

OXvol_completData::OXvol_completData(VolRecu& recu) : OXvol_completData(Vide{})
{
    DETAIL(DEPUIS_FIL, "Entrée constructeur de conversion v3.0.0");
    recu._ceder(_bloc, _finBloc);
    pourChaqueChamp([&recu](const char*, auto& champ) { recu._poser(champ); }, *this);
    for (; m_nrub_chgt < recu._nombreChangements; ++m_nrub_chgt)
        recu._poser(m_trub_chgt[m_nrub_chgt]);
    for (; m_npoint < recu._nombrePoints; ++m_npoint)
        recu._poser(m_tpoint[m_npoint]);
    DETAIL(DEPUIS_FIL, "Sortie constructeur de conversion v3.0.0");
}

OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const
{
    // Assigned rather than constructed: where memory lacks half-way, what the sequences of this ORB have
    // copied in their constructors is lost.
    OXvol_completData_v3_0_0 copie;
    copie = VueVolComplet(*this).lire();
    return copie;
}
