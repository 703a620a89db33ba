#ifndef SINGLETON_H
#define SINGLETON_H

#include "orix/INonCopiable.h"

#include <atomic>
#include <memory>

namespace orix {

/// Holds the one instance of a class: created at the first use, deleted by detruire() or when the library is
/// unloaded. A class may derive from it; one that does not can be held all the same.
template <class T>
class Singleton : INonCopiable
{
  public:
    virtual ~Singleton() = default;

    /// The instance, created when there is none. Threads that create it at the same time all get one and the
    /// same: those that come second delete theirs.
    static T* lireInstance()
    {
        if (T* const instance = lireExistante())
            return instance;
        auto nouvelle = std::make_unique<T>();
        T* presente = nullptr;
        if (s_detenteur.instance.compare_exchange_strong(presente, nouvelle.get()))
            return nouvelle.release();
        return presente;
    }

    /// The instance, or null: for those who must not bring it into being.
    static T* lireExistante() noexcept { return s_detenteur.instance.load(); }

    /// Deletes the instance, if any; the next lireInstance() creates another. The pointers given before are
    /// dead.
    static void detruire() { delete s_detenteur.instance.exchange(nullptr); }

  protected:
    Singleton() = default;

  private:
    struct Detenteur
    {
        std::atomic<T*> instance{nullptr};
        ~Detenteur() { delete instance.exchange(nullptr); }
    };
    static inline Detenteur s_detenteur;
};

} // namespace orix

#endif
