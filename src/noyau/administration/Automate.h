#ifndef AUTOMATE_H
#define AUTOMATE_H

#include "orix/Trace.h"

#include <atomic>
#include <map>

namespace orix {

/// One arc of an automaton: from a vertex to another, under a label.
template <class Sommet, class Libelle>
class Arc_base
{
  public:
    Arc_base(const Sommet& origine, const Sommet& arrivee, const Libelle& libelle)
        : _origine(origine), _arrivee(arrivee), _libelle(libelle)
    {}
    ~Arc_base() = default;

    Sommet lireOrigine() const { return _origine; }
    Sommet lireArrivee() const { return _arrivee; }
    Libelle lireLibelle() const { return _libelle; }

  private:
    Sommet _origine;
    Sommet _arrivee;
    Libelle _libelle;
};

/// A state machine over two enumerations. The arcs are added first, by one thread; from then on the vertex
/// may be read and moved from any thread, without a lock: of two transitions at the same time, one moves it
/// first and the other is judged from where that one led.
template <class Sommet, class Libelle>
class Automate
{
  public:
    /// Thrown by value when a transition is refused: where the automaton was, and what was asked of it.
    class TransitionImpossible
    {
      public:
        TransitionImpossible(const Sommet& sommet, const Libelle& libelle)
            : _sommet(sommet), _libelle(libelle)
        {}

        Sommet lireSommet() const { return _sommet; }
        Libelle lireLibelle() const { return _libelle; }

      private:
        Sommet _sommet;
        Libelle _libelle;
    };

    explicit Automate(const Sommet& initial) : _sommetCourant(initial) {}

    /// A second arc with the same origin and label replaces the first.
    void ajouterArc(const Arc_base<Sommet, Libelle>& arc)
    {
        _table[arc.lireOrigine()][arc.lireLibelle()] = arc.lireArrivee();
    }

    /// By value: the vertex may have moved by the time the caller looks at it.
    Sommet lireSommetCourant() const { return _sommetCourant.load(); }

    /// Follows the arc of that label. Throws TransitionImpossible, the vertex unchanged, when there is none.
    void transition(const Libelle& libelle)
    {
        Sommet courant = _sommetCourant.load();
        for (;;) {
            const auto arcs = _table.find(courant);
            if (arcs == _table.end())
                _refuser(__PRETTY_FUNCTION__, 78, "Le sommet courant n'a pas de transitions sortantes ",
                         courant, libelle);
            const auto arc = arcs->second.find(libelle);
            if (arc == arcs->second.end())
                _refuser(__PRETTY_FUNCTION__, 89,
                         " La transition ne fait pas partie de celles autorisées à partir du sommet courant ",
                         courant, libelle);
            if (_sommetCourant.compare_exchange_weak(courant, arc->second))
                return;
        }
    }

  private:
    /// The line numbers belong to the texts: log readers know the refusals by them.
    [[noreturn]] static void _refuser(const char* fonction, int ligne, const char* texte,
                                      const Sommet& sommet, const Libelle& libelle)
    {
        if (Trace::estActif(NTO_REFUS))
            tracerTexte(NTO_REFUS, "Automate", fonction, ligne,
                        [&](std::ostream& flux) { flux << texte << static_cast<int>(libelle); });
        throw TransitionImpossible(sommet, libelle);
    }

    std::map<Sommet, std::map<Libelle, Sommet>> _table;
    std::atomic<Sommet> _sommetCourant;
};

} // namespace orix

#endif
