#ifndef CDV_LIVRAISONS_H
#define CDV_LIVRAISONS_H

#include "orix/INonCopiable.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <utility>

namespace cdv {

void signalerException(const char* raison) noexcept; ///< of the application's code: traces it

/// Runs the application's code; what it throws is traced, and goes no further.
template <class Appel>
void appelerApplication(Appel appel) noexcept
{
    try {
        appel();
    } catch (const std::exception& exception) {
        signalerException(exception.what());
    } catch (...) {
        signalerException("?");
    }
}

/// Code of the application that is to be run. It carries its own place in the queue: to be put there takes no
/// memory.
class Livrable : orix::INonCopiable
{
  public:
    virtual ~Livrable() = default;
    virtual void livrer() = 0;

  private:
    friend class Livraisons;
    std::shared_ptr<Livrable> _suivant;
};

/// What is to be run, in order. Nothing is in it twice.
class Livraisons : orix::INonCopiable
{
  public:
    ~Livraisons()
    {
        while (!estVide())
            prendre();
    }
    bool estVide() const noexcept { return _nombre == 0; }
    std::size_t nombre() const noexcept { return _nombre; }
    void ajouter(std::shared_ptr<Livrable> livrable) noexcept
    {
        Livrable* const dernier = livrable.get();
        (estVide() ? _premier : _dernier->_suivant) = std::move(livrable);
        _dernier = dernier;
        ++_nombre;
    }
    /// Takes the first out; there must be one.
    std::shared_ptr<Livrable> prendre() noexcept
    {
        std::shared_ptr<Livrable> premier = std::move(_premier);
        _premier = std::move(premier->_suivant);
        --_nombre;
        return premier;
    }

  private:
    std::shared_ptr<Livrable> _premier;
    Livrable* _dernier = nullptr;
    std::size_t _nombre = 0;
};

} // namespace cdv

#endif
