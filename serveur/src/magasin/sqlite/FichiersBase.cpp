#include "FichiersBase.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>

namespace serveur {

FichiersBase::FichiersBase(const std::string& nom, sqlite3* base)
{
    const char* resolu = sqlite3_db_filename(base, "main"); // beside which SQLite puts the others
    _noter(nom);
    _noter(resolu);
    _noter(sqlite3_filename_wal(resolu));
    _noter(std::string(resolu) + "-shm");
    int deplace = 0; // before they were noted
    sqlite3_file_control(base, "main", SQLITE_FCNTL_HAS_MOVED, &deplace);
    _trouves = _trouves && deplace == 0;
}

void FichiersBase::_noter(const std::string& nom)
{
    struct stat etat = {};
    _trouves = ::stat(nom.c_str(), &etat) == 0 && _trouves;
    _fichiers.push_back({nom, etat.st_dev, etat.st_ino});
}

bool FichiersBase::enPlace() const noexcept
{
    return _trouves && std::all_of(_fichiers.begin(), _fichiers.end(), [](const Fichier& fichier) {
               struct stat etat = {};
               return ::stat(fichier.nom.c_str(), &etat) == 0 && etat.st_dev == fichier.appareil &&
                      etat.st_ino == fichier.numero;
           });
}

} // namespace serveur
