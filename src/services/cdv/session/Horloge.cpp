#include "Horloge.h"

#include "OXcdvCliDoublure.h"

#include <utility>

namespace cdv {

namespace {

class HorlogeDoublure : public Horloge
{
  public:
    explicit HorlogeDoublure(std::shared_ptr<orix::OXcdvCliTemps> temps) : _temps(std::move(temps)) {}
    Instant maintenant() const override { return _temps->maintenant(); }
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  Instant fin) override
    {
        _temps->attendre(condition, verrou, fin);
    }

  private:
    const std::shared_ptr<orix::OXcdvCliTemps> _temps;
};

} // namespace

std::shared_ptr<Horloge> Horloge::courante()
{
    if (orix::OXcdvCliDoublure* const doublure = orix::lireDoublureOXcdvCliItf())
        if (std::shared_ptr<orix::OXcdvCliTemps> temps = doublure->temps())
            return std::make_shared<HorlogeDoublure>(std::move(temps));
    return std::make_shared<Horloge>();
}

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
