#ifndef ENVOISANSREPONSE_H
#define ENVOISANSREPONSE_H

#include "AppelSortant.h"
#include "EntetesORB.h"

#include <omniORB4/callDescriptor.h>

#include <cstring>
#include <tuple>

namespace orix::orb {

namespace interne {

template <class T>
inline void ecrire(cdrStream& flux, const T& valeur)
{
    valeur >>= flux;
}
inline void ecrire(cdrStream& flux, const char* valeur) { flux.marshalString(valeur, 0); }

/// A call of any operation, for which no response is expected. Holds references: lives no longer than the
/// call.
template <class... Arguments>
class AppelSansReponse final : public omniCallDescriptor
{
  public:
    AppelSansReponse(const char* operation, const Arguments&... arguments)
        : omniCallDescriptor(nullptr, operation, std::strlen(operation) + 1, /*oneway*/ 1, nullptr, 0, 0),
          _arguments(arguments...)
    {}

    void marshalArguments(cdrStream& flux) override
    {
        std::apply([&flux](const auto&... argument) { (ecrire(flux, argument), ...); }, _arguments);
    }

  private:
    std::tuple<const Arguments&...> _arguments;
};

} // namespace interne

/// Sends a call for which no response is expected. The arguments write themselves as those of the IDL would:
/// value >>= stream. Throws as envoyer().
template <class Reference, class... Arguments>
void envoyerSansReponse(Reference* reference, const char* operation, const Arguments&... arguments)
{
    const AppelSortant enCours;
    interne::AppelSansReponse<Arguments...> appel(operation, arguments...);
    reference->_PR_getobj()->_invoke(appel);
}

/// Does what reference->sendc_OPERATION(handler, arguments...) does.
///
/// A nil handler means that no response is wanted. This ORB would hand such a call to worker threads, which
/// lose the order of the calls and the failures of the sends; here the message leaves on the caller's thread
/// instead, marked "no response expected", and a failure to send it is raised as a CORBA system exception.
template <class Reference, class Handler, class... Parametres, class... Arguments>
void envoyer(Reference* reference, void (Reference::*sendc)(Handler, Parametres...), const char* operation,
             Handler handler, const Arguments&... arguments)
{
    if (CORBA::is_nil(handler))
        return envoyerSansReponse(reference, operation, arguments...);
    const AppelSortant enCours;
    (reference->*sendc)(handler, arguments...);
}

} // namespace orix::orb

#endif
