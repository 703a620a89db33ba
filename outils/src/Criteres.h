#ifndef CRITERES_H
#define CRITERES_H

#include "CdvVol.h"

#include <string>
#include <vector>

namespace outils {

/// Which flights are listed. The service looks for whole texts and for beginnings; everything else is looked
/// at here, in what the service gives.
///
///     champ=VALEUR  champ!=VALEUR    "*" in the value stands for anything, "\*" for the star itself
///     champ>N  champ>=N  champ<N  champ<=N    a number, a date or a time; a field that holds none is not
///     taken
class Criteres
{
  public:
    /// A word without any of those is the identifier. Throws Arret.
    explicit Criteres(const std::vector<std::string>& mots);

    const cdv::Vol& exemple() const { return _exemple; } ///< what to ask the service for
    bool retient(const cdv::Vol& vol) const;             ///< whether a flight that it gave is one of them

  private:
    /// What stands before, between and behind the stars.
    using Motif = std::vector<std::string>;
    struct Critere
    {
        cdv::Champ champ;
        std::string operateur;
        Motif motif;
    };

    static bool _retient(const Critere& critere, const cdv::Vol& vol);
    void _egaler(const Critere& critere, const std::string& mot);
    static void _verifierNombre(const Critere& critere, const std::string& mot);

    cdv::Vol _exemple;
    std::vector<Critere> _restants; ///< of which the service does not know
};

} // namespace outils

#endif
