#ifndef ORIX_CONFIGURATION_H
#define ORIX_CONFIGURATION_H

#include "orix/ErreurConfiguration.h"
#include "orix/Exportation.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace orix {

/// TLS of the process. Off while certificatAutorite is empty.
struct ConfigurationTLS
{
    std::string certificatAutorite; ///< PEM file of the certification authority
    std::string certificat;         ///< PEM file of this process's certificate and private key
    std::string motDePasse;         ///< of the private key; empty: none
    bool exigerCertificat = true;   ///< a peer must present a certificate of the authority
    std::vector<std::string>
        nomsServeurs;            ///< common names of the servers that this process connects to; empty: any
    std::string listeRevocation; ///< PEM file of the authority's revocation list; empty: none

    bool estActive() const { return !certificatAutorite.empty(); }
};

/// The settings of the process, with their defaults. A plain value: fill it in, or read it from a TOML file.
struct ORIX_API Configuration
{
    using Duree = std::chrono::milliseconds;

    std::string nomMachineHote;           ///< [processus] machine; default: this machine's host name
    std::vector<std::string> pointsAcces; ///< [orb] points_acces: "HOST:PORT"; default: 127.0.0.1:0,
                                          ///< a free port on the loopback
    Duree delaiConnexion{2000};           ///< [orb] delai_connexion_ms: to open a connection
    Duree delaiAppel{5000};               ///< [orb] delai_appel_ms: no call waits longer for its answer
    std::size_t tailleMessageMax{
        2097152}; ///< [orb] taille_message_max, in bytes: longer messages are refused
    bool grouperEnvois{
        true}; ///< [orb] grouper_envois: the messages of a burst leave in one write, on TCP connections

    /// [routage] service = [URL, URL]: kernels of each service's servers, in order, at most two.
    std::map<std::string, std::vector<std::string>> routage;

    Duree delaiActivation{
        10000};              ///< [noyau] delai_activation_ms: an activation not answered by then has failed
    Duree periodePing{1000}; ///< [surveillance] periode_ms
    Duree delaiPing{1000};   ///< [surveillance] delai_ms: a ping not answered by then is missed
    int pingsManques{2};     ///< [surveillance] pings_manques: a server is lost after so many in a row
    std::size_t capaciteFileCB{10000}; ///< [executeur] capacite: callbacks that may wait before posters do
    int guetFileCB{100}; ///< [executeur] guet_us: how long the callback thread watches, awake, for
                         ///< the next callback, while they come that close to each other

    /// [trace] niveau: lines up to that level are written. 0: none; statuses and callbacks tell an
    /// application all it needs. 100 is for service: errors and notable events, among them each message sent
    /// and received.
    int niveauTrace{0};
    std::string fichierTrace; ///< [trace] fichier; empty: the standard error
    /// [trace] capacite: lines that may wait to be written; beyond, the oldest are lost, counted and told. 0:
    /// the thread that traces writes the line itself, and waits for the disk.
    std::size_t capaciteTrace{8192};

    ConfigurationTLS tls; ///< [tls]

    Configuration(); ///< the defaults above

    const std::string& lireNomMachineHote() const { return nomMachineHote; }

    /// Reads a TOML file. Throws ErreurConfiguration.
    static Configuration lire(const std::string& fichier);
    /// Reads a TOML text; nom stands for the file in messages. Throws ErreurConfiguration.
    static Configuration analyser(const std::string& texte, const std::string& nom);
    /// Throws ErreurConfiguration when a value makes no sense; nom stands for the file in the message.
    void verifier(const std::string& nom) const;
};

/// The settings given to the last initialiser(); the defaults before the first.
ORIX_API const Configuration* configuration();

} // namespace orix

#endif
