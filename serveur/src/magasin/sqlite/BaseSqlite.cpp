#include "BaseSqlite.h"

#include "orix/Trace.h"

#include <new>

namespace serveur {

bool FichierSqlite::estEnPlace(sqlite3* base) noexcept
{
    if (_perdu || _fichiers->enPlace())
        return !_perdu;
    if (_perdu.exchange(true))
        return false;
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "BaseSqlite", "estEnPlace",
                          "La base n'est plus à sa place, plus rien n'y est fait : " << _nom);
    // What is in the log goes into the file, which may live on under another name; then the log is empty, and
    // does no harm to a database that is put in the place of this one.
    sqlite3_wal_checkpoint_v2(base, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    _surPerte();
    return false;
}

BaseSqlite::BaseSqlite(FichierSqlite& fichier, bool creer)
    : _fichier(fichier), _attente(fichier.attenteVerrou())
{
    sqlite3* base = nullptr;
    const int code = sqlite3_open_v2(
        fichier.nom().c_str(), &base,
        SQLITE_OPEN_READWRITE | (creer ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_NOMUTEX, nullptr);
    _base.reset(base);
    if (code != SQLITE_OK)
        echouer("ouverture impossible");
    if (sqlite3_db_readonly(base, "main") == 1)
        throw ErreurMagasin(fichier.nom() + " : écriture interdite");
    sqlite3_busy_handler(base, &BaseSqlite::_patienter, this);
}

BaseSqlite::~BaseSqlite()
{
    // SQLite would delete the log by its name at the end, which may be that of another's by then.
    if (_fichier.estPerdu())
        sqlite3_db_config(_base.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

int BaseSqlite::_patienter(void* base, int fois) noexcept
{
    // SQLite tells nobody that a lock is free. Two busy servers hold it for milliseconds at a time.
    constexpr int COURTES = 10; // of 1 ms, before those of 10
    constexpr std::chrono::milliseconds PAUSE{10};
    const auto& celle = *static_cast<const BaseSqlite*>(base);
    if (celle._fichier.estPresse() || (fois - COURTES) * PAUSE >= celle._attente)
        return 0;
    sqlite3_sleep(fois < COURTES ? 1 : static_cast<int>(PAUSE.count()));
    return 1;
}

void BaseSqlite::echouer(const std::string& pourquoi) const
{
    throw ErreurMagasin(_fichier.nom() + " : " + pourquoi + " (" + sqlite3_errmsg(_base.get()) + ")");
}

BaseSqlite::Ordre BaseSqlite::preparer(const std::string& sql) const
{
    sqlite3_stmt* ordre = nullptr;
    if (sqlite3_prepare_v3(_base.get(), sql.c_str(), static_cast<int>(sql.size()) + 1,
                           SQLITE_PREPARE_PERSISTENT, &ordre, nullptr) != SQLITE_OK)
        echouer("base inutilisable");
    return Ordre(ordre);
}

void BaseSqlite::executer(const std::string& sql) const
{
    if (sqlite3_exec(_base.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        echouer("base inutilisable");
}

int BaseSqlite::lireEntier(const std::string& sql) const
{
    const Ordre ordre = preparer(sql);
    if (sqlite3_step(ordre.get()) != SQLITE_ROW)
        echouer("base inutilisable");
    return sqlite3_column_int(ordre.get(), 0);
}

void Execution::lier(std::string_view octets)
{
    const int numero = ++_parametre;
    if (octets.data() == nullptr)
        sqlite3_bind_null(_ordre, numero);
    else
        sqlite3_bind_blob64(_ordre, numero, octets.data(), octets.size(), SQLITE_STATIC);
}

void Execution::lierFiche(const Fiche& vol)
{
    vol.parcourir([this](std::string_view octets) { lier(octets); });
}

bool Execution::avancer()
{
    _code = sqlite3_step(_ordre);
    if (_code == SQLITE_NOMEM)
        throw std::bad_alloc();
    return _code == SQLITE_ROW;
}

bool Execution::achever()
{
    while (_code == SQLITE_ROW)
        avancer();
    return _code == SQLITE_DONE;
}

std::string_view Execution::lireOctets(int colonne) const
{
    const auto* octets = static_cast<const char*>(sqlite3_column_blob(_ordre, colonne));
    if (octets != nullptr)
        return {octets, static_cast<std::size_t>(sqlite3_column_bytes(_ordre, colonne))};
    // That is how SQLite gives no bytes at all, too.
    return sqlite3_column_type(_ordre, colonne) == SQLITE_NULL ? std::string_view() : std::string_view("");
}

FichePartagee Execution::lireFiche() const
{
    auto fiche = std::make_shared<Fiche>();
    const int nombre = sqlite3_column_count(_ordre);
    for (int colonne = 0; colonne < nombre; ++colonne)
        fiche->ajouter(lireOctets(colonne));
    return fiche;
}

} // namespace serveur
