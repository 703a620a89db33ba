// ZeroC Ice: one-way requests, or with the variant "lot" batched ones; callbacks one-way to a proxy.
#include "../mesure.h"
#include "../vol.h"

#include "VolIce.h"

#include <Ice/Ice.h>

namespace {

Bench::Vol structure(const bench::Contenu& contenu)
{
    Bench::Vol vol;
    const auto copier = [](Bench::Triplets& cible, const std::vector<bench::Triplet>& source) {
        for (const bench::Triplet& triplet : source)
            cible.push_back({triplet.a, triplet.b, triplet.c});
    };
#define BENCH_TEXTE(nom) vol.nom = contenu.nom;
#define BENCH_CODE(nom) copier(vol.nom, contenu.nom);
    OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
    copier(vol.rubriques, contenu.rubriques);
    vol.points = contenu.points;
    return vol;
}

class Rappels : public Bench::Client
{
  public:
    explicit Rappels(bench::EnVol& enVol) : _enVol(enVol) {}
    void notifier(int, Bench::Vol, int, const Ice::Current&) override { _enVol.revenir(); }

  private:
    bench::EnVol& _enVol;
};

class EnvoyeurIce : public bench::Envoyeur
{
  public:
    EnvoyeurIce(const bench::Options& options, bench::EnVol& enVol)
        : _construire(options.construire),
          _parLots(options.variante == "lot"),
          _contenu(options.champs, options.longueur),
          _prete(structure(_contenu)),
          _communicateur(Ice::initialize())
    {
        const auto base = Ice::uncheckedCast<Bench::ServeurPrx>(
            _communicateur->stringToProxy("serveur:tcp -h 127.0.0.1 -p " + std::to_string(options.port)));
        if (options.rappel) {
            const auto adaptateur =
                _communicateur->createObjectAdapterWithEndpoints("client", "tcp -h 127.0.0.1 -p 0");
            const auto rappels = adaptateur->addWithUUID(std::make_shared<Rappels>(enVol));
            adaptateur->activate();
            base->inscrire(Ice::uncheckedCast<Bench::ClientPrx>(rappels));
        }
        _serveur = _parLots ? base->ice_batchOneway() : base->ice_oneway();
    }
    ~EnvoyeurIce() override { _communicateur->destroy(); }

    void envoyer(int numero, bool dernier) override
    {
        constexpr int CLIENT = 1;
        if (_construire)
            _serveur->creer(structure(_contenu), numero, CLIENT);
        else
            _serveur->creer(_prete, numero, CLIENT);
        if (_parLots && dernier)
            _serveur->ice_flushBatchRequests();
    }

  private:
    bool _construire, _parLots;
    bench::Contenu _contenu;
    Bench::Vol _prete;
    Ice::CommunicatorPtr _communicateur;
    std::shared_ptr<Bench::ServeurPrx> _serveur;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::client(argc, argv, [](const bench::Options& options, bench::EnVol& enVol) {
        return std::make_unique<EnvoyeurIce>(options, enVol);
    });
}
