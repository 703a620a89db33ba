#ifndef SERVANTGARDE_H
#define SERVANTGARDE_H

#include "EntetesORB.h"
#include "Lecture.h"

#include <omniORB4/callDescriptor.h>
#include <omniORB4/callHandle.h>

#include <cstring>

/// What servants are based on.
namespace orix::orb {

inline void admettreChacun(const char*) {}

/// Base of a servant: the skeleton of its interface. Of a request that comes from another process nothing is
/// read before admettre() has seen its operation; what that throws is the answer. A request that cannot be
/// read is the last of its connection.
template <class Squelette, void (*admettre)(const char* operation) = &admettreChacun>
class ServantGarde : public Squelette
{
  public:
    _CORBA_Boolean _dispatch(omniCallHandle& appel) override
    {
        if (appel.iop_s() == nullptr)
            return Squelette::_dispatch(appel);
        oublierCle(appel);
        admettre(appel.operation_name());
        try {
            return _servir(appel);
        } catch (const CORBA::MARSHAL&) {
            signalerFausse(appel);
            throw;
        }
    }

  protected:
    /// A request that comes from another process. A servant that reads some of its operations itself does so
    /// here (servirLue()); the others, and the calls of this process, are the skeleton's.
    virtual _CORBA_Boolean _servir(omniCallHandle& appel)
    {
        if (std::strcmp(appel.operation_name(), "_is_a") != 0)
            return Squelette::_dispatch(appel);
        repondreEstUn(*this, appel);
        return true;
    }
};

[[noreturn]] inline void nAdmettrePersonne(const char*)
{
    throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
}

/// Base of a servant that this process alone may call, such as the receiver of the answers to its own calls.
template <class Squelette>
using ServantLocal = ServantGarde<Squelette, &nAdmettrePersonne>;

} // namespace orix::orb

#endif
