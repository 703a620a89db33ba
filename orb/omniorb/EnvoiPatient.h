#ifndef ENVOIPATIENT_H
#define ENVOIPATIENT_H

#include "EntetesORB.h"

#include <chrono>
#include <functional>

namespace orix::orb {

#pragma GCC visibility push(default)

/// While one lives, what the calling thread sends waits for a peer that takes nothing, beyond the time-out of
/// calls: as long as continuer() says, which is asked each time that some hundredths of a second have passed.
/// On connections that this process opens. The last one counts.
class EnvoiPatient
{
  public:
    using Continuer = std::function<bool()>; ///< throws nothing
    explicit EnvoiPatient(Continuer continuer);
    ~EnvoiPatient();
    EnvoiPatient(const EnvoiPatient&) = delete;
    EnvoiPatient& operator=(const EnvoiPatient&) = delete;

  private:
    const Continuer _continuer;
    const Continuer* const _precedent;
};

/// The time-out of the calls over that reference, in place of the configuration's.
void limiterAppels(CORBA::Object_ptr objet, std::chrono::milliseconds delai);

#pragma GCC visibility pop

} // namespace orix::orb

#endif
