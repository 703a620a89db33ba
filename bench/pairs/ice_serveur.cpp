// Drops each record that comes over ZeroC Ice, or sends it back.
#include "../mesure.h"

#include "VolIce.h"

#include <Ice/Ice.h>

namespace {

class Service : public Bench::Serveur
{
  public:
    Service(const bench::Options& options, bench::Reception& reception)
        : _options(options), _reception(reception)
    {}

    void inscrire(std::shared_ptr<Bench::ClientPrx> client, const Ice::Current&) override
    {
        _client = client->ice_oneway();
    }
    void creer(Bench::Vol vol, int numero, int, const Ice::Current&) override
    {
        constexpr int FAIT = 0;
        _reception.recevoir();
        if (_options.rappel)
            _client->notifier(FAIT, vol, numero);
    }

  private:
    const bench::Options& _options;
    bench::Reception& _reception;
    std::shared_ptr<Bench::ClientPrx> _client;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::serveur(argc, argv, [](const bench::Options& options, bench::Reception& reception) {
        const auto communicateur = std::make_shared<Ice::CommunicatorHolder>(Ice::initialize());
        const auto adaptateur = (*communicateur)
                                    ->createObjectAdapterWithEndpoints(
                                        "serveur", "tcp -h 127.0.0.1 -p " + std::to_string(options.port));
        adaptateur->add(std::make_shared<Service>(options, reception), Ice::stringToIdentity("serveur"));
        adaptateur->activate();
        return communicateur;
    });
}
