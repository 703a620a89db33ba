#ifndef EXECUTEURCBIMPLEMENTATION_H
#define EXECUTEURCBIMPLEMENTATION_H

#include "Fil.h"
#include "orix/Statistiques.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/IExecutable.h"
#include "orix/interne/Perpetuel.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <vector>

namespace orix {

class ExecuteurCBImplementation final : public ExecuteurCB
{
  public:
    static ExecuteurCBImplementation& instance();

    void posterExecutable(int priorite, const std::string& nomService, IExecutable* executable) override;

    /// While calls come one by one within guetMax of each other, the thread watches for the next one that
    /// long before it sleeps: whoever posts it then wakes nobody. When they are rarer, or come many at a
    /// time, it sleeps at once.
    void demarrer(std::size_t capacite, std::chrono::microseconds guetMax);
    /// Refuses new calls, and runs those that wait. False when a call does not return within the delay: it is
    /// left to itself, and those behind it are destroyed without being run.
    bool arreter(std::chrono::milliseconds delai);
    /// Refuses new calls, destroys those that wait. False when a call does not return within the delay.
    bool abandonner(std::chrono::milliseconds delai);
    /// The figures of callbacks, of the run of the moment.
    Statistiques compter() noexcept;
    /// Whether the calling thread is one of the executor's.
    static bool estIci() noexcept;

  private:
    using Horloge = std::chrono::steady_clock;
    using File = std::vector<std::unique_ptr<IExecutable>>;

    /// What the thread of one run shares with the others; outlives the run when a call does not return.
    struct Marche
    {
        std::chrono::microseconds guetMax{0};    // set before the thread starts
        std::atomic<std::size_t> restants{0};    // taken out of the queue, not yet begun
        std::atomic<unsigned long> commences{0}; // since the start
        std::atomic<const std::type_info*> courant{nullptr};
        File lot; // the thread's own: the calls that it has taken; room for one at least

        static constexpr unsigned long ABANDON = ~0ul; // in commences: no call may begin any more
        bool estAbandonnee() const { return commences == ABANDON; }
        bool commencer();
    };

    friend class Perpetuel<ExecuteurCBImplementation>;
    ExecuteurCBImplementation() = default;
    void leverAttente(bool levee) override;
    void reserver(const std::string& nomService, std::size_t nombre) override;
    void liberer(std::size_t nombre) noexcept override;
    std::shared_ptr<Marche> _fermer();
    void _oublierLesAppels();
    void _executer(const std::shared_ptr<Marche>& marche);
    void _guetter(Horloge::time_point limite) const;
    void _vider(Marche& marche);
    // With the lock held:
    bool _estPleine() const { return _file.size() + _marche->restants.load() >= _capacite; }
    void _agrandir(std::size_t appels);
    void _prendre(File& lot);

    std::mutex _mutex; // guards what follows, atomics apart
    std::condition_variable _arrivee;
    std::condition_variable _place;
    std::atomic<int> _posteursEnAttente{0}; // changed with the lock held, read without
    std::atomic<bool> _arrive{false};       // the queue is not empty: a hint for who watches without the lock
    File _file; // its capacity exceeds what waits by the reserved places that were not taken since
    std::size_t _capacite = 0;
    std::size_t _reservees = 0;
    int _levees = 0;
    bool _ouvert = false;
    bool _endormi = false;           // the thread waits for a call
    std::shared_ptr<Marche> _marche; // null before the first start
    Fil _fil;
};

} // namespace orix

#endif
