#include "LectureSqlite.h"

#include "SqlVol.h"

#include "orix/Trace.h"

#include <algorithm>
#include <new>

namespace serveur {

namespace {
constexpr std::size_t ORDRES_GARDES = 32;
} // namespace

LectureSqlite::LectureSqlite(FichierSqlite& fichier)
    : _base(fichier, /*creer*/ false),
      _commencer(_base.preparer("BEGIN DEFERRED")),
      _terminer(_base.preparer("COMMIT")),
      _consultation(_base.preparer(sqlConsultation()))
{
    _base.executer("PRAGMA query_only = 1");
}

std::size_t LectureSqlite::consulter(const Lot& lot) noexcept
{
    const bool enPlace = _base.estEnPlace();
    // Without one, each would have a transaction of its own.
    const bool ensemble = enPlace && lot.size() > 1 && sqlite3_step(_commencer.get()) == SQLITE_DONE;
    sqlite3_reset(_commencer.get());
    auto demande = lot.begin();
    for (std::size_t rendus = 0; demande != lot.end() && rendus <= OCTETS_RENDUS_MAX; ++demande) {
        Demande& d = **demande;
        try {
            d.resultat = enPlace ? _consulter(d) : ECHEC_MAGASIN;
        } catch (const std::bad_alloc&) {
            d.resultat = ECHEC_MAGASIN;
        }
        if (d.resultat == ECHEC_MAGASIN)
            ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LectureSqlite", "consulter",
                                  "Consultation abandonnée : " << sqlite3_errmsg(_base.lire()));
        if (d.resultat == FAIT) {
            d.vol = std::move(d.rendu);
            rendus += d.vol->octets();
        }
    }
    if (ensemble) {
        sqlite3_step(_terminer.get());
        sqlite3_reset(_terminer.get());
        if (sqlite3_get_autocommit(_base.lire()) == 0) // what is read next is to be of now
            sqlite3_exec(_base.lire(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (!_base.estEnPlace())
        std::for_each(lot.begin(), demande, [](Demande* d) { d->resultat = ECHEC_MAGASIN; });
    return static_cast<std::size_t>(demande - lot.begin());
}

int LectureSqlite::_consulter(Demande& demande)
{
    if (demande.vol->identifiant() == nullptr)
        return VOL_INVALIDE;
    Execution execution(_consultation.get());
    execution.lier(demande.vol->identifiant());
    const bool trouve = execution.avancer();
    if (trouve)
        demande.rendu = execution.lireFiche();
    if (!execution.achever())
        return ECHEC_MAGASIN;
    return trouve ? FAIT : INTROUVABLE;
}

int LectureSqlite::lister(const Fiche& exemple, Parcours& parcours, std::size_t octets,
                          const SurVol& surVol) noexcept
{
    try {
        const int resultat = _base.estEnPlace() ? _lister(exemple, parcours, octets, surVol) : ECHEC_MAGASIN;
        return _base.estEnPlace() ? resultat : ECHEC_MAGASIN;
    } catch (const std::exception& exception) { // of the database, or memory that lacks
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LectureSqlite", "lister", exception.what());
        return ECHEC_MAGASIN;
    }
}

int LectureSqlite::_lister(const Fiche& exemple, Parcours& parcours, std::size_t octets, const SurVol& surVol)
{
    const Filtre filtre(exemple);
    if (!filtre.egal.empty() && !parcours.dernier.empty()) {
        parcours.fini = true; // it was that one
        return FAIT;
    }
    const std::string borne = _borner(filtre, parcours);
    const RequeteSql tranche = sqlTranche(filtre, parcours, borne);
    Execution execution(_ordre(tranche.texte));
    for (const std::string_view valeur : tranche.valeurs)
        execution.lier(valeur);
    for (std::size_t donnes = 0; donnes < octets;) {
        if (!execution.avancer()) {
            if (!execution.achever())
                _base.echouer("liste interrompue");
            parcours.dernier = borne;
            parcours.fini = borne.empty();
            return FAIT;
        }
        FichePartagee vol = execution.lireFiche();
        donnes += vol->octets();
        parcours.dernier = vol->identifiant();
        surVol(std::move(vol));
    }
    return FAIT;
}

/// The last record of the slice when its conditions may match none for long; empty: there is no need.
std::string LectureSqlite::_borner(const Filtre& filtre, const Parcours& parcours)
{
    if (!aBorner(filtre))
        return "";
    const RequeteSql requete = sqlBorne(filtre, parcours);
    Execution execution(_ordre(requete.texte));
    for (const std::string_view valeur : requete.valeurs)
        execution.lier(valeur);
    return execution.avancer() ? std::string(execution.lireOctets(0)) : "";
}

sqlite3_stmt* LectureSqlite::_ordre(const std::string& sql)
{
    const auto place = _ordres.find(sql);
    if (place != _ordres.end())
        return place->second.get();
    if (_ordres.size() >= ORDRES_GARDES)
        _ordres.clear();
    return _ordres.emplace(sql, _base.preparer(sql)).first->second.get();
}

} // namespace serveur
