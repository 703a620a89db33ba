#ifndef CDV_FILRAPPELS_H
#define CDV_FILRAPPELS_H

#include "TempsEssais.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <thread>

namespace cdv {

/// The callback thread: runs what is posted, in order, each when its time has come.
class FilRappels
{
  public:
    explicit FilRappels(TempsEssais& temps) : _temps(temps) {}
    ~FilRappels(); ///< drops what waits

    /// connexion: whose end drops it; 0: none. What stands behind a delay waits too.
    void poster(std::function<void()> appel, int connexion = 0,
                std::chrono::milliseconds delai = std::chrono::milliseconds(0));
    /// Drops what is of that connection; echues: what is due, too.
    void oublier(int connexion, bool echues);
    /// Until all that was posted before has run, up to what is not due. Throws std::logic_error on the
    /// thread.
    void attendreCalme();
    bool estIci() const { return std::this_thread::get_id() == _fil.get_id(); }

  private:
    using Verrou = std::unique_lock<std::mutex>;
    struct Rappel
    {
        std::function<void()> appel;
        int connexion;
        TempsEssais::Instant echeance;
        std::uint64_t rang;
    };
    void _executer();

    TempsEssais& _temps;
    std::mutex _mutex;
    std::condition_variable _arrivee;
    std::condition_variable _avance;
    std::deque<Rappel> _rappels;
    std::uint64_t _dernier = 0; // rank of what was posted last
    std::uint64_t _enCours = 0; // of what runs; 0: nothing
    std::exception_ptr _levee;
    bool _fini = false;
    std::thread _fil{[this] { _executer(); }};
};

} // namespace cdv

#endif
