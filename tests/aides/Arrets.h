#ifndef ARRETS_H
#define ARRETS_H

#include "DossierTemporaire.h"
#include "ServeurReel.h"

namespace essais {

/// Rounds that a test makes: as many as OXCDV_TOURS says, else the number given.
inline int nombreTours(int habituel)
{
    const char* const demande = std::getenv("OXCDV_TOURS");
    return demande != nullptr ? std::atoi(demande) : habituel;
}

/// Lets up to that time pass, awake: a thread that sleeps does not wake at any moment.
inline void flaner(std::chrono::microseconds max)
{
    static std::minstd_rand hasard(std::random_device{}());
    std::uniform_int_distribution<long> duree(0, max.count());
    const auto fin = std::chrono::steady_clock::now() + std::chrono::microseconds(duree(hasard));
    while (std::chrono::steady_clock::now() < fin) {
    }
}

/// A real server that stops, and comes back at the same address.
class ServeurIntermittent
{
  public:
    ServeurIntermittent() { revenir(); }

    const std::string& url() const { return _serveur->url(); }
    void arreterBientot()
    {
        flaner(std::chrono::milliseconds(1));
        _serveur->signaler(SIGTERM);
    }
    void revenir()
    {
        _serveur.reset();
        _serveur =
            std::make_unique<ServeurReel>(_dossier.fichier("vols.db"), std::vector<std::string>{}, _port);
    }
    int attendreFin() { return _serveur->attendreFin(); }

  private:
    DossierTemporaire _dossier;
    const int _port = portReserve();
    std::unique_ptr<ServeurReel> _serveur;
};

} // namespace essais

#endif
