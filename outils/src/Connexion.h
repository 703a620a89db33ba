#ifndef CONNEXION_H
#define CONNEXION_H

#include "Interruption.h"
#include "Options.h"
#include "Statut.h"

#include "CdvSession.h"
#include "orix/Configuration.h"

#include <atomic>
#include <exception>
#include <optional>

namespace outils {

/// The configuration that the options stand for. Throws Arret.
orix::Configuration configurer(const Options& options);

/// The kernels of the service, in order. At least one.
const std::vector<std::string>& noyaux(const orix::Configuration& configuration);

/// The middleware and an open session, for the time this object lives.
class Connexion
{
  public:
    /// Waits until a server has accepted. Throws Arret when none did, or when the user interrupts. reprise:
    /// from then on a connection that is lost is made again.
    Connexion(const Options& options, Interruption& interruption, bool reprise = false);
    Connexion(const orix::Configuration& configuration, const Options& options, Interruption& interruption,
              bool reprise = false);

    cdv::Session& session() { return _session; }
    /// Waits for the end of a request; Ctrl-C closes the session, which ends it.
    cdv::Resultat attendre(std::future<cdv::Resultat> futur);
    cdv::Evenement serveur() const { return _serveur; } ///< who accepted

  private:
    Interruption& _interruption;
    std::atomic<bool> _acceptee{false};
    std::atomic<orix::OXstatut> _refus{orix::OXS_OK}; // of the first try of each kernel
    cdv::Processus _processus;
    cdv::Session _session;
    cdv::Evenement _serveur;
};

/// The settings of a session, by the options.
cdv::Options reglagesSession(const Options& options, const orix::Configuration& configuration);

/// Runs what starts the middleware: an Arret for what it throws.
template <class Action>
auto avecErreursClaires(Action action) -> decltype(action())
{
    try {
        return action();
    } catch (const cdv::Erreur& erreur) {
        try {
            std::rethrow_if_nested(erreur);
        } catch (const orix::ErreurConfiguration& cause) {
            throw Arret(USAGE, cause.enFrancais());
        }
        throw Arret(SANS_CONNEXION, erreur.what());
    }
}

} // namespace outils

#endif
