#ifndef CDV_DEMANDE_H
#define CDV_DEMANDE_H

#include "CdvSession.h"
#include "Horloge.h"

#include <condition_variable>
#include <deque>
#include <utility>

namespace cdv {

enum class Genre : int
{
    creer,
    modifier,
    supprimer,
    consulter,
    lister
};

class Demande;

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
    std::deque<Vol> vols;
    std::weak_ptr<Demande> demande;
    std::optional<Resultat> fin; ///< set: nothing more comes
    std::condition_variable arrivee;
};

/// One request, from the call that makes it to its end. Except for livrer(), guarded by the engine's lock,
/// under which no code of the application runs.
class Demande : orix::INonCopiable
{
  public:
    virtual ~Demande() = default;

    virtual void recevoir(Vol) {} ///< a record of a listing
    /// Takes the result; true when livrer() has to be called for it.
    virtual bool conclure(Resultat resultat) = 0;
    /// Runs the application's completion. Without any lock.
    virtual void livrer() {}
    /// Where the records go when somebody reads them as they come; else null.
    virtual Flux::Tampon* tampon() { return nullptr; }

    Genre genre = Genre::creer;
    int idOp = 0; ///< 0 until the call has returned it
    Duree delai{0};
    Instant echeance = Horloge::JAMAIS;
    bool finie = false;
};

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
    R& completer(Resultat resultat)
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
    bool conclure(Resultat resultat) override
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
    bool conclure(Resultat resultat) override
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
    bool conclure(Resultat resultat) override
    {
        if (!_tampon->fin)
            _tampon->fin = std::move(resultat);
        _tampon->arrivee.notify_all();
        return false;
    }
    Flux::Tampon* tampon() override { return _tampon.get(); }

  private:
    const std::shared_ptr<Flux::Tampon> _tampon;
};

} // namespace cdv

#endif
