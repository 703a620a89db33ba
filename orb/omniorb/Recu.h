#ifndef RECU_H
#define RECU_H

#include "EntetesORB.h"

#include <omniORB4/callHandle.h>

/// What a request brings to a servant, and what the servant may keep of it.
namespace orix::orb {

/// While it lives, the calling thread serves a request, which comes from another process or from this one.
class Service
{
  public:
    explicit Service(bool distant) noexcept : _avant(s_distant) { s_distant = distant; }
    ~Service() { s_distant = _avant; }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    static bool estDistant() noexcept { return s_distant; }

  private:
    static inline thread_local bool s_distant = false;
    const bool _avant;
};

/// Base of a servant that keeps what it receives instead of copying it: the skeleton of its interface, which
/// makes prenable() work.
template <class Squelette>
class ServantPreneur : public Squelette
{
  public:
    _CORBA_Boolean _dispatch(omniCallHandle& appel) override
    {
        const Service service(appel.iop_s() != nullptr);
        return Squelette::_dispatch(appel);
    }
};

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
