#ifndef MAGASINPOSTGRESQL_H
#define MAGASINPOSTGRESQL_H

#include "LienPostgresql.h"
#include "OuvertureMagasin.h"

namespace serveur {

/// The flight records in a PostgreSQL database that servers on several machines may share.
///
/// What is reported as done is as durable as the database makes its commits (synchronous_commit), never less
/// than flushed by the member that takes writes. Columns are bytea, so that order and equality are those of
/// the bytes.
class MagasinPostgresql : public Magasin
{
  public:
    /// Waits for a member that takes writes, makes the schema when there is none. Throws ErreurMagasin.
    explicit MagasinPostgresql(const std::string& uri, const AnnoncesMagasin& annonces = {});

    std::string nom() const override { return _adresse.nom(); }
    std::unique_ptr<Ecriture> ouvrirEcriture() override;
    std::unique_ptr<Lecture> ouvrirLecture() override;
    void presser() noexcept override { _presse.presser(); }
    EtatMagasin etat() const noexcept override { return {_suivi.perdus == 0, 0, _suivi.reconnexions}; }

  private:
    void _verifierSchema();

    const AdressePostgresql _adresse;
    Presse _presse;
    SuiviLiens _suivi;
};

} // namespace serveur

#endif
