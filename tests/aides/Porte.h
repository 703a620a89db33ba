#ifndef PORTE_H
#define PORTE_H

#include "Essais.h"

namespace essais {

/// Holds the threads that come by, once it is closed. Open at first.
class Porte
{
  public:
    void passer()
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _ouverture.wait(verrou, [this] { return !_fermee || _laisses > 0; });
        --_laisses;
    }
    /// Lets so many through, and no more.
    void fermerApres(int laisses)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fermee = true;
        _laisses = laisses;
    }
    void ouvrir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fermee = false;
        _ouverture.notify_all();
    }

  private:
    std::mutex _mutex;
    std::condition_variable _ouverture;
    bool _fermee = false;
    int _laisses = 0;
};

} // namespace essais

#endif
