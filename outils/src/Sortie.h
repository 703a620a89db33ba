#ifndef SORTIE_H
#define SORTIE_H

#include "TamponFd.h"

#include "orix/INonCopiable.h"

#include <ostream>
#include <string>

namespace outils {

/// A stream into a file descriptor, which throws what TamponFd throws. What remains is to be written with
/// flush(): the destructor drops it.
class FluxFd : public std::ostream
{
  public:
    explicit FluxFd(int descripteur) : std::ostream(nullptr), _tampon(descripteur)
    {
        rdbuf(&_tampon);
        exceptions(std::ios::badbit);
    }

  private:
    TamponFd _tampon;
};

/// Makes the file, empty, for its owner alone; one that is there already stays as it is.
void creerReserve(const std::string& nom);

/// A file that only takes its name once it is complete: until then its content is in NAME.partiel. What is no
/// regular file (a device, a pipe) and "-", the standard output, are written directly. The rights are those
/// of the file that it replaces, else its owner's alone.
class FichierSortie : orix::INonCopiable
{
  public:
    /// suite: goes on after what NAME.partiel holds. Throws Arret.
    FichierSortie(const std::string& nom, bool suite);
    ~FichierSortie();

    int descripteur() const { return _descripteur; }
    void achever();                                            ///< gives it its name; throws Arret
    const std::string& provisoire() const { return _partiel; } ///< where the content is; empty: in place

  private:
    std::string _nom;
    std::string _partiel;
    int _descripteur = -1;
};

/// A bell: its descriptor is readable for ever once it has rung.
class Sonnette : orix::INonCopiable
{
  public:
    Sonnette(); ///< throws Arret
    ~Sonnette();

    int descripteur() const { return _descripteur; }
    void sonner() const noexcept; ///< from any thread

  private:
    int _descripteur;
};

/// Opens for reading; "-" is the standard input. Throws Arret.
class FichierEntree : orix::INonCopiable
{
  public:
    explicit FichierEntree(const std::string& nom);
    ~FichierEntree();

    int descripteur() const { return _descripteur; }
    std::uint64_t taille() const; ///< 0 where it is not known

  private:
    int _descripteur = -1;
};

} // namespace outils

#endif
