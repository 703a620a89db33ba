#ifndef MAGASINSQLITE_H
#define MAGASINSQLITE_H

#include "BaseSqlite.h"
#include "OuvertureMagasin.h"

namespace serveur {

/// The flight records in an SQLite file that several processes may share.
///
/// What is reported as done survives the end of the process by any cause, and a power cut where the disk
/// honours its flushes (write-ahead log, flushed at each commit). A field that is not set is NULL.
class MagasinSqlite : public Magasin
{
  public:
    struct Reglages
    {
        std::chrono::milliseconds attenteVerrou{5000}; ///< how long another process may keep the file locked
        int pagesMax = 0; ///< limit of the file's size, in pages of 4096 bytes; 0: none
    };

    /// Opens the file, creates it when there is none. Throws ErreurMagasin.
    explicit MagasinSqlite(const std::string& fichier);
    MagasinSqlite(const std::string& fichier, const Reglages& reglages, const AnnoncesMagasin& annonces = {});

    std::string nom() const override { return _fichier.nom(); }
    std::unique_ptr<Ecriture> ouvrirEcriture() override;
    std::unique_ptr<Lecture> ouvrirLecture() override;
    void presser() noexcept override { _fichier.presser(); }
    EtatMagasin etat() const noexcept override;

  private:
    /// Whether the file was not locked.
    bool _ouvrir();
    void _passerEnJournalAnticipe();
    void _verifierSchema();

    const int _pagesMax;
    FichierSqlite _fichier;
    std::optional<BaseSqlite> _base; // keeps the log while no way in is open
};

} // namespace serveur

#endif
