#include "Sortie.h"

#include "Francais.h"
#include "Statut.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace outils {

namespace {

[[noreturn]] void echouer(const std::string& nom) { throw Arret(USAGE, nom + " : " + raisonSysteme(errno)); }

constexpr mode_t RESERVE_AU_PROPRIETAIRE = 0600;

bool estSpecial(const std::string& nom)
{
    struct stat infos
    {
    };
    return stat(nom.c_str(), &infos) == 0 && !S_ISREG(infos.st_mode);
}

} // namespace

void creerReserve(const std::string& nom)
{
    if (const int cree = open(nom.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, RESERVE_AU_PROPRIETAIRE);
        cree >= 0)
        close(cree);
}

FichierSortie::FichierSortie(const std::string& nom, bool suite) : _nom(nom)
{
    if (nom == "-") {
        _descripteur = STDOUT_FILENO;
        return;
    }
    if (!estSpecial(nom))
        _partiel = nom + ".partiel";
    const std::string& chemin = _partiel.empty() ? nom : _partiel;
    const int mode = suite ? O_APPEND : O_CREAT | (_partiel.empty() ? 0 : O_TRUNC);
    _descripteur = open(chemin.c_str(), O_WRONLY | O_CLOEXEC | mode, RESERVE_AU_PROPRIETAIRE);
    if (_descripteur < 0)
        echouer(chemin);
    struct stat remplace
    {
    };
    if (!_partiel.empty() && stat(nom.c_str(), &remplace) == 0)
        fchmod(_descripteur, remplace.st_mode & 0777); // whoever could read the file still can
}

FichierSortie::~FichierSortie()
{
    if (_descripteur != STDOUT_FILENO)
        close(_descripteur);
}

void FichierSortie::achever()
{
    if (_partiel.empty())
        return;
    // On the disk before it takes the place of what was there.
    if (fsync(_descripteur) != 0 || std::rename(_partiel.c_str(), _nom.c_str()) != 0)
        echouer(_nom);
}

Sonnette::Sonnette() : _descripteur(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (_descripteur < 0)
        echouer("eventfd");
}

Sonnette::~Sonnette() { close(_descripteur); }

void Sonnette::sonner() const noexcept
{
    // Fails only when it has rung 2^64 times.
    [[maybe_unused]] const int sonnee = eventfd_write(_descripteur, 1);
}

FichierEntree::FichierEntree(const std::string& nom)
    : _descripteur(nom == "-" ? STDIN_FILENO : open(nom.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat infos
    {
    };
    if (_descripteur < 0 || fstat(_descripteur, &infos) != 0)
        echouer(nom);
    if (S_ISDIR(infos.st_mode)) {
        errno = EISDIR;
        echouer(nom);
    }
}

FichierEntree::~FichierEntree()
{
    if (_descripteur != STDIN_FILENO)
        close(_descripteur);
}

std::uint64_t FichierEntree::taille() const
{
    struct stat infos
    {
    };
    const bool connue = fstat(_descripteur, &infos) == 0 && S_ISREG(infos.st_mode) && infos.st_size > 0;
    return connue ? static_cast<std::uint64_t>(infos.st_size) : 0;
}

} // namespace outils
