#ifndef RECU_H
#define RECU_H

#include "EntetesORB.h"
#include "Lecture.h"

#include <omniORB4/callDescriptor.h>
#include <omniORB4/callHandle.h>

#include <cstring>

/// What a request brings to a servant, and what the servant may keep of it.
namespace orix::orb {

// Servants of every shared object of the process are of these, and the request of a thread is one.
#pragma GCC visibility push(default)

/// While it lives, the calling thread serves a request, which comes from another process or from this one.
class Service
{
  public:
    explicit Service(bool distant) noexcept;
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    static bool estDistant() noexcept;

  private:
    const bool _avant;
};

#pragma GCC visibility pop

inline void admettreChacun(const char*) {}

/// Base of a servant: the skeleton of its interface, which makes prenable() work. Of a request that comes
/// from another process nothing is read before admettre() has seen its operation; what that throws is the
/// answer. A request that cannot be read is the last of its connection.
template <class Squelette, void (*admettre)(const char* operation) = &admettreChacun>
class ServantPreneur : public Squelette
{
  public:
    _CORBA_Boolean _dispatch(omniCallHandle& appel) override
    {
        const Service service(appel.iop_s() != nullptr);
        if (!Service::estDistant())
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
    /// A request that comes from another process.
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
using ServantLocal = ServantPreneur<Squelette, &nAdmettrePersonne>;

/// The argument of the request that the calling thread is serving, when the ORB made it for this request
/// alone, out of a message: its content may be taken. Null when it is a caller's own, in this process.
template <class T>
T* prenable(const T& argument) noexcept
{
    return Service::estDistant() ? const_cast<T*>(&argument) : nullptr;
}

/// Takes the text over: it is released with array delete. This ORB allocates its texts with array new, except
/// that all the empty ones may be one and the same. Throws std::bad_alloc.
template <class Texte>
char* prendre(Texte&& texte)
{
    const char* const octets = texte;
    return *octets != '\0' ? texte._retn() : new char[1]();
}

} // namespace orix::orb

#endif
