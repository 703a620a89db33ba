#include "Horloge.h"

#include "OXcdvCliDoublure.h"

namespace cdv {

namespace {

class HorlogeDoublure : public Horloge
{
  public:
    explicit HorlogeDoublure(orix::OXcdvCliDoublure& doublure) : _doublure(doublure) {}
    Instant maintenant() const override { return _doublure.maintenant(); }
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  Instant fin) override
    {
        _doublure.attendre(condition, verrou, fin);
    }

  private:
    orix::OXcdvCliDoublure& _doublure;
};

} // namespace

std::shared_ptr<Horloge> Horloge::courante()
{
    if (orix::OXcdvCliDoublure* const doublure = orix::lireDoublureOXcdvCliItf())
        return std::make_shared<HorlogeDoublure>(*doublure);
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
