#ifndef EXPEDITEURS_H
#define EXPEDITEURS_H

#include "Aiguillage.h"
#include "Fil.h"

#include <list>
#include <optional>
#include <utility>

namespace serveur {

/// The threads that send answers, a few for all lines. One whose reader takes nothing is replaced for as long
/// as that lasts: it holds up nobody else.
class Expediteurs : orix::INonCopiable
{
  public:
    explicit Expediteurs(Aiguillage& aiguillage); ///< which outlives this object; throws std::system_error
    /// Once the lines are abandoned.
    ~Expediteurs();

    std::size_t nombre() const;

    /// While one lives, the sending thread that made it may be waiting for its reader: another one takes its
    /// place. Only the first wait makes it one.
    class Attente : orix::INonCopiable
    {
      public:
        explicit Attente(Expediteurs& expediteurs) : _expediteurs(expediteurs) {}
        ~Attente()
        {
            if (_attend)
                _expediteurs._revenir();
        }
        void attendre() noexcept
        {
            if (!std::exchange(_attend, true))
                _expediteurs._remplacer();
        }

      private:
        Expediteurs& _expediteurs;
        bool _attend = false;
    };

  private:
    using Fils = std::list<std::optional<Fil>>;

    void _lancer(); ///< with the lock; throws std::bad_alloc, std::system_error
    bool _avancer(Fils::iterator celui);
    bool _partir(Fils::iterator celui);
    void _remplacer() noexcept;
    void _revenir() noexcept;

    Aiguillage& _aiguillage;
    mutable std::mutex _mutex; // guards what follows
    Fils _fils;
    Fils _partis; // to be joined
    std::size_t _attentes = 0;
    bool _arret = false;
};

} // namespace serveur

#endif
