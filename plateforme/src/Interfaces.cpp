// The destructors of the interfaces stand here, so that each interface's type information exists once in the
// process.
#include "orix/Configuration.h"
#include "orix/Echec.h"
#include "orix/ExecuteurCB.h"
#include "orix/IAdaptateurClient.h"
#include "orix/IExecutable.h"
#include "orix/Noyau.h"
#include "orix/ORBthread.h"
#include "orix/OXroutage.h"
#include "orix/SurveillantConnexions.h"
#include "orix/TableInformationsConnexions.h"

namespace orix {

Echec::~Echec() = default;
ErreurConfiguration::~ErreurConfiguration() = default;
ExecuteurCB::~ExecuteurCB() = default;
IAdaptateurClient::~IAdaptateurClient() = default;
IExecutable::~IExecutable() = default;
Noyau::~Noyau() = default;
ORBthread::~ORBthread() = default;
OXroutage::~OXroutage() = default;
SurveillantConnexions::~SurveillantConnexions() = default;
TableInformationsConnexions::~TableInformationsConnexions() = default;

} // namespace orix
