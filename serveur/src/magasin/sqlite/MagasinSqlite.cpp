#include "MagasinSqlite.h"

#include "EcritureSqlite.h"
#include "LectureSqlite.h"
#include "SchemaSqlite.h"
#include "SqlVol.h"

#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <filesystem>

namespace serveur {

namespace {

constexpr std::chrono::milliseconds PAUSE_VERROU{10};
/// Of one try to open the file: between two, who opens it may say so, and give up.
constexpr std::chrono::milliseconds ATTENTE_OUVERTURE{500};

/// The log's index is memory that its users share: on a file system of several machines each would have its
/// own, and ruin the file.
void refuserReseau(const std::string& fichier)
{
    // As the kernel numbers them, in statfs(2).
    static constexpr struct
    {
        std::uint32_t numero;
        const char* nom;
    } RESEAUX[] = {{0x6969, "NFS"},      {0x517B, "SMB"},      {0xFE534D42, "SMB"},  {0xFF534D42, "CIFS"},
                   {0x00C36400, "Ceph"}, {0x5346414F, "AFS"},  {0x73757245, "Coda"}, {0x0BD00BD0, "Lustre"},
                   {0x01161970, "GFS2"}, {0x7461636F, "OCFS2"}};
    const std::filesystem::path dossier = std::filesystem::path(fichier).parent_path();
    struct statfs systeme = {};
    if (statfs(fichier.c_str(), &systeme) != 0 &&
        statfs(dossier.empty() ? "." : dossier.c_str(), &systeme) != 0)
        return; // the opening tells why
    for (const auto& [numero, nom] : RESEAUX)
        if (static_cast<std::uint32_t>(systeme.f_type) == numero)
            throw ErreurMagasin(
                fichier + " : système de fichiers en réseau (" + nom +
                "), une base SQLite veut une seule machine ; pour deux : --base postgresql://…");
}

} // namespace

MagasinSqlite::MagasinSqlite(const std::string& fichier) : MagasinSqlite(fichier, Reglages{}) {}

MagasinSqlite::MagasinSqlite(const std::string& fichier, const Reglages& reglages,
                             const AnnoncesMagasin& annonces)
    : _pagesMax(reglages.pagesMax), _fichier(fichier, reglages.attenteVerrou, annonces.surPerte)
{
    refuserReseau(fichier);
    const auto fin = std::chrono::steady_clock::now() + reglages.attenteVerrou;
    while (!_ouvrir())
        if (!annonces.surAttente(fichier + " : base verrouillée par un autre programme, attente") &&
            std::chrono::steady_clock::now() >= fin)
            _base->echouer("base verrouillée par un autre programme");
    _fichier.noter(_base->lire());
    _base->lireEntier("SELECT count(*) FROM (SELECT 1 FROM vol LIMIT 1)"); // a damaged root page shows now
}

bool MagasinSqlite::_ouvrir()
{
    try {
        _base.emplace(_fichier, /*creer*/ true);
        _base->definirAttente(std::min(_fichier.attenteVerrou(), ATTENTE_OUVERTURE));
        _passerEnJournalAnticipe();
        _verifierSchema();
        return true;
    } catch (const ErreurMagasin&) {
        if (!_base || (sqlite3_errcode(_base->lire()) & 0xFF) != SQLITE_BUSY)
            throw;
        return false;
    }
}

void MagasinSqlite::_passerEnJournalAnticipe()
{
    // SQLite does not wait for a lock here, as it does elsewhere: two servers may open a new file together.
    const auto fin = std::chrono::steady_clock::now() + std::min(_fichier.attenteVerrou(), ATTENTE_OUVERTURE);
    int code = SQLITE_BUSY;
    while ((code = sqlite3_exec(_base->lire(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr)) ==
               SQLITE_BUSY &&
           std::chrono::steady_clock::now() < fin)
        sqlite3_sleep(static_cast<int>(PAUSE_VERROU.count()));
    if (code == SQLITE_NOTADB)
        _base->echouer("ce n'est pas une base de vols");
    if (code != SQLITE_OK)
        _base->echouer("base inutilisable");
}

void MagasinSqlite::_verifierSchema()
{
    _base->executer("BEGIN IMMEDIATE");
    const int version = _base->lireEntier("PRAGMA user_version");
    const bool vide = _base->lireEntier("SELECT count(*) FROM sqlite_master") == 0;
    if (vide && version == 0) {
        _base->executer(sqlCreationTable("BLOB") + " WITHOUT ROWID");
        _base->executer("PRAGMA user_version = " + std::to_string(VERSION_SCHEMA));
        _base->executer("PRAGMA application_id = " + std::to_string(IDENTIFIANT_APPLICATION));
    } else if (_base->lireEntier("PRAGMA application_id") != IDENTIFIANT_APPLICATION) {
        throw ErreurMagasin(_fichier.nom() + " : ce n'est pas une base de vols");
    } else if (version != VERSION_SCHEMA) {
        throw ErreurMagasin(_fichier.nom() + " : schéma de version " + std::to_string(version) +
                            ", version " + std::to_string(VERSION_SCHEMA) + " attendue");
    }
    _base->executer("COMMIT");
}

std::unique_ptr<Ecriture> MagasinSqlite::ouvrirEcriture()
{
    return std::make_unique<EcritureSqlite>(_fichier, _pagesMax);
}

EtatMagasin MagasinSqlite::etat() const noexcept
{
    EtatMagasin etat;
    etat.utilisable = !_fichier.estPerdu();
    struct stat journal = {};
    if (::stat(sqlite3_filename_wal(sqlite3_db_filename(_base->lire(), "main")), &journal) == 0)
        etat.octetsJournal = static_cast<std::uint64_t>(journal.st_size);
    return etat;
}

std::unique_ptr<Lecture> MagasinSqlite::ouvrirLecture() { return std::make_unique<LectureSqlite>(_fichier); }

} // namespace serveur
