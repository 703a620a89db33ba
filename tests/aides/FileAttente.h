#ifndef FILEATTENTE_H
#define FILEATTENTE_H

#include "Essais.h"

namespace essais {

/// What threads leave for a test that waits for it.
template <class Element>
class FileAttente
{
  public:
    void poser(Element element)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _elements.push_back(std::move(element));
        _arrivee.notify_all();
    }
    /// Takes the first; gives `sinon` when none has come by the end of the delay.
    Element prendre(Element sinon, std::chrono::milliseconds delai = std::chrono::seconds(20))
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        if (!_arrivee.wait_for(verrou, delai, [this] { return !_elements.empty(); }))
            return sinon;
        Element element = std::move(_elements.front());
        _elements.pop_front();
        return element;
    }
    std::size_t nombre()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _elements.size();
    }
    void vider()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _elements.clear();
    }

  private:
    std::mutex _mutex;
    std::condition_variable _arrivee;
    std::deque<Element> _elements;
};

/// Something awaited: the test goes on when it comes.
class Signal
{
  public:
    void donner() { _promesse.set_value(); }
    void attendre() { _future.wait(); }

  private:
    std::promise<void> _promesse;
    std::future<void> _future = _promesse.get_future();
};

} // namespace essais

#endif
