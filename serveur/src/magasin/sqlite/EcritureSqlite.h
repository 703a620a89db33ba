#ifndef ECRITURESQLITE_H
#define ECRITURESQLITE_H

#include "BaseSqlite.h"
#include "EcritureParMoities.h"

namespace serveur {

/// Writes into the database. Keeps its log small, which grows while somebody reads: what is in it goes back
/// into the file from time to time, and all of it when nobody writes.
class EcritureSqlite : public EcritureParMoities
{
  public:
    /// Throws ErreurMagasin. pagesMax: of the file, 0: no limit. fichier outlives this object.
    EcritureSqlite(FichierSqlite& fichier, int pagesMax);

    std::size_t executer(const Lot& lot) noexcept override;
    void reposer() noexcept override;

  protected:
    Issue _tenter(Place debut, Place& fin) override;
    void _annuler() noexcept override;
    const char* _pourquoi() const noexcept override { return sqlite3_errmsg(_base.lire()); }

  private:
    int _executer(Demande& demande);
    int _cree(const Fiche& vol);
    int _supprime(const Fiche& vol);
    int _rendreVol(sqlite3_stmt* ordre, Demande& demande);
    void _entretenirJournal() noexcept;
    void _vider(int mode, std::chrono::milliseconds attente) noexcept;

    BaseSqlite _base; // outlives the statements below
    const BaseSqlite::Ordre _commencerLecture;
    const BaseSqlite::Ordre _commencerEcriture;
    const BaseSqlite::Ordre _valider;
    const BaseSqlite::Ordre _annulation;
    const BaseSqlite::Ordre _insertion;
    const BaseSqlite::Ordre _modification;
    const BaseSqlite::Ordre _suppression;
    const BaseSqlite::Ordre _consultation;
    int _pagesJournal = 1; // at the last commit; a process that died may have left some
    int _prochaineRemise;  // pages from which the log is begun again
};

} // namespace serveur

#endif
