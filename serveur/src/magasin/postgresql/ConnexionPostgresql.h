#ifndef CONNEXIONPOSTGRESQL_H
#define CONNEXIONPOSTGRESQL_H

#include "Magasin.h"
#include "PartagePostgresql.h"

#include <libpq-fe.h>

#include <chrono>
#include <initializer_list>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace serveur {

/// The connection is no more, or leads nowhere that takes writes; another one may.
class ConnexionPerdue : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};
/// The database refuses a statement; what() is one line.
class ErreurSql : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};
/// The store is pressed: nothing is waited for.
class ArretDemande : public std::runtime_error
{
  public:
    ArretDemande() : std::runtime_error("arrêt demandé") {}
};

/// The answer to one statement.
class ReponsePostgresql
{
  public:
    explicit ReponsePostgresql(PGresult* resultat) : _resultat(resultat) {}

    ExecStatusType statut() const { return PQresultStatus(_resultat.get()); }
    bool estUneErreur() const { return statut() == PGRES_FATAL_ERROR; }
    std::string_view etat() const;          ///< SQLSTATE of an error
    std::string message() const;            ///< of an error, in one line
    bool aFait(const char* commande) const; ///< whether that is the command's tag
    long lignes() const;                    ///< changed by a statement that gives none back
    bool aUneLigne() const { return PQntuples(_resultat.get()) > 0; }
    std::string_view lireOctets(int colonne) const; ///< of the first row; null data for NULL
    FichePartagee lireFiche() const;                ///< throws std::bad_alloc

  private:
    struct Liberation
    {
        void operator()(PGresult* resultat) const { PQclear(resultat); }
    };
    std::unique_ptr<PGresult, Liberation> _resultat;
};

/// A connection to the member that takes writes: statements go out without their answers being waited for,
/// which come in the same order. Waits for nothing but where it says so, not longer than the store is not
/// pressed. Used by one thread.
class ConnexionPostgresql : orix::INonCopiable
{
  public:
    /// surAttente: see Voie. Both outlive this object. Tries the members one after the other. Throws
    /// ConnexionPerdue when none will do now, ArretDemande; refusEstDefinitif: ErreurMagasin when one is
    /// there that refuses.
    ConnexionPostgresql(const PartagePostgresql& partage, const std::function<void()>& surAttente,
                        bool refusEstDefinitif = false);

    // The parameters of the next statement; what is bound lives until it was sent.

    void lier(std::string_view octets); ///< null data: NULL
    void lierFiche(const Fiche& vol);

    /// Prepares those that are not, which is waited for: nothing may be under way. Throws ConnexionPerdue,
    /// ArretDemande, std::bad_alloc; ErreurSql for one that is refused, and then the connection is of no more
    /// use.
    void preparer(std::initializer_list<std::string_view> ordres);
    /// Sends one that was prepared. ligneALigne: each row is an answer of its own. Throws ConnexionPerdue,
    /// std::bad_alloc.
    void envoyer(const std::string& sql, bool ligneALigne = false);
    /// Asks for the answers so far; after an error, what was sent before is skipped up to here.
    void synchroniser();

    /// Waits for the next answer. Throws ConnexionPerdue, ArretDemande.
    ReponsePostgresql recevoir();
    /// Waits for the next synchronisation, whatever comes before.
    void attendreSynchronisation();
    /// A statement alone, without parameters: its answer, when it is no error. Throws as envoyer(),
    /// recevoir().
    ReponsePostgresql executer(const std::string& sql);

    /// Whether the server gave a warning since this was asked.
    bool avertie() { return std::exchange(_avertie, false); }
    /// Looks, without waiting. Nothing may be under way. Throws ConnexionPerdue.
    void verifier();

  private:
    struct Fermeture
    {
        void operator()(PGconn* connexion) const { PQfinish(connexion); }
    };
    using Instant = std::chrono::steady_clock::time_point;

    /// False: the member will not do now, for a reason that is added.
    bool _connecter(const AdressePostgresql::Membre& membre, bool refusEstDefinitif, std::string& pourquoi);
    bool _etablir(Instant limite);
    void _regler();
    PGresult* _lireResultat(); ///< null between two answers
    /// Whether the socket is ready for that; false when the limit has come. Throws ArretDemande.
    bool _attendre(short evenements, std::optional<Instant> limite = std::nullopt) const;
    [[noreturn]] void _perdre() const;

    const PartagePostgresql& _partage;
    const std::function<void()>& _surAttente;
    std::unique_ptr<PGconn, Fermeture> _connexion;
    std::map<std::string, std::string, std::less<>> _ordres; // their names, by their texts
    std::vector<const char*> _valeurs;
    std::vector<int> _tailles;
    std::vector<int> _formats;
    bool _avertie = false;
};

} // namespace serveur

#endif
