#include "Lecture.h"

#include "Accueil.h"

#include <omniORB4/IOP_S.h>
#include <omniORB4/callDescriptor.h>
#include <omniORB4/callHandle.h>
#include <omniORB4/giopEndpoint.h>
#include <omniORB4/minorCode.h>
#include <omniORB4/omniServant.h>

#include <omniORB4/internal/giopStream.h> // before the next two, which use it without including it

#include <omniORB4/internal/giopStrand.h>

#include <omniORB4/internal/GIOP_S.h>

#include <algorithm>
#include <iterator>

namespace orix::orb {

namespace {

constexpr CORBA::ULong PROFILS_MAX = 16;
constexpr CORBA::ULong COMPOSANTS_MAX = 32;
constexpr CORBA::ULong OCTETS_MAX = 65536; // of a part of a reference

[[noreturn]] void refuser() { throw CORBA::MARSHAL(omni::MARSHAL_InvalidIOR, CORBA::COMPLETED_NO); }

CORBA::ULong lireNombre(cdrStream& flux, CORBA::ULong max)
{
    CORBA::ULong nombre = 0;
    nombre <<= flux;
    if (nombre > max || !flux.checkInputOverrun(1, nombre))
        refuser();
    return nombre;
}

void lireOctets(cdrStream& flux, _CORBA_Unbounded_Sequence_Octet& octets)
{
    const CORBA::ULong taille = lireNombre(flux, OCTETS_MAX);
    octets.length(taille);
    flux.get_octet_array(octets.get_buffer(), static_cast<int>(taille));
}

/// Whether the ORB looks into the component, besides those of use.
bool estLuParLORB(IOP::ComponentId genre)
{
    const IOP::ComponentId LUS[] = {IOP::TAG_CSI_SEC_MECH_LIST, IOP::TAG_OMNIORB_UNIX_TRANS,
                                    IOP::TAG_OMNIORB_BIDIR, IOP::TAG_OMNIORB_RESTRICTED_CONNECTION};
    return std::find(std::begin(LUS), std::end(LUS), genre) != std::end(LUS);
}

/// Whether the component is of use, and right.
bool estUtile(const IOP::TaggedComponent& composant, Relecture relecture)
{
    cdrEncapsulationStream flux(composant.component_data.get_buffer(), composant.component_data.length(), 1);
    CORBA::ULong nombre = 0;
    if (composant.tag == IOP::TAG_SSL_SEC_TRANS) {
        const bool juste = composant.component_data.length() == 8;
        if (!juste && relecture == Relecture::parLORB)
            refuser();
        return juste;
    }
    if (composant.tag == IOP::TAG_ORB_TYPE) {
        nombre <<= flux;
    } else if (composant.tag == IOP::TAG_CODE_SETS) {
        for (int genre = 0; genre < 2;
             ++genre) { // of characters, of wide ones: the native one, those that are converted
            nombre <<= flux;
            nombre = lireNombre(flux, OCTETS_MAX);
            for (CORBA::ULong i = 0; i < nombre; ++i) {
                CORBA::ULong jeu = 0;
                jeu <<= flux;
            }
        }
    } else if (composant.tag == IOP::TAG_ALTERNATE_IIOP_ADDRESS) {
        lireTexteBrut(flux);
        CORBA::UShort port = 0;
        port <<= flux;
    } else if (relecture == Relecture::parLORB && estLuParLORB(composant.tag)) {
        refuser();
    } else {
        return false;
    }
    return true;
}

IOP::MultipleComponentProfile lireComposants(cdrStream& flux, Relecture relecture)
{
    IOP::MultipleComponentProfile utiles;
    const CORBA::ULong nombre = lireNombre(flux, COMPOSANTS_MAX);
    for (CORBA::ULong i = 0; i < nombre; ++i) {
        IOP::TaggedComponent composant;
        composant.tag <<= flux;
        lireOctets(flux, composant.component_data);
        if (!estUtile(composant, relecture))
            continue;
        const CORBA::ULong place = utiles.length();
        utiles.length(place + 1);
        utiles[place] = composant;
    }
    return utiles;
}

/// Reads the profile, and writes it again with what is known of it. False: it is of no use.
bool refaire(IOP::TaggedProfile& profil, Relecture relecture)
{
    const auto finir = [relecture](cdrStream& flux) {
        if (relecture == Relecture::parLORB && flux.checkInputOverrun(1, 1))
            refuser(); // the ORB wants nothing after it
    };
    cdrEncapsulationStream flux(profil.profile_data.get_buffer(), profil.profile_data.length(), 1);
    if (profil.tag == IOP::TAG_MULTIPLE_COMPONENTS) {
        const IOP::MultipleComponentProfile composants = lireComposants(flux, relecture);
        finir(flux);
        if (composants.length() != 0)
            IIOP::encodeMultiComponentProfile(composants, profil);
        return composants.length() != 0;
    }
    if (profil.tag != IOP::TAG_INTERNET_IOP)
        return false;
    IIOP::ProfileBody corps;
    corps.version.major = flux.unmarshalOctet();
    corps.version.minor = flux.unmarshalOctet();
    if (corps.version.major != 1)
        refuser();
    corps.address.host = lireTexteBrut(flux);
    corps.address.port <<= flux;
    lireOctets(flux, corps.object_key);
    if (corps.version.minor > 0)
        corps.components = lireComposants(flux, relecture);
    finir(flux);
    IIOP::encodeProfile(corps, profil);
    return true;
}

class AppelEstUn final : public omniCallDescriptor
{
  public:
    explicit AppelEstUn(omniServant& servant)
        : omniCallDescriptor(&AppelEstUn::_appeler, "_is_a", sizeof("_is_a"), /*oneway*/ 0, nullptr, 0,
                             /*upcall*/ 1),
          _servant(servant)
    {}

