#include "OptionsServeur.h"
#include "OuvertureMagasin.h"
#include "Pages.h"
#include "Superviseur.h"

#include "orix/Enumerer.h"
#include "orix/Processus.h"
#include "orix/Trace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <utility>

namespace {

using namespace serveur;

/// The files of TLS and the rights, as they are now, and the file of the trace, under its name; what is wrong
/// changes nothing.
void relire(const Options& options, Serveur& serveur)
{
    std::string pourquoi;
    if (orix::relireTLS(&pourquoi) == orix::OXS_OK)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire", "Fichiers TLS relus");
    else
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire",
                              "Fichiers TLS refusés, les précédents restent : " << pourquoi);
    if (orix::rouvrirTrace(&pourquoi) != orix::OXS_OK)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire",
                              "Fichier de trace refusé, le précédent reste : " << pourquoi);
    try {
        serveur.droits().lire(configurer(options));
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire", "Droits relus");
    } catch (const std::exception& erreur) {
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "relire",
                              "Droits refusés, les précédents restent : " << erreur.what());
    }
}

/// Tells whoever started the server where its kernel is.
void annoncerPret(int descripteur, const std::string& noyau)
{
    const std::string ligne = noyau + '\n';
    const ssize_t ecrits = write(descripteur, ligne.data(), ligne.size()); // a pipe takes so little whole
    if (close(descripteur) != 0 || ecrits != static_cast<ssize_t>(ligne.size()))
        throw std::runtime_error("--pret-fd : écriture impossible dans le descripteur " +
                                 std::to_string(descripteur));
}

/// Serves until a signal of the set comes; the exit status. Throws std::exception with a line for the user,
/// or CORBA::Exception.
int servir(const Options& options, const sigset_t& signaux)
{
    const orix::Configuration configuration = configurer(options);
    std::atomic<bool> perdue{false};
    AnnoncesMagasin annonces;
    annonces.surPerte = [&perdue] {
        perdue = true;
        kill(getpid(), SIGTERM); // ends the wait below
    };
    annonces.surAttente = [&, dit = false](const std::string& pourquoi) mutable {
        if (!std::exchange(dit, true))
            std::cerr << "cdv-serveur : " << pourquoi << std::endl;
        const timespec aussitot{};
        const int signal = sigtimedwait(&signaux, nullptr, &aussitot);
        return signal == -1 || signal == SIGHUP; // the others give it up
    };
    const std::unique_ptr<Magasin> magasin = ouvrirMagasin(options.base, annonces);

    // A refusal is told once: by main, not by a trace too.
    int sansOptions = 0; // of its own the ORB has none here
    std::string message;
    std::exception_ptr cause;
    orix::trace()->definirRecepteur([](const orix::LigneTrace&) {});
    const orix::OXstatut statut = orix::initialiser(sansOptions, nullptr, configuration, &message, &cause);
    orix::trace()->definirRecepteur({});
    try {
        if (cause != nullptr)
            std::rethrow_exception(cause);
    } catch (const CORBA::INITIALIZE&) { // all that it says
        throw std::runtime_error("écoute impossible sur " +
                                 orix::enumerer(configuration[orix::cle::pointsAcces]) +
                                 " (port déjà pris, ou adresse qui n'est pas de cette machine)");
    }
    if (statut != orix::OXS_OK)
        throw std::runtime_error(message);
    std::optional<Serveur> serveur; // outlives the ORB, whose threads may be inside it to the end
    const struct Fin
    {
        ~Fin() { orix::terminer(); }
    } fin;

    Serveur::Reglages reglages;
    reglages.noms = {options.nom, configuration[orix::cle::nomMachineHote]};
    reglages.pings.periode = std::chrono::milliseconds(options.periodePing);
    reglages.pings.delai = std::chrono::milliseconds(options.delaiPing);
    reglages.clients.memoireMax = options.memoireMax << 20;
    reglages.clients.parAdresse = options.clientsParAdresse;
    reglages.clientsAilleurs = options.clientsAilleurs;
    reglages.configuration = configuration;
    serveur.emplace(*magasin, reglages);
    std::optional<ServeurHttp> http; // ends before what it shows
    if (options.http)
        http.emplace(*options.http, [&](std::string_view chemin) { return afficher(*serveur, chemin); });
    const std::string noyau = "corbaloc:" + serveur->pointAcces() + "/Noyau";
    std::cout << "cdv-serveur: prêt, noyau " << noyau << ", base " << magasin->nom()
              << (http ? ", mesures http://" + http->adresse() + "/metrics" : "") << std::endl;
    if (options.pretFd)
        annoncerPret(*options.pretFd, noyau);
    const Superviseur superviseur;
    superviseur.pret();
    const auto vivant = [&](std::chrono::nanoseconds delai) { return serveur->avance(delai); };
    int signal = 0;
    while ((signal = superviseur.attendre(signaux, vivant)) == SIGHUP)
        relire(options, *serveur);
    superviseur.arret();
    ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "main", "servir", "Arrêt demandé, signal " << signal);
    serveur->arreter();
    return perdue ? STATUT_BASE_PERDUE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    umask(umask(0) | S_IWGRP | S_IRWXO); // records and traces are no stranger's business

    // Before any thread starts: all of them inherit it, and only sigwait receives these.
    sigset_t signaux;
    sigemptyset(&signaux);
    sigaddset(&signaux, SIGTERM);
    sigaddset(&signaux, SIGINT);
    sigaddset(&signaux, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signaux, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is told like a full disk

    try {
        Options options;
        if (const std::optional<int> statut = lireOptions(argc, argv, options))
            return *statut;
        if (options.demande.genre != DemandeBase::AUCUNE)
            return executer(options.demande, signaux);
        return servir(options, signaux);
    } catch (const orix::ErreurConfiguration& erreur) {
        std::cerr << "cdv-serveur : " << erreur.enFrancais() << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << "cdv-serveur : " << exception.what() << std::endl;
    } catch (const CORBA::Exception& exception) {
        std::cerr << "cdv-serveur : exception CORBA " << exception._name() << std::endl;
    }
    return STATUT_REFUS;
}
