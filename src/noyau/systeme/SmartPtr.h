#ifndef SMARTPTR_H
#define SMARTPTR_H

#include <memory>

namespace orix {

namespace interne {

/// Single owner of a heap object, by which arguments travel inside a deferred call. A copy takes the
/// ownership over: its source still points to the object, but no longer releases it.
template <class T, class Liberation>
class Proprietaire
{
  public:
    Proprietaire(T* pointeur) noexcept : _proprietaire(pointeur != nullptr), _pointeur(pointeur) {}
    Proprietaire(const Proprietaire& autre) noexcept
        : _proprietaire(autre._proprietaire), _pointeur(autre.release())
    {}
    Proprietaire& operator=(const Proprietaire&) = delete;
    ~Proprietaire()
    {
        if (_proprietaire)
            Liberation()(_pointeur);
    }

    /// The object, which this owner will no longer release.
    T* release() const noexcept
    {
        _proprietaire = false;
        return _pointeur;
    }
    operator T*() const noexcept { return _pointeur; }

  private:
    mutable bool _proprietaire;
    T* _pointeur;
};

} // namespace interne

/// Owner of one object: scalar delete.
template <class T>
class SmartPtr : public interne::Proprietaire<T, std::default_delete<T>>
{
  public:
    using interne::Proprietaire<T, std::default_delete<T>>::Proprietaire;
};

/// Owner of an array: array delete.
template <class T>
class SmartTab : public interne::Proprietaire<T, std::default_delete<T[]>>
{
  public:
    using interne::Proprietaire<T, std::default_delete<T[]>>::Proprietaire;
};

template <class T>
SmartPtr<T> GetSmartPtr(T* pointeur)
{
    return SmartPtr<T>(pointeur);
}

template <class T>
SmartTab<T> GetSmartTab(T* pointeur)
{
    return SmartTab<T>(pointeur);
}

} // namespace orix

#endif