    void unmarshalArguments(cdrStream& flux) override { _type = lireTexteBrut(flux); }
    void marshalReturnedValues(cdrStream& flux) override { flux.marshalBoolean(_resultat); }

  private:
    static void _appeler(omniCallDescriptor* appel, omniServant*)
    {
        auto& moi = static_cast<AppelEstUn&>(*appel);
        moi._resultat = moi._servant._is_a(moi._type);
    }

    omniServant& _servant;
    CORBA::String_var _type;
    CORBA::Boolean _resultat = false;
};

} // namespace

CORBA::String_var lireTexteBrut(cdrStream& flux, std::size_t max)
{
    const CORBA::ULong taille = lireNombre(flux, static_cast<CORBA::ULong>(max));
    if (taille == 0)
        refuser();
    CORBA::String_var texte = CORBA::string_alloc(taille - 1);
    flux.get_octet_array(reinterpret_cast<CORBA::Octet*>(texte.inout()), static_cast<int>(taille));
    if (texte[taille - 1] != '\0')
        refuser();
    return texte;
}

CORBA::Object_ptr lireReference(cdrStream& flux, Relecture relecture)
{
    CORBA::String_var type = lireTexteBrut(flux, OCTETS_MAX);
    IOP::TaggedProfileList_var profils = new IOP::TaggedProfileList;
    const CORBA::ULong nombre = lireNombre(flux, PROFILS_MAX);
    for (CORBA::ULong i = 0; i < nombre; ++i) {
        IOP::TaggedProfile profil;
        profil.tag <<= flux;
        lireOctets(flux, profil.profile_data);
        if (!refaire(profil, relecture))
            continue;
        const CORBA::ULong place = profils->length();
        profils->length(place + 1);
        profils[place] = profil;
    }
    if (nombre == 0 && *type.in() == '\0')
        return CORBA::Object::_nil();
    if (profils->length() == 0)
        refuser();
    auto* const ior = new omniIOR(type._retn(), profils._retn());
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): becomes the reference's
    omniObjRef* const objet = omni::createObjRef(CORBA::Object::_PD_repoId, ior, /*locked*/ 0);
    return objet != nullptr ? static_cast<CORBA::Object_ptr>(objet->_ptrToObjRef(CORBA::Object::_PD_repoId))
                            : CORBA::Object::_nil();
}

void repondreEstUn(omniServant& servant, omniCallHandle& appel)
{
    AppelEstUn description(servant);
    appel.upcall(&servant, description);
}

void oublierCle(omniCallHandle& appel) noexcept
{
    omniObjKey& cle = static_cast<omni::GIOP_S*>(appel.iop_s())->keyobj();
    const auto* const octets = reinterpret_cast<const char*>(cle.key());
    const auto* const objet = reinterpret_cast<const char*>(&cle);
    const bool enPlace = octets >= objet && octets < objet + sizeof cle;
    if (!enPlace)
        delete[] cle.return_key();
}

void signalerFausse(omniCallHandle& appel) { condamner(appel); }

} // namespace orix::orb
