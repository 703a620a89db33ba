#include "orix/interne/ServantNoyau.h"

#include "LectureActivation.h"

#include <cstring>

namespace orix {

namespace {

constexpr const char* OPERATION = "activerService";

class AppelActivation final : public omniCallDescriptor
{
  public:
    explicit AppelActivation(POA_orix_corba::Noyau& noyau)
        : omniCallDescriptor(&AppelActivation::_appeler, OPERATION, std::strlen(OPERATION) + 1, /*oneway*/ 0,
                             nullptr, 0, /*upcall*/ 1),
          _noyau(noyau)
    {}

    void unmarshalArguments(cdrStream& flux) override { _arguments.lire(flux); }
    void marshalReturnedValues(cdrStream& flux) override
    {
        _statut >>= flux;
        flux.marshalString(_serveur.in(), 0);
        flux.marshalString(_machine.in(), 0);
        _niveau.in() >>= flux;
        _numeroClient >>= flux;
    }

  private:
    static void _appeler(omniCallDescriptor* appel, omniServant*)
    {
        auto& a = static_cast<AppelActivation&>(*appel);
        a._noyau.activerService(a._arguments.service, a._arguments.niveaux, a._arguments.client,
                                a._arguments.nomORBthread, a._arguments.machine, a._statut, a._serveur.out(),
                                a._machine.out(), a._niveau.out(), a._numeroClient);
    }

    POA_orix_corba::Noyau& _noyau;
    LectureActivation _arguments;
    CORBA::Long _statut = 0;
    CORBA::String_var _serveur;
    CORBA::String_var _machine;
    orix_corba::NiveauReference_var _niveau;
    CORBA::Long _numeroClient = 0;
};

} // namespace

_CORBA_Boolean ServantNoyau::_servir(omniCallHandle& appel)
{
    if (std::strcmp(appel.operation_name(), OPERATION) != 0)
        return ServantGarde::_servir(appel);
    AppelActivation description(*this);
    appel.upcall(this, description);
    return true;
}

} // namespace orix
