#ifndef MAGASIN_H
#define MAGASIN_H

#include "Fiche.h"
#include "FichiersBase.h"

#include "OXcdvCliCode.h"

#include "orix/INonCopiable.h"

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace serveur {

using namespace cdv::code;

enum class Operation
{
    cree,
    modifie,
    supprime,
    consulte,
    liste
};

/// A request to the store and, once executed, its outcome.
struct Demande
{
    Operation operation;
    FichePartagee vol; ///< as asked; replaced by the record of the store where there is one to give back
    FichePartagee rendu = nullptr; ///< that record, until the group is committed
    int resultat = ECHEC_MAGASIN;
};

/// A database that cannot be used; what() is one line, with the file's name.
class ErreurMagasin : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// The flight records, in an SQLite file that several processes may share. Used by one thread at a time.
///
/// What executer() reports as done is durable: it survives the end of the process by any cause, and a power
/// cut where the disk honours its flushes (write-ahead log, flushed at each commit). Texts are kept byte for
/// byte; a field that is not set is NULL.
///
/// The file is lost once it, or one of those beside it, is no longer where it was opened: deleted, renamed,
/// replaced. This is looked at before and after each group, so that nothing is reported as done that went
/// into a file without a name. From then on all is ECHEC_MAGASIN, and the file, wherever it is, holds all
/// that was done.
class Magasin : orix::INonCopiable
{
  public:
    struct Reglages
    {
        std::chrono::milliseconds attenteVerrou{5000}; ///< how long another process may keep the file locked
        int pagesMax = 0; ///< limit of the file's size, in pages of 4096 bytes; 0: none
        /// Called once, by the thread that uses the store, when the file is lost. Throws nothing.
        std::function<void()> surPerte = [] {};
    };

    /// Opens the file, creates it when there is none. Throws ErreurMagasin.
    explicit Magasin(const std::string& fichier);
    Magasin(const std::string& fichier, const Reglages& reglages);
    ~Magasin();

    using Lot = std::vector<Demande*>;

    /// Executes the requests, none of them a listing, in order and in one transaction: all of them are
    /// ECHEC_MAGASIN when it cannot be committed. Where memory lacks for one, it alone is, and the others
    /// have transactions of their own.
    void executer(const Lot& lot) noexcept;

    /// Gives every record that matches the example, in the order of their identifiers, one at a time: each
    /// set field of the example must be equal, or begin with what precedes a '*' at its end. The lists of the
    /// example are ignored. surVol returns false to stop there, and throws nothing. Returns FAIT or
    /// ECHEC_MAGASIN.
    int liste(const Fiche& exemple, const std::function<bool(FichePartagee)>& surVol) noexcept;

  private:
    struct Fermeture
    {
        void operator()(sqlite3* base) const;
        void operator()(sqlite3_stmt* ordre) const;
    };
    using Base = std::unique_ptr<sqlite3, Fermeture>;
    using Ordre = std::unique_ptr<sqlite3_stmt, Fermeture>;
    class Execution;

    Ordre _preparer(const std::string& sql);
    void _executer(const std::string& sql);
    int _lireEntier(const std::string& sql);
    void _passerEnJournalAnticipe(std::chrono::milliseconds attente);
    void _verifierSchema();
    [[noreturn]] void _echouer(const std::string& pourquoi) const;

    /// Whether the file is there. Looks, unless it is lost already.
    bool _estEnPlace() noexcept;
    void _perdre() noexcept;
    void _executer(Lot::const_iterator debut, Lot::const_iterator fin) noexcept;
    void _abandonner(Lot::const_iterator debut, Lot::const_iterator fin, const char* pourquoi) noexcept;
    bool _tenter(Lot::const_iterator debut, Lot::const_iterator fin);
    int _executer(Demande& demande);
    int _lister(const Fiche& exemple, const std::function<bool(FichePartagee)>& surVol);
    int _cree(const Fiche& vol);
    int _supprime(const Fiche& vol);
    int _rendre(sqlite3_stmt* ordre, Demande& demande);

    std::string _fichier;
    const std::function<void()> _surPerte;
    bool _perdu = false;
    std::optional<FichiersBase> _fichiers; // there once the file is open
    Base _base;                            // outlives the statements below
    Ordre _commencerLecture;
    Ordre _commencerEcriture;
    Ordre _valider;
    Ordre _annuler;
    Ordre _insertion;
    Ordre _modification;
    Ordre _suppression;
    Ordre _consultation;
};

} // namespace serveur

#endif
