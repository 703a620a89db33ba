#ifndef OXCDVCLIAPPELPREPARE_H
#define OXCDVCLIAPPELPREPARE_H

#include "orix/OXstatut.h"
#include "orix/interne/IExecutable.h"

namespace orix {

/// The deferred call of a callback, made before the status that it will tell is known: it can still be posted
/// when there is no memory for another.
class OXcdvCliAppelPrepare : public IExecutable
{
  public:
    using Callback = void (*)(OXstatut);

    explicit OXcdvCliAppelPrepare(Callback callback) noexcept : _callback(callback) {}

    void ecrireStatut(OXstatut statut) noexcept { _statut = statut; }
    void executer() override { _callback(_statut); }

  private:
    const Callback _callback;
    OXstatut _statut = OXS_NOK;
};

} // namespace orix

#endif
