#ifndef STATUT_H
#define STATUT_H

#include <stdexcept>
#include <string>

namespace outils {

/// Exit status of the command.
enum Statut : int
{
    FAIT = 0,
    REFUS = 1,          ///< the server refused, or lines were rejected
    USAGE = 2,          ///< wrong command line, or a file that cannot be used
    SANS_CONNEXION = 3, ///< no server accepted
    PERDU = 4,          ///< lost during the work, or not answered in time
    DEGRADE = 5,        ///< one server of two is active
    INTERROMPU = 130    ///< by a signal, as shells tell it
};

/// Ends the command; what() is one line for the user, empty when everything has been said.
class Arret : public std::runtime_error
{
  public:
    Arret(Statut statut, const std::string& message) : std::runtime_error(message), _statut(statut) {}
    Statut statut() const noexcept { return _statut; }

  private:
    Statut _statut;
};

/// No server accepted; motif() says why in a few words.
class PasDeConnexion : public Arret
{
  public:
    PasDeConnexion(const std::string& motif, const std::string& noyaux)
        : Arret(SANS_CONNEXION, "pas de connexion : " + motif + ", " + noyaux), _motif(motif)
    {}
    const std::string& motif() const noexcept { return _motif; }

  private:
    std::string _motif;
};

} // namespace outils

#endif
