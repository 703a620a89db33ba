#include "PartagePostgresql.h"

#include "Magasin.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace serveur {

PartagePostgresql::PartagePostgresql(const std::string& uri)
    : _adresse(uri), _descripteur(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (_descripteur < 0)
        throw ErreurMagasin(_adresse.nom() + " : aucun descripteur libre");
}

PartagePostgresql::~PartagePostgresql() { close(_descripteur); }

void PartagePostgresql::presser() noexcept
{
    _presse = true;
    eventfd_write(_descripteur, 1);
}

} // namespace serveur
