#include "OuvertureMagasin.h"

#include "MagasinPostgresql.h"
#include "MagasinSqlite.h"

namespace serveur {

std::unique_ptr<Magasin> ouvrirMagasin(const std::string& base, const AnnoncesMagasin& annonces)
{
    if (AdressePostgresql::estUneAdresse(base))
        return std::make_unique<MagasinPostgresql>(base, annonces);
    return std::make_unique<MagasinSqlite>(base, MagasinSqlite::Reglages(), annonces);
}

} // namespace serveur
