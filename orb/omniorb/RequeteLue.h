#ifndef REQUETELUE_H
#define REQUETELUE_H

#include "EntetesORB.h"

#include <omniORB4/callDescriptor.h>
#include <omniORB4/callHandle.h>
#include <omniORB4/minorCode.h>

#include <cstddef>
#include <cstring>
#include <string_view>

/// Requests whose arguments the servant reads where they stand in the message, instead of having the ORB make
/// an object of each. What another ORB lacks of this, its servants do without: the skeleton serves them.
namespace orix::orb {

/// Whether the texts of the message are in the character set of this process: as they are in memory.
inline bool sontNatifs(cdrStream& flux)
{
    struct Acces : cdrStream // only a derived class may name it
    {
        static auto* natif(cdrStream& celui) { return celui.*(&Acces::pd_ncs_c); }
    };
    const auto* const transmis = flux.TCS_C();
    return transmis != nullptr && transmis->id() == omni::omniCodeSet::ID_8859_1 &&
           Acces::natif(flux)->id() == transmis->id();
}

/// The arguments of a request, one after the other, as its IDL has them. Everything throws CORBA::MARSHAL for
/// what is wrong, as the ORB's own reading does.
class LecteurRequete
{
  public:
    explicit LecteurRequete(cdrStream& flux) noexcept : _flux(flux) {}

    /// Whether texte() and nombre() may be used: all that is left of the message is in memory, in one piece,
    /// and its texts are in the character set of this process. Otherwise parLORB() reads.
    bool estSurPlace() const
    {
        return sontNatifs(_flux) &&
               !_flux.checkInputOverrun(1, static_cast<CORBA::ULong>(Acces::octets(_flux) + 1));
    }

    /// The next text, with the NUL at its end and none before; to be copied before the reading ends.
    std::string_view texte()
    {
        const CORBA::ULong taille = _flux.unmarshalULong();
        const char* const debut = taille != 0 ? static_cast<const char*>(_flux.inData(taille)) : nullptr;
        if (debut == nullptr)
            _refuser(taille != 0 ? omni::MARSHAL_PassEndOfMessage : omni::MARSHAL_StringNotEndWithNull);
        if (std::memchr(debut, '\0', taille) != debut + taille - 1)
            _refuser(omni::MARSHAL_StringNotEndWithNull);
        return {debut, taille};
    }

    /// The length of a list, whose elements follow.
    int nombre(int max)
    {
        const CORBA::ULong nombre = _flux.unmarshalULong();
        if (nombre > static_cast<CORBA::ULong>(max))
            _refuser(omni::MARSHAL_SequenceIsTooLong);
        return static_cast<int>(nombre);
    }

    CORBA::Long entier() { return _flux.unmarshalLong(); }

    template <class T>
    void parLORB(T& valeur)
    {
        valeur <<= _flux;
    }

  private:
    struct Acces : cdrStream // only a derived class may name it
    {
        static std::size_t octets(cdrStream& flux)
        {
            return static_cast<std::size_t>(static_cast<char*>(flux.*(&Acces::pd_inb_end)) -
                                            static_cast<char*>(flux.inPtr()));
        }
    };
    [[noreturn, gnu::cold]] static void _refuser(CORBA::ULong mineur)
    {
        throw CORBA::MARSHAL(mineur, CORBA::COMPLETED_NO);
    }

    cdrStream& _flux;
};

/// Writes texts out of memory into a message.
class EcrivainTextes
{
  public:
    explicit EcrivainTextes(cdrStream& flux) : _flux(flux), _natifs(sontNatifs(flux)) {}

    void texte(std::string_view texte) ///< followed by a NUL in memory, without one inside
    {
        if (!_natifs)
            return _flux.marshalString(texte.data());
        _flux.marshalULong(static_cast<CORBA::ULong>(texte.size() + 1));
        _flux.put_small_octet_array(reinterpret_cast<const CORBA::Octet*>(texte.data()),
                                    static_cast<int>(texte.size() + 1));
    }
    void nombre(std::size_t nombre) { _flux.marshalULong(static_cast<CORBA::ULong>(nombre)); }

  private:
    cdrStream& _flux;
    const bool _natifs;
};

/// Serves a request without results: arguments.lire(LecteurRequete&) reads, then servir() runs, which may
/// throw one of the exceptions of the operation, given by their repository ids. These are looked at after
/// the servant has been left: they outlive the request.
template <class Arguments, class Servir>
class AppelLu final : public omniCallDescriptor
{
  public:
    AppelLu(const char* operation, const char* const* exceptions, int nombre, Arguments& arguments,
            Servir& servir)
        : omniCallDescriptor(&AppelLu::_appeler, operation, std::strlen(operation) + 1, /*oneway*/ 0,
                             exceptions, nombre, /*upcall*/ 1),
          _arguments(arguments),
          _servir(servir)
    {}

    void unmarshalArguments(cdrStream& flux) override
    {
        LecteurRequete lecteur(flux);
        _arguments.lire(lecteur);
    }

  private:
    static void _appeler(omniCallDescriptor* appel, omniServant*) { static_cast<AppelLu*>(appel)->_servir(); }

    Arguments& _arguments;
    Servir& _servir;
};

template <class Arguments, class Servir>
void servirLue(omniServant& servant, omniCallHandle& appel, Arguments& arguments, Servir servir,
               const char* const* exceptions = nullptr, int nombreExceptions = 0)
{
    AppelLu<Arguments, Servir> description(appel.operation_name(), exceptions, nombreExceptions, arguments,
                                           servir);
    appel.upcall(&servant, description);
}

} // namespace orix::orb

#endif
