#ifndef ORIX_INTERNE_PERPETUEL_H
#define ORIX_INTERNE_PERPETUEL_H

#include "orix/INonCopiable.h"

#include <new>
#include <utility>

namespace orix {

/// An object that is never destroyed, for a static variable: threads may outlive the static objects. In
/// place: it takes no memory.
template <class T>
class Perpetuel : INonCopiable
{
  public:
    template <class... Arguments>
    explicit Perpetuel(Arguments&&... arguments)
        : _objet(::new (_place) T(std::forward<Arguments>(arguments)...))
    {}

    T& operator*() const { return *_objet; }
    T* operator->() const { return _objet; }

  private:
    alignas(T) unsigned char _place[sizeof(T)];
    T* const _objet;
};

} // namespace orix

#endif
