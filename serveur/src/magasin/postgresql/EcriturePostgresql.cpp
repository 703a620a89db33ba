#include "EcriturePostgresql.h"

#include "SqlVol.h"

#include "orix/Trace.h"

#include <endian.h>
#include <sys/random.h>

#include <algorithm>
#include <new>

namespace serveur {

namespace {

/// Statements under way whose answers are records, as large as a message: what is read beyond the limit of a
/// group.
constexpr int RENDUS_EN_COURS = 16;
/// After so many a transaction that comes to no end is taken for faulty.
constexpr int REPRISES_MAX = 5;

const std::string COMMENCER = "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE";
const std::string VALIDER = "COMMIT";
const std::string MARQUER =
    "INSERT INTO marque (serveur, lot) VALUES ($1, $2) "
    "ON CONFLICT (serveur) DO UPDATE SET lot = excluded.lot, quand = now() WHERE marque.lot < excluded.lot";
/// Changes nothing but that the log is written, and with it what was committed before.
const std::string CONFIRMER = "UPDATE marque SET quand = now() WHERE serveur = $1";

bool rend(const Demande& demande)
{
    return demande.operation == Operation::modifie || demande.operation == Operation::consulte;
}

} // namespace

EcriturePostgresql::EcriturePostgresql(const AdressePostgresql& adresse, const Presse& presse,
                                       SuiviLiens& suivi)
    : _ordres{sqlInsertion(), sqlModification(), sqlSuppression(), sqlConsultation()},
      _lien("écritures", adresse, presse, suivi, _lireSurAttente())
{
    if (getrandom(_instance.data(), _instance.size(), 0) != static_cast<ssize_t>(_instance.size()))
        throw ErreurMagasin("aucun nombre au hasard");
}

std::size_t EcriturePostgresql::executer(const Lot& lot) noexcept
{
    return static_cast<std::size_t>(_executerLot(lot.begin(), lot.end()) - lot.begin());
}

EcriturePostgresql::Issue EcriturePostgresql::_tenter(Place debut, Place& fin)
{
    const Place toutes = fin;
    bool dit = false; // the doubt
    for (int reprises = 0;;) {
        try {
            if (_doute && !std::exchange(dit, true))
                ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcriturePostgresql", "executer",
                                      "Issue d'un lot inconnue, la base est à demander : "
                                          << fin - debut << " demandes attendent");
            if (!_doute)
                fin = toutes;
            switch (_doute ? _trancher() : _essayer(debut, fin)) {
            case Essai::valide:
                return Issue::faite;
            case Essai::refuse:
                return Issue::fautive;
            case Essai::vain:
                return Issue::vaine;
            case Essai::aReprendre:
                break;
            }
        } catch (const ConnexionPerdue& perte) {
            _lien.perdre(perte.what());
            if (!_doute)
                _raison = perte.what();
        } catch (const BaseAbsente& absence) {
            _raison = absence.what();
            return Issue::vaine;
        } catch (const ArretDemande& arret) {
            _lien.rompre();
            if (std::exchange(_doute, false))
                return Issue::inconnue;
            _raison = arret.what();
            return Issue::vaine;
        } catch (const ErreurSql& erreur) { // a statement cannot be prepared
            _lien.rompre();
            if (!_doute) {
                _raison = erreur.what();
                return Issue::fautive;
            }
        } catch (const std::bad_alloc&) {
            _lien.rompre();
            if (!_doute)
                throw;
        }
        if (_doute && dit)
            _lien.patienter();
        else if (!_doute && ++reprises > REPRISES_MAX)
            return Issue::fautive;
    }
}

EcriturePostgresql::Essai EcriturePostgresql::_essayer(Place debut, Place& fin)
{
    const bool ecriture =
        std::any_of(debut, fin, [](const Demande* d) { return d->operation != Operation::consulte; });
    _etat.clear();
    ConnexionPostgresql& connexion = _lien.obtenir();
    for (const std::string* ordre : {&COMMENCER, &VALIDER, &MARQUER, &CONFIRMER})
        connexion.preparer(*ordre);
    for (const std::string& ordre : _ordres)
        connexion.preparer(ordre);
    if (!_derouler(connexion, debut, fin, ecriture)) {
        connexion.synchroniser();
        connexion.attendreSynchronisation();
        if (ecriture)
            connexion.executer("ROLLBACK");
        return _qualifier();
    }
    if (ecriture)
        return _valider(connexion);
    connexion.synchroniser();
    connexion.attendreSynchronisation();
    return Essai::valide;
}

bool EcriturePostgresql::_derouler(ConnexionPostgresql& connexion, Place debut, Place& fin, bool ecriture)
{
    Place recues = debut;
    if (ecriture) {
        ++_numero;
        connexion.envoyer(COMMENCER);
        _marquer(connexion);
    }
    bool entete = ecriture; // whose answers come before the requests'
    const auto recevoir = [&](Place jusqua) {
        connexion.demanderReponses();
        for (int n = std::exchange(entete, false) ? 2 : 0; n > 0; --n)
            if (!_noter(connexion.recevoir()))
                return false;
        return _recevoir(connexion, recues, jusqua);
    };
    int enCours = 0;
    for (Place demande = debut; demande != fin; ++demande) {
        _oublier(**demande); // a try before
        (*demande)->resultat = VOL_INVALIDE;
        if ((*demande)->vol->identifiant() == nullptr)
            continue;
        _envoyer(connexion, **demande);
        if (!rend(**demande) || ++enCours < RENDUS_EN_COURS)
            continue;
        enCours = 0;
        if (!recevoir(demande + 1))
            return false;
        if (!_restePlace())
            fin = demande + 1;
    }
    return recevoir(fin);
}

