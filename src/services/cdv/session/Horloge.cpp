#include "Horloge.h"

namespace cdv {

Horloge::~Horloge() = default;

Instant Horloge::maintenant() const { return std::chrono::steady_clock::now(); }

void Horloge::attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou, Instant fin)
{
    if (fin == JAMAIS)
        condition.wait(verrou);
    else
        condition.wait_until(verrou, fin);
}

} // namespace cdv
