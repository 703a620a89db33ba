#ifndef FILEBORNEE_H
#define FILEBORNEE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace serveur {

enum class Depot
{
    fait,
    pleine, ///< no place came free in time
    fermee
};

/// A bounded first-in first-out queue between threads. All its memory is taken at the construction: neither
/// a value that is put in nor one that is taken out can lack any.
template <class T>
class FileBornee
{
  public:
    explicit FileBornee(std::size_t capacite) : _places(capacite) {}

    /// Waits for a place, for ever when no limit is given.
    Depot deposer(T valeur, std::optional<std::chrono::milliseconds> limite = std::nullopt)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        const auto possible = [this] { return _fermee || _nombre < _places.size(); };
        if (!limite)
            _place.wait(verrou, possible);
        else if (!_place.wait_for(verrou, *limite, possible))
            return Depot::pleine;
        if (_fermee)
            return Depot::fermee;
        _places[(_premiere + _nombre++) % _places.size()] = std::move(valeur);
        _arrivee.notify_one();
        return Depot::fait;
    }

    /// Waits for values, and puts those that there are in the place of what the vector held, at most as many
    /// as its capacity; none at all: the queue is closed and empty.
    void prendre(std::vector<T>& prises)
    {
        prises.clear();
        std::unique_lock<std::mutex> verrou(_mutex);
        _arrivee.wait(verrou, [this] { return _fermee || _nombre > 0; });
        for (; _nombre > 0 && prises.size() < prises.capacity(); --_nombre) {
            prises.push_back(std::exchange(_places[_premiere], T()));
            _premiere = (_premiere + 1) % _places.size();
        }
        _place.notify_all();
    }

    /// Refuses new values; those inside can still be taken, unless they are dropped.
    void fermer(bool jeter = false)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fermee = true;
        if (jeter)
            for (; _nombre > 0; --_nombre)
                _places[(_premiere + _nombre - 1) % _places.size()] = T();
        _place.notify_all();
        _arrivee.notify_all();
    }

  private:
    std::mutex _mutex;
    std::condition_variable _place;
    std::condition_variable _arrivee;
    std::vector<T> _places; // those of the values follow one another, round the end
    std::size_t _premiere = 0;
    std::size_t _nombre = 0;
    bool _fermee = false;
};

} // namespace serveur

#endif
