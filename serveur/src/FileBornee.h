#ifndef FILEBORNEE_H
#define FILEBORNEE_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace serveur {

enum class Depot
{
    FAIT,
    PLEINE, ///< no place came free in time
    FERMEE
};

/// A bounded first-in first-out queue between threads.
template <class T>
class FileBornee
{
  public:
    explicit FileBornee(std::size_t capacite) : _capacite(capacite) {}

    /// Waits for a place, for ever when no limit is given.
    Depot deposer(T valeur, std::optional<std::chrono::milliseconds> limite = std::nullopt)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        const auto possible = [this] { return _fermee || _valeurs.size() < _capacite; };
        if (!limite)
            _place.wait(verrou, possible);
        else if (!_place.wait_for(verrou, *limite, possible))
            return Depot::PLEINE;
        if (_fermee)
            return Depot::FERMEE;
        _valeurs.push_back(std::move(valeur));
        _arrivee.notify_one();
        return Depot::FAIT;
    }

    /// Waits for values and takes at most so many; none at all: the queue is closed and empty.
    std::vector<T> prendre(std::size_t maximum)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _arrivee.wait(verrou, [this] { return _fermee || !_valeurs.empty(); });
        const auto fin = _valeurs.begin() + static_cast<std::ptrdiff_t>(std::min(maximum, _valeurs.size()));
        std::vector<T> prises(std::make_move_iterator(_valeurs.begin()), std::make_move_iterator(fin));
        _valeurs.erase(_valeurs.begin(), fin);
        _place.notify_all();
        return prises;
    }

    /// Refuses new values; those inside can still be taken, unless they are dropped.
    void fermer(bool jeter = false)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fermee = true;
        if (jeter)
            _valeurs.clear();
        _place.notify_all();
        _arrivee.notify_all();
    }

  private:
    const std::size_t _capacite;
    std::mutex _mutex;
    std::condition_variable _place;
    std::condition_variable _arrivee;
    std::deque<T> _valeurs;
    bool _fermee = false;
};

} // namespace serveur

#endif
