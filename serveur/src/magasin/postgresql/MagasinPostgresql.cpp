#include "MagasinPostgresql.h"

#include "EcriturePostgresql.h"
#include "LecturePostgresql.h"
#include "SqlVol.h"

#include <thread>

namespace serveur {

namespace {

constexpr int VERSION_SCHEMA = 1;
constexpr std::chrono::milliseconds PAUSE_OUVERTURE{300};

/// Two servers may come to a new database together. The number is that of the advisory lock, "cdv0".
constexpr const char* SEUL = "SELECT pg_advisory_xact_lock(1667528240)";
/// What stands in the comment of the table before the version of the schema.
const std::string COMMENTAIRE = "cdv-serveur, version ";
/// The tables, and the comment, of where tables are made; those of an extension are nobody's.
constexpr const char* ETAT_SCHEMA = "SELECT (SELECT count(*) FROM pg_class c WHERE relnamespace = "
                                    "current_schema()::regnamespace AND relkind IN "
                                    "('r', 'p', 'v', 'm', 'f') AND NOT EXISTS (SELECT FROM pg_depend WHERE "
                                    "objid = c.oid AND deptype = 'e')), "
                                    "coalesce(obj_description(to_regclass('vol'), 'pg_class'), '')";
/// Of servers whose end was long ago: none of them asks for its own any more.
constexpr const char* PURGE = "DELETE FROM marque WHERE quand < now() - interval '30 days'";

} // namespace

MagasinPostgresql::MagasinPostgresql(const std::string& uri, const AnnoncesMagasin& annonces) : _partage(uri)
{
    for (;;) {
        try {
            _verifierSchema();
            return;
        } catch (const ConnexionPerdue& perte) {
            if (!annonces.surAttente(_partage.adresse().nom() + " : PostgreSQL ne répond pas, attente (" +
                                     perte.what() + ")"))
                throw ErreurMagasin(_partage.adresse().nom() + " : " + perte.what());
        }
        std::this_thread::sleep_for(PAUSE_OUVERTURE); // nobody tells when it comes
    }
}

void MagasinPostgresql::_verifierSchema()
{
    const std::function<void()> surAttente = [] {};
    ConnexionPostgresql connexion(_partage, surAttente, /*refusEstDefinitif*/ true);
    const auto refuser = [this](const std::string& pourquoi) {
        throw ErreurMagasin(_partage.adresse().nom() + " : " + pourquoi);
    };
    try {
        connexion.executer("BEGIN");
        connexion.executer(SEUL);
        const ReponsePostgresql etat = connexion.executer(ETAT_SCHEMA);
        const bool vide = etat.lireOctets(0) == "0";
        const std::string commentaire(etat.lireOctets(1));
        const std::string attendu = COMMENTAIRE + std::to_string(VERSION_SCHEMA);
        if (vide) {
            connexion.executer(sqlCreationTable("bytea"));
            connexion.executer("CREATE TABLE marque (serveur bytea PRIMARY KEY, lot bigint NOT NULL, "
                               "quand timestamptz NOT NULL DEFAULT now()) WITH (fillfactor = 50)");
            connexion.executer("COMMENT ON TABLE vol IS '" + attendu + "'");
        } else if (commentaire.compare(0, COMMENTAIRE.size(), COMMENTAIRE) != 0) {
            refuser("ce n'est pas une base de vols");
        } else if (commentaire != attendu) {
            refuser("schéma de version " + commentaire.substr(COMMENTAIRE.size()) + ", version " +
                    std::to_string(VERSION_SCHEMA) + " attendue");
        }
        connexion.executer(PURGE);
        connexion.executer("COMMIT");
    } catch (const ErreurSql& erreur) {
        refuser(std::string("base inutilisable (") + erreur.what() + ")");
    }
}

EtatMagasin MagasinPostgresql::etat() const noexcept
{
    EtatMagasin etat;
    etat.utilisable = _partage.toutesLa();
    etat.reconnexions = _partage.reconnexions();
    return etat;
}

std::unique_ptr<Ecriture> MagasinPostgresql::ouvrirEcriture()
{
    return std::make_unique<EcriturePostgresql>(_partage);
}

std::unique_ptr<Lecture> MagasinPostgresql::ouvrirLecture()
{
    return std::make_unique<LecturePostgresql>(_partage);
}

} // namespace serveur
