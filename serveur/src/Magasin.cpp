#include "Magasin.h"

#include "ColonnesVol.h"

#include "orix/Enumerer.h"
#include "orix/Trace.h"

#include <sqlite3.h>

#include <algorithm>
#include <new>
#include <optional>

namespace serveur {

namespace {

constexpr int VERSION_SCHEMA = 1;
constexpr int IDENTIFIANT_APPLICATION = 0x63647630; // "cdv0", in the header of the file
constexpr std::chrono::milliseconds PAUSE_VERROU{10};
/// Of the log, 16 MiB, before it goes back into the file: a page changed many times meanwhile goes back once.
constexpr int PAGES_JOURNAL = 4000;

/// The columns in the order of the statements' parameters: the texts, then the changed fields, then the
/// points.
std::vector<std::string> nomsColonnes()
{
    std::vector<std::string> noms;
    for (const Colonne& colonne : colonnesVol())
        noms.emplace_back(colonne.nom);
    noms.emplace_back("m_trub_chgt");
    noms.emplace_back("m_tpoint");
    return noms;
}

/// What forme makes of each column and the number of its parameter.
template <class Forme>
std::string enumerer(Forme forme)
{
    int numero = 0;
    return orix::enumerer(nomsColonnes(),
                          [&](const std::string& nom) { return forme(nom, std::to_string(++numero)); });
}

std::string listeColonnes() { return orix::enumerer(nomsColonnes()); }

std::string sqlCreation()
{
    return "CREATE TABLE vol (" + enumerer([](const std::string& nom, const std::string& numero) {
               return nom + (numero == "1" ? " BLOB NOT NULL PRIMARY KEY" : " BLOB");
           }) +
           ") WITHOUT ROWID";
}
std::string sqlInsertion()
{
    return "INSERT INTO vol (" + listeColonnes() + ") VALUES (" +
           enumerer([](const std::string&, const std::string& numero) { return "?" + numero; }) +
           ") ON CONFLICT DO NOTHING";
}
std::string sqlModification()
{
    return "UPDATE vol SET " + enumerer([](const std::string& nom, const std::string& numero) {
               return nom + " = coalesce(?" + numero + ", " + nom + ")";
           }) +
           " WHERE m_gidentifiant = ?1 RETURNING " + listeColonnes();
}
std::string sqlConsultation() { return "SELECT " + listeColonnes() + " FROM vol WHERE m_gidentifiant = ?1"; }

/// Binds bytes that live as long as the execution; null data: NULL.
void lier(sqlite3_stmt* ordre, int numero, std::string_view octets)
{
    if (octets.data() == nullptr)
        sqlite3_bind_null(ordre, numero);
    else
        sqlite3_bind_blob64(ordre, numero, octets.data(), octets.size(), SQLITE_STATIC);
}

/// The bytes of a column of the current row; null data for NULL.
std::string_view lireOctets(sqlite3_stmt* ordre, int colonne)
{
    const auto* octets = static_cast<const char*>(sqlite3_column_blob(ordre, colonne));
    if (octets != nullptr)
        return {octets, static_cast<std::size_t>(sqlite3_column_bytes(ordre, colonne))};
    // That is how SQLite gives no bytes at all, too.
    return sqlite3_column_type(ordre, colonne) == SQLITE_NULL ? std::string_view() : std::string_view("");
}

FichePartagee lireFiche(sqlite3_stmt* ordre)
{
    auto fiche = std::make_shared<Fiche>();
    const int nombre = sqlite3_column_count(ordre);
    for (int colonne = 0; colonne < nombre; ++colonne)
        fiche->ajouter(lireOctets(ordre, colonne));
    return fiche;
}

/// The smallest bytes after everything that begins with the prefix; none when nothing is.
std::optional<std::string> apresPrefixe(std::string prefixe)
{
    while (!prefixe.empty() && static_cast<unsigned char>(prefixe.back()) == 0xFF)
        prefixe.pop_back();
    if (prefixe.empty())
        return std::nullopt;
    ++prefixe.back();
    return prefixe;
}

} // namespace

/// One execution of a prepared statement; makes the statement ready for the next.
class Magasin::Execution : orix::INonCopiable
{
  public:
    explicit Execution(sqlite3_stmt* ordre) : _ordre(ordre) {}
    ~Execution()
    {
        sqlite3_reset(_ordre);
        sqlite3_clear_bindings(_ordre);
    }

