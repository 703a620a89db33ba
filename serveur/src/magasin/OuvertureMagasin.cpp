#include "OuvertureMagasin.h"

#include "MagasinSqlite.h"

namespace serveur {

std::unique_ptr<Magasin> ouvrirMagasin(const std::string& base, const AnnoncesMagasin& annonces)
{
    return std::make_unique<MagasinSqlite>(base, MagasinSqlite::Reglages(), annonces);
}

} // namespace serveur
