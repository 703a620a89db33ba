#ifndef FICHIERSBASE_H
#define FICHIERSBASE_H

#include <string>
#include <sys/types.h>
#include <vector>

struct sqlite3;

namespace serveur {

/// The files of an open database: whether their names still lead to them. Who deletes, renames or replaces
/// one leaves the database writing into a file that nobody finds again.
class FichiersBase
{
  public:
    /// Of the database opened under that name, in which a transaction was made: all its files are there.
    FichiersBase(const std::string& nom, sqlite3* base);

    /// Allocates nothing.
    bool enPlace() const noexcept;

  private:
    struct Fichier
    {
        std::string nom;
        dev_t appareil;
        ino_t numero;
    };
    void _noter(const std::string& nom);

    std::vector<Fichier> _fichiers;
    bool _trouves = true; // when they were noted
};

} // namespace serveur

#endif
