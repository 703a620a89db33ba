#ifndef ORIX_ERREURCONFIGURATION_H
#define ORIX_ERREURCONFIGURATION_H

#include "orix/Exportation.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace orix {

/// A configuration that cannot be used. what() is one line: where, which key, what was found, what was
/// expected. Programs read the parts.
class ORIX_API ErreurConfiguration : public std::runtime_error
{
  public:
    /// What is wrong. The first subject is what was found, as TOML writes it, but where another is named.
    enum class Motif
    {
        fichierIllisible,    ///< the configuration itself; no subject
        syntaxe,             ///< not TOML; the parser's words
        tableInconnue,       ///< the names of those that there are
        cleInconnue,         ///< the names of those of the table
        table,               ///< a table was expected
        chaine,              ///< a string
        booleen,             ///< true or false
        entier,              ///< an integer
        entierEntre,         ///< an integer in a range, whose bounds are the second and third subjects
        chaines,             ///< an array of strings
        auMoinsUn,           ///< the number of elements
        urls,                ///< an array of one or two URLs
        nombreUrls,          ///< the number of elements
        url,                 ///< the URL of a kernel
        nonVide,             ///< a text that is not empty
        pointAcces,          ///< HOST:PORT
        pointAccesLibre,     ///< endpoints that can be opened
        fichierLisible,      ///< the name of a readable file
        fichierInscriptible, ///< a file that can be written
        autorite,            ///< the authority's certificate, beside this process's
        certificat,          ///< this process's certificate, beside the authority's
        pemAutorite,         ///< a PEM file with the authority's certificate
        pemCertificat,       ///< a PEM file that begins with a certificate
        pemCle,              ///< the private key in the same file
        cleDuCertificat,     ///< the private key of the certificate
        motDePasseAbsent,    ///< the file of the private key that needs one
        motDePasseFaux,      ///< the file of the private key
        perime,              ///< the file of a certificate; since when
        pasEncoreValable,    ///< the file of a certificate; from when
        role,                ///< the file of a certificate that is not for both ends
        signature,           ///< the file of a certificate; the file of the authority that did not sign it
        inapte,              ///< the file of a certificate and a key that TLS does not take
        demesure,            ///< a text too long or nested too deep: how many bytes and levels it may have
        pemRevocation,       ///< a PEM file with a revocation list
        tls                  ///< TLS, from which the names of clients are known; no subject
    };

    /// Where it is.
    struct Endroit
    {
        std::string fichier;  ///< or the text's name; empty for settings that are in use
        unsigned ligne = 0;   ///< 0: not known
        std::string cle = {}; ///< "[table] key"
    };

    /// raison: the words of the system or of a library, in their language; may be empty.
    ErreurConfiguration(Motif motif, Endroit endroit, std::vector<std::string> sujets = {},
                        std::string raison = {});
    ErreurConfiguration(const ErreurConfiguration& autre) noexcept; ///< shares the parts
    ~ErreurConfiguration() override;

    Motif motif() const noexcept;
    const Endroit& endroit() const noexcept;
    const std::vector<std::string>& sujets() const noexcept; ///< as the reason says
    const std::string& raison() const noexcept;

    std::string enFrancais() const; ///< what() in French

  private:
    struct Parties;
    explicit ErreurConfiguration(std::shared_ptr<const Parties> parties);

    std::shared_ptr<const Parties> _parties;
};

} // namespace orix

#endif
