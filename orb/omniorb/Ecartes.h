#ifndef ECARTES_H
#define ECARTES_H

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace orix::orb {

/// The addresses that send wrong messages, and until when each is not let in. Any thread.
class Ecartes
{
  public:
    using Instant = std::chrono::steady_clock::time_point;

    /// A wrong message came from there.
    void noter(const std::string& adresse, Instant maintenant);
    bool estEcartee(const std::string& adresse, Instant maintenant) const;
    void oublier();

  private:
    struct Fautes
    {
        unsigned nombre = 0;
        Instant fin; ///< of the time during which it is not let in
    };

    void _faireDeLaPlace();

    mutable std::mutex _mutex; // guards what follows
    std::map<std::string, Fautes> _fautes;
};

} // namespace orix::orb

#endif
