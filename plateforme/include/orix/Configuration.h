#ifndef ORIX_CONFIGURATION_H
#define ORIX_CONFIGURATION_H

#include "orix/ErreurConfiguration.h"
#include "orix/Exportation.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orix {

/// A key of the configuration, for a value of type T. Its number is part of the binary interface.
template <class T>
struct Cle
{
    int numero; ///< never given to another key
};

/// The settings of the process: a value for each key of orix::cle.
///
///     orix::Configuration configuration;
///     configuration[orix::cle::delaiAppel] = std::chrono::seconds(2);
///
/// A key that a later version adds changes nothing for a program that was built before.
class ORIX_API Configuration
{
  public:
    using Duree = std::chrono::milliseconds;
    using Liste = std::vector<std::string>;
    using Routage = std::map<std::string, Liste>; ///< URLs by service

    Configuration(); ///< the default of each key
    Configuration(const Configuration& autre);
    Configuration(Configuration&& autre) noexcept; ///< the other one may be assigned to and destroyed
    Configuration& operator=(const Configuration& autre);
    Configuration& operator=(Configuration&& autre) noexcept;
    ~Configuration();

    /// The value of a key of orix::cle.
    template <class T>
    const T& lire(Cle<T> cle) const;
    template <class T>
    const T& operator[](Cle<T> cle) const
    {
        return lire(cle);
    }
    /// For writing. What makes no sense is refused by verifier() and by initialiser().
    template <class T>
    T& operator[](Cle<T> cle)
    {
        return const_cast<T&>(lire(cle));
    }

    const std::string& lireNomMachineHote() const;

    /// Reads a TOML file. Throws ErreurConfiguration.
    static Configuration lire(const std::string& fichier);
    /// Reads a TOML text; nom stands for the file in messages. Throws ErreurConfiguration.
    static Configuration analyser(const std::string& texte, const std::string& nom);
    /// Throws ErreurConfiguration when a value makes no sense; nom stands for the file in the message.
    void verifier(const std::string& nom) const;

  private:
    class Lecture;
    struct Valeurs;

    std::unique_ptr<Valeurs> _valeurs;
};

/// The keys, with their place in the file.
namespace cle {

using Duree = Configuration::Duree;
using Liste = Configuration::Liste;

/// [processus] machine; default: this machine's host name
inline constexpr Cle<std::string> nomMachineHote{0};
/// [processus] nom: by which servers know this client; empty: the program's and its process number
inline constexpr Cle<std::string> nomProcessus{25};
/// [orb] points_acces: "HOST:PORT"; default: 127.0.0.1:0, a free port on the loopback
inline constexpr Cle<Liste> pointsAcces{1};
/// [orb] delai_connexion_ms: to open a connection
inline constexpr Cle<Duree> delaiConnexion{2};
/// [orb] delai_appel_ms: no call waits longer for its answer
inline constexpr Cle<Duree> delaiAppel{3};
/// [orb] taille_message_max, in bytes: longer messages are refused
inline constexpr Cle<int> tailleMessageMax{4};
/// [orb] grouper_envois: requests may leave together where that is asked for (orix/EnvoisGroupes.h)
inline constexpr Cle<bool> grouperEnvois{5};
/// [routage] service = [URL, URL]: kernels of each service's servers, in order, at most two
inline constexpr Cle<Configuration::Routage> routage{6};
/// [noyau] delai_activation_ms: an activation not answered by then has failed
inline constexpr Cle<Duree> delaiActivation{7};
/// [surveillance] periode_ms
inline constexpr Cle<Duree> periodePing{8};
/// [surveillance] delai_ms: a ping not answered by then is missed
inline constexpr Cle<Duree> delaiPing{9};
/// [surveillance] pings_manques: a server is lost after so many in a row
inline constexpr Cle<int> pingsManques{10};
/// [executeur] capacite: callbacks that may wait before posters do
inline constexpr Cle<int> capaciteFileCB{11};
/// [executeur] guet_us: how long the callback thread watches, awake, for the next callback, while they come
/// that close to each other; 0: not at all. Pays where two processors are free
inline constexpr Cle<int> guetFileCB{12};
/// [trace] niveau: lines up to that level are written. 0: none; statuses and callbacks tell an application
/// all it needs. 100 is for service: errors and notable events, among them each message sent and received.
inline constexpr Cle<int> niveauTrace{13};
/// [trace] fichier; empty: the standard error
inline constexpr Cle<std::string> fichierTrace{14};
/// [trace] capacite: lines that may wait to be written; beyond, the oldest are lost, counted and told. 0: the
/// thread that traces writes the line itself, and waits for the disk.
inline constexpr Cle<int> capaciteTrace{15};
/// [tls] certificat_autorite: PEM file of the certification authority. TLS is off while it is empty.
inline constexpr Cle<std::string> certificatAutorite{16};
/// [tls] certificat: PEM file of this process's certificate and private key
inline constexpr Cle<std::string> certificat{17};
/// [tls] mot_de_passe: of the private key; empty: none
inline constexpr Cle<std::string> motDePasse{18};
/// [tls] exiger_certificat: a peer must present a certificate of the authority
inline constexpr Cle<bool> exigerCertificat{19};
/// [tls] noms_serveurs: common names of the servers that this process connects to, or patterns like those of
/// file names; empty: any
inline constexpr Cle<Liste> nomsServeurs{20};
/// [tls] liste_revocation: PEM file of the authority's revocation list; empty: none
inline constexpr Cle<std::string> listeRevocation{21};
/// [acces] lecture, ecriture, activation: of a server, common names of the clients, or patterns, that may
/// consult and list; create, change and delete; be activated at all. "*": everybody; empty: nobody.
inline constexpr Cle<Liste> accesLecture{22};
inline constexpr Cle<Liste> accesEcriture{23};
inline constexpr Cle<Liste> accesActivation{24};

} // namespace cle

/// The settings given to the last initialiser(); the defaults before the first.
ORIX_API const Configuration* configuration();

} // namespace orix

#endif
