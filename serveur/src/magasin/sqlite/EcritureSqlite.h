#ifndef ECRITURESQLITE_H
#define ECRITURESQLITE_H

#include "BaseSqlite.h"

namespace serveur {

/// Writes into the database. Keeps its log small, which grows while somebody reads: what is in it goes back
/// into the file from time to time, and all of it when nobody writes.
class EcritureSqlite : public Ecriture
{
  public:
    /// Throws ErreurMagasin. pagesMax: of the file, 0: no limit. fichier outlives this object.
    EcritureSqlite(FichierSqlite& fichier, int pagesMax);

    std::size_t executer(const Lot& lot) noexcept override;
    void reposer() noexcept override;

  private:
    using Place = Lot::const_iterator;

    /// Where it stopped.
    Place _executer(Place debut, Place fin) noexcept;
    bool _tenter(Place debut, Place& fin);
    void _abandonner(Place debut, Place fin, const char* pourquoi) noexcept;
    int _executer(Demande& demande);
    int _cree(const Fiche& vol);
    int _supprime(const Fiche& vol);
    int _rendre(sqlite3_stmt* ordre, Demande& demande);
    void _entretenirJournal() noexcept;
    void _vider(int mode, std::chrono::milliseconds attente) noexcept;

    BaseSqlite _base; // outlives the statements below
    const BaseSqlite::Ordre _commencerLecture;
    const BaseSqlite::Ordre _commencerEcriture;
    const BaseSqlite::Ordre _valider;
    const BaseSqlite::Ordre _annuler;
    const BaseSqlite::Ordre _insertion;
    const BaseSqlite::Ordre _modification;
    const BaseSqlite::Ordre _suppression;
    const BaseSqlite::Ordre _consultation;
    std::size_t _rendus = 0; // octets that the group gives back
    int _pagesJournal = 1;   // at the last commit; a process that died may have left some
    int _prochaineRemise;    // pages from which the log is begun again
};

} // namespace serveur

#endif
