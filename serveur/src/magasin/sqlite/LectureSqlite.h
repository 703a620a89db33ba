#ifndef LECTURESQLITE_H
#define LECTURESQLITE_H

#include "BaseSqlite.h"

#include <map>

namespace serveur {

struct Filtre;

/// Reads in the database, beside who writes.
class LectureSqlite : public Lecture
{
  public:
    /// Throws ErreurMagasin. fichier outlives this object.
    explicit LectureSqlite(FichierSqlite& fichier);

    std::size_t consulter(const Lot& lot) noexcept override;
    int lister(const Fiche& exemple, Parcours& parcours, std::size_t octets,
               const SurVol& surVol) noexcept override;

  private:
    int _consulter(Demande& demande);
    int _lister(const Fiche& exemple, Parcours& parcours, std::size_t octets, const SurVol& surVol);
    std::string _borner(const Filtre& filtre, const Parcours& parcours);
    /// Prepared at its first use, and kept with the last ones that were.
    sqlite3_stmt* _ordre(const std::string& sql);

    BaseSqlite _base; // outlives the statements below
    const BaseSqlite::Ordre _commencer;
    const BaseSqlite::Ordre _terminer;
    const BaseSqlite::Ordre _consultation;
    std::map<std::string, BaseSqlite::Ordre> _ordres; // of listings, by their text
};

} // namespace serveur

#endif