    /// The record outlives this object.
    void lierFiche(const Fiche& vol)
    {
        int numero = 0;
        vol.parcourir([&](std::string_view octets) { lier(_ordre, ++numero, octets); });
    }

    // Both throw std::bad_alloc.

    bool avancer() { return _avancer() == SQLITE_ROW; }
    /// Runs to the end; whether all went well.
    bool achever()
    {
        int code = SQLITE_ROW;
        while (code == SQLITE_ROW)
            code = _avancer();
        return code == SQLITE_DONE;
    }

  private:
    int _avancer()
    {
        const int code = sqlite3_step(_ordre);
        if (code == SQLITE_NOMEM)
            throw std::bad_alloc();
        return code;
    }

    sqlite3_stmt* _ordre;
};

void Magasin::Fermeture::operator()(sqlite3* base) const { sqlite3_close_v2(base); }
void Magasin::Fermeture::operator()(sqlite3_stmt* ordre) const { sqlite3_finalize(ordre); }

Magasin::Magasin(const std::string& fichier) : Magasin(fichier, Reglages{}) {}

Magasin::Magasin(const std::string& fichier, const Reglages& reglages)
    : _fichier(fichier), _surPerte(reglages.surPerte)
{
    sqlite3* base = nullptr;
    const int code = sqlite3_open_v2(
        fichier.c_str(), &base, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    _base.reset(base);
    if (code != SQLITE_OK)
        _echouer("ouverture impossible");
    if (sqlite3_db_readonly(base, "main") == 1)
        throw ErreurMagasin(_fichier + " : écriture interdite");
    sqlite3_busy_timeout(base, static_cast<int>(reglages.attenteVerrou.count()));
    _passerEnJournalAnticipe(reglages.attenteVerrou);
    _executer("PRAGMA synchronous = FULL");
    _executer("PRAGMA wal_autocheckpoint = " + std::to_string(PAGES_JOURNAL));
    _verifierSchema();
    _fichiers.emplace(fichier, base);
    if (reglages.pagesMax > 0)
        _executer("PRAGMA max_page_count = " + std::to_string(reglages.pagesMax));

    _commencerLecture = _preparer("BEGIN DEFERRED");
    _commencerEcriture = _preparer("BEGIN IMMEDIATE");
    _valider = _preparer("COMMIT");
    _annuler = _preparer("ROLLBACK");
    _insertion = _preparer(sqlInsertion());
    _modification = _preparer(sqlModification());
    _suppression = _preparer("DELETE FROM vol WHERE m_gidentifiant = ?1");
    _consultation = _preparer(sqlConsultation());
    _lireEntier("SELECT count(*) FROM (SELECT 1 FROM vol LIMIT 1)"); // a damaged root page shows now
}

Magasin::~Magasin() = default;

void Magasin::_echouer(const std::string& pourquoi) const
{
    throw ErreurMagasin(_fichier + " : " + pourquoi + " (" + sqlite3_errmsg(_base.get()) + ")");
}

Magasin::Ordre Magasin::_preparer(const std::string& sql)
{
    sqlite3_stmt* ordre = nullptr;
    if (sqlite3_prepare_v3(_base.get(), sql.c_str(), static_cast<int>(sql.size()) + 1,
                           SQLITE_PREPARE_PERSISTENT, &ordre, nullptr) != SQLITE_OK)
        _echouer("base inutilisable");
    return Ordre(ordre);
}

void Magasin::_executer(const std::string& sql)
{
    if (sqlite3_exec(_base.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        _echouer("base inutilisable");
}

int Magasin::_lireEntier(const std::string& sql)
{
    const Ordre ordre = _preparer(sql);
    if (sqlite3_step(ordre.get()) != SQLITE_ROW)
        _echouer("base inutilisable");
    return sqlite3_column_int(ordre.get(), 0);
}

void Magasin::_passerEnJournalAnticipe(std::chrono::milliseconds attente)
{
    // SQLite does not wait for a lock here, as it does elsewhere: two servers may open a new file together.
    const auto fin = std::chrono::steady_clock::now() + attente;
    int code = SQLITE_BUSY;
    while ((code = sqlite3_exec(_base.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr)) ==
               SQLITE_BUSY &&
           std::chrono::steady_clock::now() < fin)
        sqlite3_sleep(static_cast<int>(PAUSE_VERROU.count()));
    if (code == SQLITE_NOTADB)
        _echouer("ce n'est pas une base de vols");
    if (code != SQLITE_OK)
        _echouer("base inutilisable");
}

void Magasin::_verifierSchema()
{
    _executer("BEGIN IMMEDIATE");
    const int version = _lireEntier("PRAGMA user_version");
    const bool vide = _lireEntier("SELECT count(*) FROM sqlite_master") == 0;
    if (vide && version == 0) {
        _executer(sqlCreation());
        _executer("PRAGMA user_version = " + std::to_string(VERSION_SCHEMA));
        _executer("PRAGMA application_id = " + std::to_string(IDENTIFIANT_APPLICATION));
    } else if (_lireEntier("PRAGMA application_id") != IDENTIFIANT_APPLICATION) {
        throw ErreurMagasin(_fichier + " : ce n'est pas une base de vols");
    } else if (version != VERSION_SCHEMA) {
        throw ErreurMagasin(_fichier + " : schéma de version " + std::to_string(version) + ", version " +
                            std::to_string(VERSION_SCHEMA) + " attendue");
    }
    _executer("COMMIT");
}

bool Magasin::_estEnPlace() noexcept
{
    if (!_perdu && !_fichiers->enPlace())
        _perdre();
    return !_perdu;
}

void Magasin::_perdre() noexcept
{
    _perdu = true;
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Magasin", "_perdre",
                          "La base n'est plus à sa place, plus rien n'y est fait : " << _fichier);
    // What is in the log goes into the file, which may live on under another name; then the log is empty, and
    // does no harm to a database that is put in the place of this one. SQLite would delete it by its name at
    // the end, which may be that of another's by then.
    sqlite3_wal_checkpoint_v2(_base.get(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    sqlite3_db_config(_base.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    _surPerte();
}

void Magasin::executer(const Lot& lot) noexcept
{
    if (_estEnPlace())
        _executer(lot.begin(), lot.end());
    if (!_estEnPlace()) // what was committed went where nobody finds it
        std::for_each(lot.begin(), lot.end(), [](Demande* demande) { demande->resultat = ECHEC_MAGASIN; });
}

void Magasin::_executer(Lot::const_iterator debut, Lot::const_iterator fin) noexcept
{
    try {
        if (_tenter(debut, fin))
            std::for_each(debut, fin, [](Demande* demande) {
                if (demande->rendu != nullptr)
                    demande->vol = std::move(demande->rendu);
            });
        else
            _abandonner(debut, fin, sqlite3_errmsg(_base.get()));
        return;
    } catch (const std::bad_alloc& exception) {
        _abandonner(debut, fin, exception.what());
    }
    // By halves, down to the request that takes too much.
    if (const auto nombre = fin - debut; nombre > 1) {
        _executer(debut, debut + nombre / 2);
        _executer(debut + nombre / 2, fin);
    }
}

void Magasin::_abandonner(Lot::const_iterator debut, Lot::const_iterator fin, const char* pourquoi) noexcept
{
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Magasin", "executer",
                          "Lot de " << fin - debut << " demandes abandonné : " << pourquoi);
    if (sqlite3_get_autocommit(_base.get()) == 0) { // else SQLite has already rolled back
        sqlite3_step(_annuler.get());
        sqlite3_reset(_annuler.get());
    }
    std::for_each(debut, fin, [](Demande* demande) {
        demande->rendu = nullptr;
        demande->resultat = ECHEC_MAGASIN;
    });
}

/// Whether the group was committed.
bool Magasin::_tenter(Lot::const_iterator debut, Lot::const_iterator fin)
{
    const bool ecriture =
        std::any_of(debut, fin, [](const Demande* d) { return d->operation != Operation::consulte; });
    bool fait = Execution((ecriture ? _commencerEcriture : _commencerLecture).get()).achever();
    for (auto demande = debut; fait && demande != fin; ++demande) {
        (*demande)->resultat = _executer(**demande);
        fait = (*demande)->resultat != ECHEC_MAGASIN;
    }
    return fait && Execution(_valider.get()).achever();
}

int Magasin::_executer(Demande& demande)
{
    if (demande.vol->identifiant() == nullptr)
        return VOL_INVALIDE;
    switch (demande.operation) {
    case Operation::cree:
        return _cree(*demande.vol);
    case Operation::supprime:
        return _supprime(*demande.vol);
    case Operation::modifie:
        return _rendre(_modification.get(), demande);
    case Operation::consulte:
        return _rendre(_consultation.get(), demande);
    case Operation::liste:
        break; // has its own way: liste()
    }
    return VOL_INVALIDE;
}

int Magasin::_cree(const Fiche& vol)
{
    Execution execution(_insertion.get());
    execution.lierFiche(vol);
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return sqlite3_changes(_base.get()) == 0 ? EXISTE_DEJA : FAIT;
}

int Magasin::_supprime(const Fiche& vol)
{
    Execution execution(_suppression.get());
    lier(_suppression.get(), 1, vol.identifiant());
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return sqlite3_changes(_base.get()) == 0 ? INTROUVABLE : FAIT;
}

int Magasin::_rendre(sqlite3_stmt* ordre, Demande& demande)
{
    Execution execution(ordre);
    if (ordre == _consultation.get())
        lier(ordre, 1, demande.vol->identifiant());
    else
        execution.lierFiche(*demande.vol);
    const bool trouve = execution.avancer();
    if (trouve)
        demande.rendu = lireFiche(ordre);
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return trouve ? FAIT : INTROUVABLE;
}

int Magasin::liste(const Fiche& exemple, const std::function<bool(FichePartagee)>& surVol) noexcept
{
    try {
        const int resultat = _estEnPlace() ? _lister(exemple, surVol) : ECHEC_MAGASIN;
        return _estEnPlace() ? resultat : ECHEC_MAGASIN;
    } catch (const std::exception& exception) { // of the database, or memory that lacks
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "Magasin", "liste", exception.what());
        return ECHEC_MAGASIN;
    }
}

int Magasin::_lister(const Fiche& exemple, const std::function<bool(FichePartagee)>& surVol)
{
    std::string conditions;
    std::vector<std::string> valeurs;
    const auto exiger = [&](const std::string& condition, std::string valeur) {
        valeurs.push_back(std::move(valeur));
        conditions += (conditions.empty() ? " WHERE " : " AND ") + condition + std::to_string(valeurs.size());
    };
    const std::vector<Colonne>& colonnes = colonnesVol();
    auto colonne = colonnes.begin();
    exemple.parcourir([&](std::string_view octets) {
        if (colonne == colonnes.end())
            return; // the lists
        const std::string nom = (colonne++)->nom;
        if (octets.data() == nullptr || octets == TEXTE_NUL)
            return;
        if (octets.empty() || octets.back() != '*')
            return exiger(nom + " = ?", std::string(octets));
        std::string prefixe(octets.substr(0, octets.size() - 1));
        // As bounds, so that a prefix of the identifier is found by the key.
        if (const std::optional<std::string> fin = apresPrefixe(prefixe))
            exiger(nom + " < ?", *fin);
        exiger(nom + " >= ?", std::move(prefixe));
    });

    static const std::string SELECTION = "SELECT " + listeColonnes() + " FROM vol";
    const Ordre ordre = _preparer(SELECTION + conditions + " ORDER BY m_gidentifiant");
    for (std::size_t i = 0; i < valeurs.size(); ++i)
        lier(ordre.get(), static_cast<int>(i) + 1, valeurs[i]);
    for (;;) {
        const int code = sqlite3_step(ordre.get());
        if (code == SQLITE_DONE)
            return FAIT;
        if (code != SQLITE_ROW)
            _echouer("liste interrompue");
        if (!surVol(lireFiche(ordre.get())))
            return FAIT;
    }
}

} // namespace serveur
