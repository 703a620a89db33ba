#include "ConnexionPostgresql.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

namespace serveur {

namespace {

constexpr std::chrono::seconds PERIODE_ATTENTE{1};
constexpr std::size_t ORDRES_GARDES = 64;
constexpr int VERSION_MIN = 140000;

/// What a session needs: every statement goes by the key, in its order; nobody waits long for somebody else's
/// lock; what this process leaves open when it falls silent does not stay. What is reported as done is at
/// least on the disk.
constexpr const char* REGLAGES =
    "SET plan_cache_mode = force_generic_plan; SET enable_seqscan = off; SET enable_bitmapscan = off; SET "
    "jit = off; "
    "SET lock_timeout = '5s'; SET statement_timeout = 0; SET idle_session_timeout = 0; "
    "SET idle_in_transaction_session_timeout = '10s'; SET client_min_messages = warning; "
    "SET tcp_keepalives_idle = 5; SET tcp_keepalives_interval = 2; SET tcp_keepalives_count = 3; "
    "SET tcp_user_timeout = 10000; "
    "SELECT set_config('synchronous_commit', 'on', false) WHERE current_setting('synchronous_commit') = "
    "'off'";

std::string enUneLigne(const char* texte)
{
    std::string ligne(texte != nullptr ? texte : "");
    while (!ligne.empty() && ligne.back() == '\n')
        ligne.pop_back();
    std::replace(ligne.begin(), ligne.end(), '\n', ' ');
    return ligne;
}

/// Whether another connection, perhaps to another member, would do better.
bool estDuMembre(std::string_view etat)
{
    constexpr std::array<std::string_view, 4> ARRETS{"57P01", "57P02", "57P03", "25006"};
    return etat.empty() || etat.substr(0, 2) == "08" ||
           std::find(ARRETS.begin(), ARRETS.end(), etat) != ARRETS.end();
}

std::vector<const char*> pointeurs(const std::vector<std::string>& textes)
{
    std::vector<const char*> adresses;
    adresses.reserve(textes.size() + 1);
    for (const std::string& texte : textes)
        adresses.push_back(texte.c_str());
    adresses.push_back(nullptr);
    return adresses;
}

} // namespace

std::string_view ReponsePostgresql::etat() const
{
    const char* etat = PQresultErrorField(_resultat.get(), PG_DIAG_SQLSTATE);
    return etat != nullptr ? etat : "";
}

std::string ReponsePostgresql::message() const
{
    const char* principal = PQresultErrorField(_resultat.get(), PG_DIAG_MESSAGE_PRIMARY);
    return enUneLigne(principal != nullptr ? principal : PQresultErrorMessage(_resultat.get()));
}

bool ReponsePostgresql::aFait(const char* commande) const
{
    return std::string_view(PQcmdStatus(_resultat.get())) == commande;
}

long ReponsePostgresql::lignes() const { return std::strtol(PQcmdTuples(_resultat.get()), nullptr, 10); }

std::string_view ReponsePostgresql::lireOctets(int colonne) const
{
    if (PQgetisnull(_resultat.get(), 0, colonne) != 0)
        return {};
    return {PQgetvalue(_resultat.get(), 0, colonne),
            static_cast<std::size_t>(PQgetlength(_resultat.get(), 0, colonne))};
}

FichePartagee ReponsePostgresql::lireFiche() const
{
    auto fiche = std::make_shared<Fiche>();
    const int nombre = PQnfields(_resultat.get());
    for (int colonne = 0; colonne < nombre; ++colonne)
        fiche->ajouter(lireOctets(colonne));
    return fiche;
}

ConnexionPostgresql::ConnexionPostgresql(const PartagePostgresql& partage,
                                         const std::function<void()>& surAttente, bool refusEstDefinitif)
    : _partage(partage), _surAttente(surAttente)
{
    std::string pourquoi;
    for (const AdressePostgresql::Membre& membre : partage.adresse().membres())
        if (_connecter(membre, refusEstDefinitif, pourquoi))
            return;
    throw ConnexionPerdue(pourquoi);
}

bool ConnexionPostgresql::_connecter(const AdressePostgresql::Membre& membre, bool refusEstDefinitif,
                                     std::string& pourquoi)
{
    const AdressePostgresql& adresse = _partage.adresse();
    _connexion.reset(
        PQconnectStartParams(pointeurs(membre.cles).data(), pointeurs(membre.valeurs).data(), /*expand*/ 0));
    if (_connexion == nullptr)
        throw std::bad_alloc();
    const auto refuser = [&](const std::string& raison) {
        pourquoi += (pourquoi.empty() ? "" : " ; ") + raison;
        _connexion.reset();
        return false;
    };
    if (!_etablir(Instant::clock::now() + adresse.delaiConnexion())) {
        const bool echouee = PQstatus(_connexion.get()) == CONNECTION_BAD;
        const std::string raison =
            echouee ? enUneLigne(PQerrorMessage(_connexion.get())) : "connexion trop longue";
        // libpq does not tell why; but a server that takes connections, and not this one, refuses it.
        if (echouee && refusEstDefinitif && adresse.veutEcrire() &&
            PQpingParams(pointeurs(membre.cles).data(), pointeurs(membre.valeurs).data(), /*expand*/ 0) ==
                PQPING_OK)
            throw ErreurMagasin(adresse.nom() + " : " + raison);
        return refuser(raison);
    }
    try {
        if (PQserverVersion(_connexion.get()) < VERSION_MIN)
            throw ErreurMagasin(adresse.nom() + " : PostgreSQL 14 au moins est nécessaire");
        const auto vaut = [this](const char* parametre) {
            const char* valeur = PQparameterStatus(_connexion.get(), parametre);
            return valeur != nullptr && std::string_view(valeur) == "on";
        };
        if (adresse.veutEcrire() && (vaut("in_hot_standby") || vaut("default_transaction_read_only")))
            return refuser("ce membre ne prend pas d'écritures");
        _regler();
        return true;
    } catch (const ConnexionPerdue& perte) {
        return refuser(perte.what());
    }
}

bool ConnexionPostgresql::_etablir(Instant limite)
{
    PostgresPollingStatusType etape = PGRES_POLLING_WRITING;
    while (PQstatus(_connexion.get()) != CONNECTION_BAD) {
        if (etape == PGRES_POLLING_OK)
            return true;
        if (etape == PGRES_POLLING_FAILED ||
            !_attendre(etape == PGRES_POLLING_READING ? POLLIN : POLLOUT, limite))
            return false;
        etape = PQconnectPoll(_connexion.get());
    }
    return false;
}

void ConnexionPostgresql::_regler()
{
    PQsetNoticeReceiver(
        _connexion.get(),
        [](void* ici, const PGresult* avis) {
            const char* gravite = PQresultErrorField(avis, PG_DIAG_SEVERITY_NONLOCALIZED);
            if (gravite != nullptr && std::string_view(gravite) == "WARNING")
                static_cast<ConnexionPostgresql*>(ici)->_avertie = true;
        },
        this);
    if (PQsetnonblocking(_connexion.get(), 1) != 0 || PQsendQuery(_connexion.get(), REGLAGES) != 1)
        _perdre();
    for (PGresult* resultat = _lireResultat(); resultat != nullptr; resultat = _lireResultat()) {
        const ReponsePostgresql reponse(resultat);
        if (reponse.estUneErreur())
            throw ConnexionPerdue(reponse.message());
    }
    if (PQenterPipelineMode(_connexion.get()) != 1)
        _perdre();
}

void ConnexionPostgresql::lier(std::string_view octets)
{
    _valeurs.push_back(octets.data());
    _tailles.push_back(static_cast<int>(octets.size()));
    _formats.push_back(1);
}

void ConnexionPostgresql::lierFiche(const Fiche& vol)
{
    vol.parcourir([this](std::string_view octets) { lier(octets); });
}

void ConnexionPostgresql::envoyer(const std::string& sql, bool ligneALigne)
{
    const std::string& nom = _ordres.at(sql);
    const int envoye = PQsendQueryPrepared(_connexion.get(), nom.c_str(), static_cast<int>(_valeurs.size()),
                                           _valeurs.data(), _tailles.data(), _formats.data(), /*binary*/ 1);
    _valeurs.clear();
    _tailles.clear();
    _formats.clear();
    if (envoye != 1 || (ligneALigne && PQsetSingleRowMode(_connexion.get()) != 1))
        _perdre();
}

void ConnexionPostgresql::preparer(std::initializer_list<std::string_view> ordres)
{
    if (_ordres.size() + ordres.size() > ORDRES_GARDES) {
        executer("DEALLOCATE ALL");
        _ordres.clear();
    }
    std::size_t nouveaux = 0;
    for (const std::string_view sql : ordres) {
        const auto [place, nouveau] = _ordres.emplace(sql, "o" + std::to_string(_ordres.size()));
        if (!nouveau)
            continue;
        ++nouveaux;
        if (PQsendPrepare(_connexion.get(), place->second.c_str(), place->first.c_str(), 0, nullptr) != 1)
            _perdre();
    }
    if (nouveaux == 0)
        return;
    synchroniser();
    for (; nouveaux > 0; --nouveaux) {
        const ReponsePostgresql reponse = recevoir();
        if (reponse.estUneErreur())
            throw ErreurSql(reponse.message());
    }
    attendreSynchronisation();
}

void ConnexionPostgresql::synchroniser()
{
    if (PQpipelineSync(_connexion.get()) != 1)
        _perdre();
}

PGresult* ConnexionPostgresql::_lireResultat()
{
    // What came before the end of the connection is read before the end is told.
    for (bool coupee = false; PQisBusy(_connexion.get()) != 0;) {
        if (coupee || PQsocket(_connexion.get()) < 0)
            _perdre();
        const bool reste = PQflush(_connexion.get()) > 0;
        _attendre(static_cast<short>(reste ? POLLIN | POLLOUT : POLLIN));
        coupee = PQconsumeInput(_connexion.get()) != 1;
    }
    return PQgetResult(_connexion.get());
}

ReponsePostgresql ConnexionPostgresql::recevoir()
{
    PGresult* resultat = _lireResultat();
    if (resultat == nullptr) // stands between the answers
        resultat = _lireResultat();
    if (resultat == nullptr)
        throw ConnexionPerdue("réponse absente");
    ReponsePostgresql reponse(resultat);
    if (reponse.estUneErreur() && estDuMembre(reponse.etat()))
        throw ConnexionPerdue(reponse.message());
    return reponse;
}

void ConnexionPostgresql::attendreSynchronisation()
{
    while (recevoir().statut() != PGRES_PIPELINE_SYNC) {
    }
}

ReponsePostgresql ConnexionPostgresql::executer(const std::string& sql)
{
    if (PQsendQueryParams(_connexion.get(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr,
                          /*binary*/ 0) != 1)
        _perdre();
    synchroniser();
    ReponsePostgresql reponse = recevoir();
    attendreSynchronisation();
    if (reponse.estUneErreur())
        throw ErreurSql(reponse.message());
    return reponse;
}

void ConnexionPostgresql::verifier()
{
    pollfd prise{PQsocket(_connexion.get()), POLLIN, 0};
    if (poll(&prise, 1, 0) > 0 && PQconsumeInput(_connexion.get()) != 1)
        _perdre();
}

bool ConnexionPostgresql::_attendre(short evenements, std::optional<Instant> limite) const
{
    for (;;) {
        std::chrono::milliseconds delai = PERIODE_ATTENTE;
        if (limite)
            delai = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(*limite - Instant::clock::now()),
                               std::chrono::milliseconds(0), delai);
        std::array<pollfd, 2> prises{
            {{PQsocket(_connexion.get()), evenements, 0}, {_partage.descripteurPresse(), POLLIN, 0}}};
        const int pretes = poll(prises.data(), prises.size(), static_cast<int>(delai.count()));
        if (_partage.estPresse())
            throw ArretDemande();
        if (pretes > 0)
            return true;
        if (pretes < 0 && errno != EINTR)
            _perdre();
        if (limite && Instant::clock::now() >= *limite)
            return false;
        _surAttente();
    }
}

void ConnexionPostgresql::_perdre() const
{
    throw ConnexionPerdue(enUneLigne(PQerrorMessage(_connexion.get())));
}

} // namespace serveur
