#include "Horloge.h"

namespace cdv {

namespace {
std::shared_ptr<Horloge>& installee()
{
    static auto* const horloge = new std::shared_ptr<Horloge>(std::make_shared<Horloge>());
    return *horloge;
}
} // namespace

Horloge::~Horloge() = default;

Instant Horloge::maintenant() const { return std::chrono::steady_clock::now(); }

void Horloge::attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou, Instant fin)
{
    if (fin == JAMAIS)
        condition.wait(verrou);
    else
        condition.wait_until(verrou, fin);
}

std::shared_ptr<Horloge> Horloge::courante() { return std::atomic_load(&installee()); }
void Horloge::installer(std::shared_ptr<Horloge> horloge)
{
    std::atomic_store(&installee(), std::move(horloge));
}

} // namespace cdv
