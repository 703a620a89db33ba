#ifndef BASESQLITE_H
#define BASESQLITE_H

#include "FichiersBase.h"
#include "Magasin.h"

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string_view>

namespace serveur {

/// What the connections of one process to one database file have in common. Any thread.
///
/// The file is lost once it, or one of those beside it, is no longer where it was opened: deleted, renamed,
/// replaced. This is looked at before and after each group, so that nothing is reported as done that went
/// into a file without a name. From then on everything is ECHEC_MAGASIN, and the file, wherever it is, holds
/// all that was done.
class FichierSqlite : orix::INonCopiable
{
  public:
    FichierSqlite(std::string nom, std::chrono::milliseconds attenteVerrou, std::function<void()> surPerte)
        : _nom(std::move(nom)), _attenteVerrou(attenteVerrou), _surPerte(std::move(surPerte))
    {}

    const std::string& nom() const { return _nom; }
    std::chrono::milliseconds attenteVerrou() const { return _attenteVerrou; }

    void noter(sqlite3* base) { _fichiers.emplace(_nom, base); } ///< once it is open, with all its files

    /// Whether the file is there. Looks, unless it is lost already.
    bool estEnPlace(sqlite3* base) noexcept;
    bool estPerdu() const noexcept { return _perdu; }

    void presser() noexcept { _presse = true; }
    bool estPresse() const noexcept { return _presse; }

  private:
    const std::string _nom;
    const std::chrono::milliseconds _attenteVerrou;
    const std::function<void()> _surPerte;
    std::optional<FichiersBase> _fichiers;
    std::atomic<bool> _perdu{false};
    std::atomic<bool> _presse{false};
};

/// A connection to the database. Used by one thread.
class BaseSqlite : orix::INonCopiable
{
  public:
    /// Throws ErreurMagasin. fichier outlives this object.
    BaseSqlite(FichierSqlite& fichier, bool creer);
    ~BaseSqlite();

    struct Fermeture
    {
        void operator()(sqlite3* base) const { sqlite3_close_v2(base); }
        void operator()(sqlite3_stmt* ordre) const { sqlite3_finalize(ordre); }
    };
    using Ordre = std::unique_ptr<sqlite3_stmt, Fermeture>;

    sqlite3* lire() const { return _base.get(); }
    FichierSqlite& fichier() { return _fichier; }
    bool estEnPlace() noexcept { return _fichier.estEnPlace(_base.get()); }
    /// How long another process may keep the file locked. A process that ends waits for nothing.
    void definirAttente(std::chrono::milliseconds attente) { _attente = attente; }

    // These throw ErreurMagasin.

    Ordre preparer(const std::string& sql) const;
    void executer(const std::string& sql) const;
    int lireEntier(const std::string& sql) const;
    [[noreturn]] void echouer(const std::string& pourquoi) const;

  private:
    static int _patienter(void* base, int fois) noexcept;

    FichierSqlite& _fichier;
    std::chrono::milliseconds _attente;
    std::unique_ptr<sqlite3, Fermeture> _base;
};

/// One execution of a prepared statement; makes the statement ready for the next.
class Execution : orix::INonCopiable
{
  public:
    explicit Execution(sqlite3_stmt* ordre) : _ordre(ordre) {}
    ~Execution()
    {
        sqlite3_reset(_ordre);
        sqlite3_clear_bindings(_ordre);
    }

    // What is bound lives as long as this object.

    void lier(std::string_view octets); ///< to the next parameter; null data: NULL
    void lierFiche(const Fiche& vol);

    // All of them throw std::bad_alloc.

    bool avancer(); ///< whether there is a row
    /// Runs to the end, unless it is there; whether all went well.
    bool achever();
    /// The record of the current row.
    FichePartagee lireFiche() const;
    std::string_view lireOctets(int colonne) const; ///< null data for NULL; until the next row

  private:
    sqlite3_stmt* _ordre;
    int _parametre = 0;
    int _code = SQLITE_ROW; // of the last step
};

} // namespace serveur

#endif
