#ifndef ECRITUREPOSTGRESQL_H
#define ECRITUREPOSTGRESQL_H

#include "EcritureParMoities.h"
#include "LienPostgresql.h"

#include <array>

namespace serveur {

/// Writes into PostgreSQL: a group goes out without a wait between its statements; its answers are read, and
/// only then is the commit sent, so that nothing but the answer to the commit can be missing.
///
/// Each transaction leaves its number in a mark of this object's own. A commit whose answer is missing is
/// settled by it: to write the same number again either waits for that transaction, or finds that it was
/// committed, or comes before it, which it then does not survive.
class EcriturePostgresql : public EcritureParMoities
{
  public:
    /// All of them outlive this object.
    EcriturePostgresql(const AdressePostgresql& adresse, const Presse& presse, SuiviLiens& suivi);

    std::size_t executer(const Lot& lot) noexcept override;
    void reposer() noexcept override { _lien.entretenir(); }

  protected:
    Issue _tenter(Place debut, Place& fin) override;
    void _annuler() noexcept override {}
    const char* _pourquoi() const noexcept override { return _raison.c_str(); }

  private:
    /// What came of one try at a transaction.
    enum class Essai
    {
        valide,
        refuse,    ///< by an error, which is noted
        vain,      ///< by somebody else's lock
        aReprendre ///< for no reason that would come again, or in doubt
    };

    Essai _essayer(Place debut, Place& fin);
    /// Sends the statements, reads their answers; whether there was no error.
    bool _derouler(ConnexionPostgresql& connexion, Place debut, Place& fin, bool ecriture);
    void _envoyer(ConnexionPostgresql& connexion, const Demande& demande);
    bool _recevoir(ConnexionPostgresql& connexion, Place& debut, Place fin);
    bool _noter(const ReponsePostgresql& reponse); ///< whether it is no error
    void _marquer(ConnexionPostgresql& connexion);
    Essai _valider(ConnexionPostgresql& connexion);
    Essai _trancher();
    Essai _qualifier() const;

    const std::array<std::string, 4> _ordres; // in the order of Operation
    std::array<char, 16> _instance{};
    std::int64_t _numero = 0; // of the transaction
    bool _doute = false;      // its commit was sent, its answer has not come
    std::string _etat;        // SQLSTATE of the last error
    std::string _raison;
    LienPostgresql _lien;
};

} // namespace serveur

#endif
