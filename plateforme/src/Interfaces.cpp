// The destructors of the interfaces stand here, so that each interface's type information exists once in the
// process.
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/IExecutable.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"
#include "orix/interne/OXroutage.h"
#include "orix/interne/SurveillantConnexions.h"
#include "orix/interne/TableInformationsConnexions.h"

namespace orix {

Echec::~Echec() = default;
ExecuteurCB::~ExecuteurCB() = default;
IAdaptateurClient::~IAdaptateurClient() = default;
IExecutable::~IExecutable() = default;
Noyau::~Noyau() = default;
ORBthread::~ORBthread() = default;
OXroutage::~OXroutage() = default;
SurveillantConnexions::~SurveillantConnexions() = default;
TableInformationsConnexions::~TableInformationsConnexions() = default;

} // namespace orix
