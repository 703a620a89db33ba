#include "LecturePostgresql.h"

#include "SqlVol.h"

#include "orix/Trace.h"

#include <endian.h>

#include <algorithm>
#include <new>

namespace serveur {

namespace {
/// Consultations under way at once: what is read beyond the limit of a group.
constexpr std::ptrdiff_t CONSULTATIONS_EN_COURS = 16;
constexpr int REPRISES_MAX = 5;
constexpr std::size_t LIGNES_MAX = 4096;
} // namespace

LecturePostgresql::LecturePostgresql(const AdressePostgresql& adresse, const Presse& presse,
                                     SuiviLiens& suivi)
    : _consultation(sqlConsultation()), _lien("lectures", adresse, presse, suivi, _lireSurAttente())
{}

template <class Action>
bool LecturePostgresql::_essayer(const char* quoi, Action action) noexcept
{
    std::string pourquoi;
    for (int reprises = 0; reprises <= REPRISES_MAX; ++reprises) {
        try {
            action();
            return true;
        } catch (const ConnexionPerdue& perte) {
            _lien.perdre(perte.what());
        } catch (const std::exception& exception) { // of the database, or memory that lacks, or the end
            _lien.rompre();
            ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LecturePostgresql", quoi,
                                  "Lecture abandonnée : " << exception.what());
            return false;
        }
    }
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LecturePostgresql", quoi,
                          "Lecture abandonnée : la connexion ne tient pas");
    return false;
}

std::size_t LecturePostgresql::consulter(const Lot& lot) noexcept
{
    auto demande = lot.begin();
    for (std::size_t rendus = 0; demande != lot.end() && rendus <= OCTETS_RENDUS_MAX;) {
        const bool fait = _essayer("consulter", [&] {
            while (demande != lot.end() && rendus <= OCTETS_RENDUS_MAX)
                _consulter(demande, lot.end(), rendus);
        });
        if (!fait)
            (*demande++)->resultat = ECHEC_MAGASIN;
    }
    return static_cast<std::size_t>(demande - lot.begin());
}

/// The next ones, up to the first that fails.
void LecturePostgresql::_consulter(Lot::const_iterator& demande, Lot::const_iterator fin, std::size_t& rendus)
{
    const auto jusqua = demande + std::min(fin - demande, CONSULTATIONS_EN_COURS);
    ConnexionPostgresql& connexion = _lien.obtenir();
    for (auto place = demande; place != jusqua; ++place) {
        const char* identifiant = (*place)->vol->identifiant();
        if (identifiant == nullptr)
            continue;
        connexion.lier(identifiant);
        connexion.envoyer(_consultation);
    }
    connexion.synchroniser();
    for (bool erreur = false; demande != jusqua && !erreur; ++demande) {
        Demande& celle = **demande;
        celle.resultat = VOL_INVALIDE;
        if (celle.vol->identifiant() == nullptr)
            continue;
        const ReponsePostgresql reponse = connexion.recevoir();
        erreur = reponse.estUneErreur();
        celle.resultat = erreur ? ECHEC_MAGASIN : reponse.aUneLigne() ? FAIT : INTROUVABLE;
        if (erreur)
            ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LecturePostgresql", "consulter",
                                  "Consultation abandonnée : " << reponse.message());
        if (celle.resultat == FAIT) {
            celle.vol = reponse.lireFiche();
            rendus += celle.vol->octets();
        }
    }
    connexion.attendreSynchronisation();
}

int LecturePostgresql::lister(const Fiche& exemple, Parcours& parcours, std::size_t octets,
                              const SurVol& surVol) noexcept
{
    const bool fait = _essayer("lister", [&] {
        const Filtre filtre(exemple);
        if (!filtre.egal.empty() && !parcours.dernier.empty())
            parcours.fini = true; // it was that one
        else
            _lister(filtre, parcours, octets, surVol);
    });
    return fait ? FAIT : ECHEC_MAGASIN;
}

void LecturePostgresql::_lister(const Filtre& filtre, Parcours& parcours, std::size_t octets,
                                const SurVol& surVol)
{
    ConnexionPostgresql& connexion = _lien.obtenir();
    const std::string borne = _borner(connexion, filtre, parcours);
    RequeteSql tranche = sqlTranche(filtre, parcours, borne);
    tranche.texte += " LIMIT $" + std::to_string(tranche.valeurs.size() + 1);
    connexion.preparer(tranche.texte);
    const std::uint64_t limite = htobe64(_lignes);
    for (const std::string_view valeur : tranche.valeurs)
        connexion.lier(valeur);
    connexion.lier({reinterpret_cast<const char*>(&limite), sizeof limite});
    connexion.envoyer(tranche.texte, /*ligneALigne*/ true);
    connexion.synchroniser();

    std::size_t donnes = 0;
    std::size_t lignes = 0;
    bool coupee = false; // by the octets: the rest comes again in the next slice
    for (;;) {
        const ReponsePostgresql reponse = connexion.recevoir();
        if (reponse.estUneErreur())
            throw ErreurSql(reponse.message());
        if (reponse.statut() != PGRES_SINGLE_TUPLE)
            break;
        coupee = coupee || donnes >= octets;
        if (coupee)
            continue;
        FichePartagee vol = reponse.lireFiche();
        donnes += vol->octets();
        ++lignes;
        parcours.dernier = vol->identifiant();
        surVol(std::move(vol));
    }
    connexion.attendreSynchronisation();
    if (!coupee && lignes < _lignes) {
        parcours.dernier = borne;
        parcours.fini = borne.empty();
    }
    if (lignes > 0)
        _lignes = std::clamp<std::size_t>(octets * lignes / donnes + 1, 1, std::min(_lignes * 2, LIGNES_MAX));
}

/// The last record of the slice when its conditions may match none for long; empty: there is no need.
std::string LecturePostgresql::_borner(ConnexionPostgresql& connexion, const Filtre& filtre,
                                       const Parcours& parcours)
{
    if (!aBorner(filtre))
        return "";
    const RequeteSql requete = sqlBorne(filtre, parcours);
    connexion.preparer(requete.texte);
    for (const std::string_view valeur : requete.valeurs)
        connexion.lier(valeur);
    connexion.envoyer(requete.texte);
    connexion.synchroniser();
    const ReponsePostgresql reponse = connexion.recevoir();
    if (reponse.estUneErreur())
        throw ErreurSql(reponse.message());
    connexion.attendreSynchronisation();
    return reponse.aUneLigne() ? std::string(reponse.lireOctets(0)) : "";
}

} // namespace serveur
