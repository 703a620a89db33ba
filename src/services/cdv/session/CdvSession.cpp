#include "CdvSession.h"

#include "ClientService.h"
#include "FormesDemande.h"
#include "MoteurSession.h"
#include "OXcdvCliArret.h"
#include "OXcdvCliCode.h"
#include "OXcdvCliConnexion.h"
#include "RappelsProcessus.h"
#include "orix/Processus.h"

#include <exception>

namespace cdv {

Erreur::~Erreur() = default;

// ---- Process

namespace {
template <class Configuration>
void demarrer(int& argc, char** argv, const Configuration& configuration)
{
    std::string message;
    std::exception_ptr cause;
    const orix::OXstatut statut = orix::initialiser(argc, argv, configuration, &message, &cause);
    if (statut == orix::OXS_OK)
        return;
    if (message.empty())
        message = orix::texteStatut(statut);
    if (cause == nullptr)
        throw Erreur(statut, message);
    try {
        std::rethrow_exception(cause);
    } catch (...) {
        std::throw_with_nested(Erreur(statut, message));
    }
}
} // namespace

Processus::Processus(int& argc, char** argv, const std::string& fichierConfiguration)
{
    demarrer(argc, argv, fichierConfiguration);
}

Processus::Processus(int& argc, char** argv, const orix::Configuration& configuration)
{
    demarrer(argc, argv, configuration);
}

Processus::Processus(const orix::Configuration& configuration)
{
    int argc = 0;
    demarrer(argc, nullptr, configuration);
}

Processus::~Processus()
{
    ClientService::unique().clore();
    orix::detruireOXcdvCliItfAdaptateur();
    orix::terminer();
}

// ---- Results

namespace {
/// Of the two names of that status the one that says what it is.
const char* nom(orix::OXstatut statut)
{
    return statut == orix::OXS_ERREUR_CORBA ? "OXS_ERREUR_CORBA" : orix::texteStatut(statut);
}
} // namespace

std::string Resultat::texte() const
{
    const char* const incertain = lecture ? "" : ": it may or may not have been done";
    const std::string parStatut = std::string(" (") + nom(statut) + ")";
    switch (etat) {
    case Etat::fait:
        return "done";
    case Etat::refuse: {
        const char* const connu = code::texte(code);
        return "refused by the server: " + (connu != nullptr ? connu + std::string(" ") : "") + "(code " +
               std::to_string(code) + ")";
    }
    case Etat::delai:
        return std::string("no answer in time") + incertain;
    case Etat::perdu:
        return "connection lost before the answer" + parStatut + incertain;
    case Etat::nonEnvoye:
        return "not sent" + parStatut;
    case Etat::ferme:
        return std::string("closed before the answer") + incertain;
    }
    return "?";
}

const char* texteEtat(EtatSession etat) noexcept
{
    constexpr const char* TEXTES[] = {"closed", "activating", "active", "lost", "waiting to try again"};
    return TEXTES[static_cast<int>(etat)];
}

// ---- Session

Session::Session() noexcept = default;

Session::Session(const Options& options)
{
    ouvrir(options);
    const std::shared_ptr<MoteurSession> ouvert = _lireMoteur();
    if (ouvert->attendrePremierTour())
        return;
    const orix::OXstatut statut = ouvert->dernierEvenement().statut;
    ouvert->fermer();
    throw Erreur(statut, "no server of the service \"" + options.service + "\" accepts a session (" +
                             nom(statut) + ")");
}

Session::~Session() { fermer(); }

std::shared_ptr<MoteurSession> Session::_lireMoteur() const { return std::atomic_load(&_moteur); }

void Session::ouvrir(const Options& options)
{
    exigerRappels();
    MoteurSession::ouvrir(*this, options, Horloge::courante());
}

bool Session::attendreActive(Duree delai)
{
    const auto ouvert = _lireMoteur();
    return ouvert && ouvert->attendreActive(delai);
}

bool Session::attendreFin(Duree delai)
{
    const auto ouvert = _lireMoteur();
    return !ouvert || ouvert->attendreFin(delai);
}

void Session::activer()
{
    if (const auto ouvert = _lireMoteur())
        ouvert->activer();
}

void Session::fermer()
{
    if (const auto ouvert = _lireMoteur())
        ouvert->fermer();
}

EtatSession Session::etat() const
{
    const auto ouvert = _lireMoteur();
    return ouvert ? ouvert->etat() : EtatSession::fermee;
}

Evenement Session::dernierEvenement() const
{
    const auto ouvert = _lireMoteur();
    return ouvert ? ouvert->dernierEvenement() : Evenement{};
}

int Session::numeroClient() const { return estActive() ? orix::lireOXcdvCliConnexion().numeroClient : 0; }

Statistiques Session::statistiques() const
{
    const auto moteur = _lireMoteur();
    return moteur ? moteur->statistiques() : Statistiques();
}

std::size_t Session::nombreEnCours() const
{
    const auto ouvert = _lireMoteur();
    return ouvert ? ouvert->nombreEnCours() : 0;
}

namespace {

void demander(const std::shared_ptr<MoteurSession>& moteur, const std::shared_ptr<Demande>& demande,
              Genre genre, const Vol& vol, const Session::Delai& delai)
{
    if (moteur)
        return moteur->demander(demande, genre, vol, delai);
    Livraisons fins; // never opened
    TableDemandes::refuser(demande, genre, orix::OXS_SERVICE_NON_ACTIVE, fins);
    if (!fins.estVide())
        demande->livrer();
}

template <class R>
std::future<R> demanderFuture(const std::shared_ptr<MoteurSession>& moteur, Genre genre, const Vol& vol,
                              const Session::Delai& delai)
{
    const auto demande = std::make_shared<DemandeFuture<R>>();
    std::future<R> future = demande->future();
    demander(moteur, demande, genre, vol, delai);
    return future;
}

template <class R>
void demanderFonction(const std::shared_ptr<MoteurSession>& moteur, Genre genre, const Vol& vol,
                      std::function<void(R)> fin, const Session::Delai& delai)
{
    demander(moteur, std::make_shared<DemandeFonction<R>>(std::move(fin)), genre, vol, delai);
}

} // namespace

#define CDV_REQUETE(nom, R, FONCTION)                                                                        \
    std::future<R> Session::nom(const Vol& vol, Delai delai)                                                 \
    {                                                                                                        \
        return demanderFuture<R>(_lireMoteur(), Genre::nom, vol, delai);                                     \
    }                                                                                                        \
    void Session::nom(const Vol& vol, FONCTION fin, Delai delai)                                             \
    {                                                                                                        \
        demanderFonction<R>(_lireMoteur(), Genre::nom, vol, std::move(fin), delai);                          \
    }
CDV_REQUETE(creer, Resultat, Fin)
CDV_REQUETE(modifier, Resultat, Fin)
CDV_REQUETE(supprimer, Resultat, Fin)
CDV_REQUETE(consulter, Resultat, Fin)
CDV_REQUETE(lister, ResultatListe, FinListe)
#undef CDV_REQUETE

#define CDV_REQUETE_IDENTIFIANT(nom)                                                                         \
    std::future<Resultat> Session::nom(std::string_view identifiant, Delai delai)                            \
    {                                                                                                        \
        return nom(Vol{{"identifiant", identifiant}}, delai);                                                \
    }                                                                                                        \
    void Session::nom(std::string_view identifiant, Fin fin, Delai delai)                                    \
    {                                                                                                        \
        nom(Vol{{"identifiant", identifiant}}, std::move(fin), delai);                                       \
    }
CDV_REQUETE_IDENTIFIANT(supprimer)
CDV_REQUETE_IDENTIFIANT(consulter)
#undef CDV_REQUETE_IDENTIFIANT

Flux Session::parcourir(const Vol& exemple, std::size_t capacite, Delai delai)
{
    const auto ouvert = _lireMoteur();
    const auto tampon = std::make_shared<Flux::Tampon>(ouvert, capacite);
    const auto demande = std::make_shared<DemandeFlux>(tampon);
    tampon->demande = demande;
    demander(ouvert, demande, Genre::lister, exemple, delai);
    return Flux(tampon);
}

// ---- Streams. Of a session that was never opened they have no engine, and are at their end.

Flux::Flux(std::shared_ptr<Tampon> tampon) noexcept : _tampon(std::move(tampon)) {}
Flux::Flux(Flux&&) noexcept = default;

Flux& Flux::operator=(Flux&& source) noexcept
{
    if (this != &source) {
        abandonner();
        _tampon = std::move(source._tampon);
        _courant = std::move(source._courant);
    }
    return *this;
}

Flux::~Flux() { abandonner(); }

std::optional<Vol> Flux::suivant()
{
    return _tampon && _tampon->moteur ? _tampon->moteur->suivant(*_tampon) : std::nullopt;
}

const Resultat& Flux::resultat() const
{
    if (!_tampon)
        throw std::logic_error("cdv::Flux::resultat(): the stream was moved from");
    return _tampon->moteur ? _tampon->moteur->finDe(*_tampon) : *_tampon->fin;
}

void Flux::abandonner() noexcept
{
    if (_tampon && _tampon->moteur)
        _tampon->moteur->abandonner(*_tampon);
}

} // namespace cdv
