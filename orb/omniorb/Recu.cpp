#include "Recu.h"

#include <utility>

namespace orix::orb {

namespace {
thread_local bool t_distant = false;
}

Service::Service(bool distant) noexcept : _avant(std::exchange(t_distant, distant)) {}
Service::~Service() { t_distant = _avant; }
bool Service::estDistant() noexcept { return t_distant; }

} // namespace orix::orb
