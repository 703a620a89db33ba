#ifndef CDV_FORMESDEMANDE_H
#define CDV_FORMESDEMANDE_H

#include "Demande.h"

#include <condition_variable>
#include <list>

namespace cdv {

/// The buffer between a listing and its reader. Guarded by the engine's lock.
class Flux::Tampon
{
  public:
    Tampon(std::shared_ptr<MoteurSession> moteur, std::size_t capacite)
        : moteur(std::move(moteur)), capacite(capacite > 0 ? capacite : 1)
    {}

    const std::shared_ptr<MoteurSession>
        moteur; ///< keeps the lock alive for a stream that outlives its session
    const std::size_t capacite;
    std::list<Vol> vols; ///< a list: to empty it takes no memory
    std::weak_ptr<Demande> demande;
    std::optional<Resultat> fin; ///< set: nothing more comes
    std::condition_variable arrivee;
};

// The forms in which the application takes its results. Except for livrer(), which runs without any lock,
// guarded by the engine's lock, under which no code of the application runs.

/// R: Resultat or ResultatListe.
template <class R>
class DemandeRassemblee : public Demande
{
  public:
    void recevoir([[maybe_unused]] Vol vol) override
    {
        if constexpr (std::is_same_v<R, ResultatListe>)
            _resultat.vols.push_back(std::move(vol));
    }

  protected:
    R& completer(Resultat resultat) noexcept
    {
        static_cast<Resultat&>(_resultat) = std::move(resultat);
        return _resultat;
    }
    R _resultat;
};

template <class R>
class DemandeFuture : public DemandeRassemblee<R>
{
  public:
    std::future<R> future() { return _promesse.get_future(); }
    bool conclure(Resultat resultat) noexcept override
    {
        _promesse.set_value(std::move(this->completer(std::move(resultat))));
        return false;
    }

  private:
    std::promise<R> _promesse;
};

template <class R>
class DemandeFonction : public DemandeRassemblee<R>
{
  public:
    explicit DemandeFonction(std::function<void(R)> fin) : _fin(std::move(fin)) {}
    bool conclure(Resultat resultat) noexcept override
    {
        this->completer(std::move(resultat));
        return _fin != nullptr;
    }
    void livrer() override { _fin(std::move(this->_resultat)); }

  private:
    const std::function<void(R)> _fin;
};

class DemandeFlux : public Demande
{
  public:
    explicit DemandeFlux(std::shared_ptr<Flux::Tampon> tampon) : _tampon(std::move(tampon)) {}
    void recevoir(Vol vol) override
    {
        _tampon->vols.push_back(std::move(vol));
        _tampon->arrivee.notify_all();
    }
    bool conclure(Resultat resultat) noexcept override
    {
        _tampon->fin = std::move(resultat);
        _tampon->arrivee.notify_all();
        return false;
    }
    std::size_t enAttente() const noexcept override { return _tampon->vols.size(); }
    std::size_t capacite() const noexcept override { return _tampon->capacite; }

  private:
    const std::shared_ptr<Flux::Tampon> _tampon;
};

} // namespace cdv

#endif
