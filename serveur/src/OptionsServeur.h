#ifndef OPTIONSSERVEUR_H
#define OPTIONSSERVEUR_H

#include "Clients.h"
#include "CommandesBase.h"

#include "orix/Configuration.h"

#include <optional>
#include <string>

namespace serveur {

constexpr int STATUT_REFUS = 2;       ///< nothing was started
constexpr int STATUT_BASE_PERDUE = 3; ///< the file is no longer where it was opened

/// The command line of the server.
struct Options
{
    unsigned port = 2809;
    std::string hote = "127.0.0.1";
    std::string base;
    std::string nom = "cdv-serveur";
    std::string machine;
    std::string configuration;
    std::optional<std::string> http;
    std::optional<int> pretFd; ///< a descriptor that is open
    DemandeBase demande;       ///< instead of serving
    std::optional<int> trace;
    long long periodePing = 1000;
    long long delaiPing = 1000;
    std::size_t memoireMax = Clients::Reglages().memoireMax >> 20; ///< MiB
    std::size_t clientsParAdresse = Clients::Reglages().parAdresse;
    bool clientsAilleurs = false;
    bool pointAccesDonne = false;
};

/// Fills in the options, or gives the exit status of a program that has nothing more to do: it has said why.
std::optional<int> lireOptions(int argc, char** argv, Options& options);

/// The middleware's configuration: that of the file, over which the command line passes. Throws
/// orix::ErreurConfiguration.
orix::Configuration configurer(const Options& options);

} // namespace serveur

#endif