void EcriturePostgresql::_marquer(ConnexionPostgresql& connexion)
{
    const std::uint64_t numero = htobe64(static_cast<std::uint64_t>(_numero));
    connexion.lier({_instance.data(), _instance.size()});
    connexion.lier({reinterpret_cast<const char*>(&numero), sizeof numero});
    connexion.envoyer(MARQUER);
}

void EcriturePostgresql::_envoyer(ConnexionPostgresql& connexion, const Demande& demande)
{
    if (demande.operation == Operation::cree || demande.operation == Operation::modifie)
        connexion.lierFiche(*demande.vol);
    else
        connexion.lier(demande.vol->identifiant());
    connexion.envoyer(_ordres[static_cast<std::size_t>(demande.operation)]);
}

bool EcriturePostgresql::_recevoir(ConnexionPostgresql& connexion, Place& debut, Place fin)
{
    for (; debut != fin; ++debut) {
        Demande& demande = **debut;
        if (demande.vol->identifiant() == nullptr)
            continue;
        const ReponsePostgresql reponse = connexion.recevoir();
        if (!_noter(reponse))
            return false;
        if (rend(demande)) {
            demande.resultat = reponse.aUneLigne() ? FAIT : INTROUVABLE;
            if (reponse.aUneLigne())
                _rendre(demande, reponse.lireFiche());
        } else if (reponse.lignes() > 0) {
            demande.resultat = FAIT;
        } else {
            demande.resultat = demande.operation == Operation::cree ? EXISTE_DEJA : INTROUVABLE;
        }
    }
    return true;
}

bool EcriturePostgresql::_noter(const ReponsePostgresql& reponse)
{
    if (!reponse.estUneErreur())
        return true;
    _etat = reponse.etat();
    _raison = reponse.message();
    return false;
}

EcriturePostgresql::Essai EcriturePostgresql::_qualifier() const
{
    constexpr std::string_view SERIALISATION = "40001";
    constexpr std::string_view INTERBLOCAGE = "40P01";
    constexpr std::string_view VERROU = "55P03";
    if (_etat == SERIALISATION || _etat == INTERBLOCAGE) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "EcriturePostgresql", "executer", "Lot repris : " << _raison);
        return Essai::aReprendre;
    }
    if (_etat == VERROU) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcriturePostgresql", "executer",
                              "Base verrouillée par un autre programme, demandes sans effet");
        return Essai::vain;
    }
    return Essai::refuse;
}

EcriturePostgresql::Essai EcriturePostgresql::_valider(ConnexionPostgresql& connexion)
{
    connexion.avertie();
    _doute = true;
    connexion.envoyer(VALIDER);
    connexion.synchroniser();
    const ReponsePostgresql reponse = connexion.recevoir();
    if (!_noter(reponse) || !reponse.aFait("COMMIT")) {
        _doute = false; // it was refused
        connexion.attendreSynchronisation();
        return _etat.empty() ? Essai::aReprendre : _qualifier();
    }
    if (connexion.avertie()) { // committed, but not where it was to be
        connexion.attendreSynchronisation();
        return Essai::aReprendre;
    }
    _doute = false;
    try {
        connexion.attendreSynchronisation();
    } catch (const std::exception& exception) {
        _lien.perdre(exception.what());
    }
    return Essai::valide;
}

/// Settles the transaction whose commit was sent.
EcriturePostgresql::Essai EcriturePostgresql::_trancher()
{
    ConnexionPostgresql& connexion = _lien.obtenir(/*sansFin*/ true);
    connexion.preparer(MARQUER);
    connexion.preparer(CONFIRMER);
    connexion.executer(COMMENCER);
    _marquer(connexion);
    connexion.synchroniser();
    const ReponsePostgresql marque = connexion.recevoir();
    const bool tranche = _noter(marque); // an error: that transaction is open still
    const bool annule = tranche && marque.lignes() > 0;
    connexion.attendreSynchronisation();
    if (!tranche || annule) {
        connexion.executer("ROLLBACK");
        if (!tranche)
            return Essai::aReprendre;
        _doute = false;
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcriturePostgresql", "_trancher",
                              "Issue du lot connue : annulé, il est repris");
        return Essai::aReprendre;
    }
    connexion.avertie();
    connexion.lier({_instance.data(), _instance.size()});
    connexion.envoyer(CONFIRMER);
    connexion.envoyer(VALIDER);
    connexion.synchroniser();
    const bool confirme = _noter(connexion.recevoir()) && _noter(connexion.recevoir());
    connexion.attendreSynchronisation();
    if (!confirme || connexion.avertie())
        return Essai::aReprendre;
    _doute = false;
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcriturePostgresql", "_trancher",
                          "Issue du lot connue : validé");
    return Essai::valide;
}

} // namespace serveur
