#ifndef ORIX_ECHEC_H
#define ORIX_ECHEC_H

#include "orix/OXstatut.h"

#include <exception>

namespace orix {

/// A failure that travels as one status. Never leaves the facade of a library.
class ORIX_API Echec : public std::exception
{
  public:
    explicit Echec(OXstatut code) noexcept : _code(code) {}
    ~Echec() override;

    OXstatut lireCode() const noexcept { return _code; }
    const char* what() const noexcept override { return texteStatut(_code); }

  private:
    OXstatut _code;
};

} // namespace orix

#endif
