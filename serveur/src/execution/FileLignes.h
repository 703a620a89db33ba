#ifndef FILELIGNES_H
#define FILELIGNES_H

#include "Ligne.h"

#include <chrono>

namespace serveur {

/// Lines that wait for somebody to go on with them, in order. Putting in and taking out take no memory. Any
/// thread.
template <Ligne::Pour POUR>
class FileLignes
{
  public:
    void ajouter(std::shared_ptr<Ligne> ligne) noexcept
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        Ligne* const derniere = ligne.get();
        (_derniere != nullptr ? _derniere->_suivantes[POUR] : _premiere) = std::move(ligne);
        _derniere = derniere;
        _arrivee.notify_one();
    }

    /// The first line; waits for one, until the time-out or the closing: null then.
    std::shared_ptr<Ligne> prendre(std::chrono::milliseconds delai)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _arrivee.wait_for(verrou, delai, [this] { return _fermee || _premiere != nullptr; });
        std::shared_ptr<Ligne> ligne = std::move(_premiere);
        if (ligne == nullptr)
            return ligne;
        _premiere = std::move(ligne->_suivantes[POUR]);
        if (_premiere == nullptr)
            _derniere = nullptr;
        return ligne;
    }

    /// Nobody waits any more. What is inside can still be taken.
    void fermer()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fermee = true;
        _arrivee.notify_all();
    }
    bool estFermee() const
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _fermee && _premiere == nullptr;
    }

  private:
    mutable std::mutex _mutex;
    std::condition_variable _arrivee;
    std::shared_ptr<Ligne> _premiere;
    Ligne* _derniere = nullptr;
    bool _fermee = false;
};

} // namespace serveur

#endif
