// The record and its form on the wire, both ways.
#include "OXvol_completData.h"
#include "VueVolComplet.h"

#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/interne/ChampsEnregistrement.h"
#include "orix/interne/DepuisFil.h"

#define DETAIL(fonction, texte) ORIX_TRACE(orix::NTO_DETAIL, "OXvol_completData", fonction, texte)

namespace {

using orix::champ::versFil;

/// Gives the wire form copies of its own.
struct Copie
{
    static char* texte(const char* texte) { return CORBA::string_dup(texte); }
    template <class Objet, class Fil>
    static void objet(const Objet& source, Fil& fil)
    {
        fil = source.construireObjetSpecifique_v3_0_0();
    }
};

/// Lends the wire form what the record has, until rendre().
struct Pret
{
    static char* texte(const char* texte) noexcept { return const_cast<char*>(texte); }
    template <class Objet, class Fil>
    static void objet(const Objet& source, Fil& fil)
    {
        source.preter_v3_0_0(fil);
    }
};

template <class Sequence, class Entree>
void rendreObjets(Sequence& sequence)
{
    for (CORBA::ULong i = 0; i < sequence.length(); ++i)
        Entree::rendre_v3_0_0(sequence[i]);
    sequence.length(0);
}

/// Takes back all that Pret has lent to the object, which may have been stopped half-way. The buffers stay.
void rendre(OXvol_completData_v3_0_0& objet) noexcept
{
#define TEXTE(nom) objet.m_##nom._retn();
#define CODE_STAT(nom) rendreObjets<SeqOXcode_statData_v3_0_0, OXcode_statData>(objet.m_##nom);
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    rendreObjets<SeqTabOXvol_completData_m_trub_chgt_v3_0_0, OXcci_rub_chgtData>(objet.m_trub_chgt);
    for (CORBA::ULong i = 0; i < objet.m_tpoint.length(); ++i)
        objet.m_tpoint[i]._retn();
    objet.m_tpoint.length(0);
}

/// The object of this thread that loans go to, so that its buffers serve again; taken while a loan lasts.
struct Reserve
{
    OXvol_completData_v3_0_0 objet;
    bool prise = false;
};
thread_local Reserve t_reserve;

} // namespace

OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0& source) : OXvol_completData(Vide{})
{
    extraire<orix::champ::ParCopie>(source);
}

OXvol_completData::OXvol_completData(OXvol_completData_v3_0_0&& source) : OXvol_completData(Vide{})
{
    extraire<orix::champ::ParReprise>(source);
}

/// Fills in this record, without content yet, in the given manner.
template <class Maniere, class Fil>
void OXvol_completData::extraire(Fil& source)
{
    // Taken over or copied, it is the same conversion to whoever reads the traces.
    static constexpr const char* SIGNATURE =
        "OXvol_completData::OXvol_completData(const OXvol_completData_v3_0_0&)";
    DETAIL(SIGNATURE, "Entrée constructeur de conversion v3.0.0");
#define TEXTE(nom)                                                                                           \
    if (!orix::champ::estMarqueurNul(source.m_##nom))                                                        \
        m_##nom = Maniere::texte(source.m_##nom);
#define CODE_STAT(nom)                                                                                       \
    if (source.m_##nom.length() != 0)                                                                        \
        m_##nom = Maniere::template objet<OXcode_statData>(source.m_##nom[0]);
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    const int nombreRubChgt = static_cast<int>(source.m_trub_chgt.length());
    for (; m_nrub_chgt < nombreRubChgt; ++m_nrub_chgt)
        m_trub_chgt[m_nrub_chgt] =
            Maniere::template objet<OXcci_rub_chgtData>(source.m_trub_chgt[m_nrub_chgt]);
    const int nombrePoint = static_cast<int>(source.m_tpoint.length());
    for (; m_npoint < nombrePoint; ++m_npoint)
        m_tpoint[m_npoint] = Maniere::texte(source.m_tpoint[m_npoint]);
    DETAIL(SIGNATURE, "Sortie constructeur de conversion v3.0.0");
}

/// Fills in the object, whose texts and sequences are empty, in the given manner.
template <class Maniere>
void OXvol_completData::verser(OXvol_completData_v3_0_0& objet) const
{
    // Lent or copied, it is the same conversion to whoever reads the traces.
    static constexpr const char* SIGNATURE =
        "OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const";
    DETAIL(SIGNATURE, "Entrée.");
#define TEXTE(nom) objet.m_##nom = Maniere::texte(versFil(m_##nom));
#define CODE_STAT(nom)                                                                                       \
    if (m_##nom != nullptr) {                                                                                \
        objet.m_##nom.length(1);                                                                             \
        Maniere::objet(*m_##nom, objet.m_##nom[0]);                                                          \
    }
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    // An array given to the constructor may hold null entries: they go as changed fields without content.
    static const OXcci_rub_chgtData vide;
    objet.m_trub_chgt.length(m_nrub_chgt);
    for (int i = 0; i < m_nrub_chgt; ++i)
        Maniere::objet(m_trub_chgt[i] != nullptr ? *m_trub_chgt[i] : vide, objet.m_trub_chgt[i]);
    objet.m_tpoint.length(m_npoint);
    for (int i = 0; i < m_npoint; ++i) {
        const char* const point = m_tpoint[i];
        if (point == nullptr)
            DETAIL(SIGNATURE, "Element " << i << " NULL dans m_tpoint");
        objet.m_tpoint[i] = Maniere::texte(point != nullptr ? point : "");
    }
    DETAIL(SIGNATURE, "Sortie.");
}

OXvol_completData_v3_0_0 OXvol_completData::construireObjetSpecifique_v3_0_0() const
{
    OXvol_completData_v3_0_0 objet;
    verser<Copie>(objet);
    return objet;
}

VueVolComplet::VueVolComplet(const OXvol_completData& vol)
{
    if (t_reserve.prise)
        _propre = std::make_unique<OXvol_completData_v3_0_0>();
    _objet = _propre ? _propre.get() : &t_reserve.objet;
    // Before the traces of the conversion: whoever receives them may send too.
    if (!_propre)
        t_reserve.prise = true;
    try {
        vol.verser<Pret>(*_objet);
    } catch (...) {
        _rendre();
        throw;
    }
}

VueVolComplet::~VueVolComplet() { _rendre(); }

void VueVolComplet::_rendre() noexcept
{
    rendre(*_objet);
    if (!_propre)
        t_reserve.prise = false;
}
