#ifndef PROGRESSION_H
#define PROGRESSION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>

namespace outils {

/// How far a long work is.
struct Avancement
{
    std::uint64_t vols = 0;
    std::optional<double> part; ///< from 0 to 1, where the whole is known
    double secondes = 0;        ///< since the beginning
};

/// One line of at most that many columns: part done, bar, count, rate, time left. The bar goes first where
/// there is no room, then the rate.
std::string ligneAvancement(const Avancement& avancement, std::size_t colonnes);
/// "0:07", "12:34", "1:02:03"
std::string duree(double secondes);
/// The same for a sentence: "0.42 s" under a minute.
std::string texteDuree(double secondes);
/// Thousands apart: "200 000".
std::string nombre(std::uint64_t valeur);
/// A number with its noun: "0 vol créé", "2 vols créés" for "vol créé".
std::string compte(std::uint64_t valeur, const std::string& nom);

/// Shows how far a work is: a bar that is redrawn on a terminal, a line now and then elsewhere. Every
/// function may be called from any thread.
class Progression
{
  public:
    /// colonnes: of the terminal; none: flux is no terminal.
    Progression(std::ostream& flux, std::optional<std::size_t> colonnes);
    ~Progression(); ///< the bar disappears

    void avancer(std::uint64_t vols,
                 std::optional<double> part); ///< cheap: most calls only look at the clock
    void dire(const std::string& ligne);      ///< a line of its own, above the bar
    double secondes() const;

  private:
    using Horloge = std::chrono::steady_clock;
    void _effacer();

    std::ostream& _flux;
    const std::optional<std::size_t> _colonnes;
    const Horloge::time_point _debut = Horloge::now();
    std::mutex _mutex;
    Horloge::time_point _prochaine;
    std::string _barre; ///< what the terminal shows; empty: nothing
};

} // namespace outils

#endif
