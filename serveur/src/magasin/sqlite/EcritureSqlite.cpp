#include "EcritureSqlite.h"

#include "SqlVol.h"

#include "orix/Trace.h"

#include <algorithm>

namespace serveur {

namespace {

/// Of the log, 16 MiB, before it goes back into the file: a page changed many times meanwhile goes back once.
constexpr int PAGES_JOURNAL = 4000;
/// When the log has grown to so many all the same, because one reader or another was always inside: readers
/// are waited for, which takes as long as a slice of a listing.
constexpr int PAGES_JOURNAL_MAX = 2 * PAGES_JOURNAL;
constexpr std::chrono::milliseconds ATTENTE_LECTEURS{200};

} // namespace

EcritureSqlite::EcritureSqlite(FichierSqlite& fichier, int pagesMax)
    : _base(fichier, /*creer*/ false),
      _commencerLecture(_base.preparer("BEGIN DEFERRED")),
      _commencerEcriture(_base.preparer("BEGIN IMMEDIATE")),
      _valider(_base.preparer("COMMIT")),
      _annulation(_base.preparer("ROLLBACK")),
      _insertion(_base.preparer(sqlInsertion())),
      _modification(_base.preparer(sqlModification())),
      _suppression(_base.preparer(sqlSuppression())),
      _consultation(_base.preparer(sqlConsultation())),
      _prochaineRemise(PAGES_JOURNAL_MAX)
{
    _base.executer("PRAGMA synchronous = FULL");
    if (pagesMax > 0)
        _base.executer("PRAGMA max_page_count = " + std::to_string(pagesMax));
    sqlite3_wal_hook(
        _base.lire(),
        [](void* ici, sqlite3*, const char*, int pages) {
            static_cast<EcritureSqlite*>(ici)->_pagesJournal = pages;
            return SQLITE_OK;
        },
        this);
}

std::size_t EcritureSqlite::executer(const Lot& lot) noexcept
{
    const Place fin = _base.estEnPlace() ? _executerLot(lot.begin(), lot.end()) : lot.end();
    if (!_base.estEnPlace()) // what was committed went where nobody finds it
        std::for_each(lot.begin(), fin, [](Demande* demande) { demande->resultat = ECHEC_MAGASIN; });
    else
        _entretenirJournal();
    return static_cast<std::size_t>(fin - lot.begin());
}

EcritureSqlite::Issue EcritureSqlite::_tenter(Place debut, Place& fin)
{
    const bool ecriture =
        std::any_of(debut, fin, [](const Demande* d) { return d->operation != Operation::consulte; });
    bool fait = Execution((ecriture ? _commencerEcriture : _commencerLecture).get()).achever();
    for (Place demande = debut; fait && demande != fin; ++demande) {
        (*demande)->resultat = _executer(**demande);
        fait = (*demande)->resultat != ECHEC_MAGASIN;
        if (fait && !_restePlace())
            fin = demande + 1;
    }
    if (fait && Execution(_valider.get()).achever())
        return Issue::faite;
    if ((sqlite3_errcode(_base.lire()) & 0xFF) != SQLITE_BUSY)
        return Issue::fautive;
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcritureSqlite", "executer",
                          "Base verrouillée par un autre programme, demandes sans effet : " << fin - debut);
    return Issue::vaine;
}

void EcritureSqlite::_annuler() noexcept
{
    if (sqlite3_get_autocommit(_base.lire()) != 0)
        return; // SQLite has already rolled back
    sqlite3_step(_annulation.get());
    sqlite3_reset(_annulation.get());
}

int EcritureSqlite::_executer(Demande& demande)
{
    if (demande.vol->identifiant() == nullptr)
        return VOL_INVALIDE;
    switch (demande.operation) {
    case Operation::cree:
        return _cree(*demande.vol);
    case Operation::supprime:
        return _supprime(*demande.vol);
    case Operation::modifie:
        return _rendreVol(_modification.get(), demande);
    case Operation::consulte:
        return _rendreVol(_consultation.get(), demande);
    case Operation::liste:
        break; // has its own way
    }
    return VOL_INVALIDE;
}

int EcritureSqlite::_cree(const Fiche& vol)
{
    Execution execution(_insertion.get());
    execution.lierFiche(vol);
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return sqlite3_changes(_base.lire()) == 0 ? EXISTE_DEJA : FAIT;
}

int EcritureSqlite::_supprime(const Fiche& vol)
{
    Execution execution(_suppression.get());
    execution.lier(vol.identifiant());
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return sqlite3_changes(_base.lire()) == 0 ? INTROUVABLE : FAIT;
}

int EcritureSqlite::_rendreVol(sqlite3_stmt* ordre, Demande& demande)
{
    Execution execution(ordre);
    if (ordre == _consultation.get())
        execution.lier(demande.vol->identifiant());
    else
        execution.lierFiche(*demande.vol);
    const bool trouve = execution.avancer();
    if (trouve)
        _rendre(demande, execution.lireFiche());
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return trouve ? FAIT : INTROUVABLE;
}

void EcritureSqlite::_entretenirJournal() noexcept
{
    if (_pagesJournal < PAGES_JOURNAL)
        return;
    if (_pagesJournal < _prochaineRemise)
        return _vider(SQLITE_CHECKPOINT_PASSIVE, std::chrono::milliseconds(0));
    _vider(SQLITE_CHECKPOINT_TRUNCATE, ATTENTE_LECTEURS);
    // A reader from outside that stays inside must not be waited for at each group.
    _prochaineRemise = std::max(_pagesJournal + PAGES_JOURNAL, PAGES_JOURNAL_MAX);
}

void EcritureSqlite::reposer() noexcept
{
    if (_pagesJournal > 0 && _base.estEnPlace())
        _vider(SQLITE_CHECKPOINT_TRUNCATE, std::chrono::milliseconds(0));
}

void EcritureSqlite::_vider(int mode, std::chrono::milliseconds attente) noexcept
{
    int pages = 0;
    _base.definirAttente(attente);
    if (sqlite3_wal_checkpoint_v2(_base.lire(), "main", mode, &pages, nullptr) == SQLITE_OK &&
        mode == SQLITE_CHECKPOINT_TRUNCATE)
        _pagesJournal = 0;
    _base.definirAttente(_base.fichier().attenteVerrou());
}

} // namespace serveur
