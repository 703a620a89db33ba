#include "orix/ErreurConfiguration.h"

#include "orix/TexteSur.h"

#include <iterator>
#include <utility>

namespace orix {

struct ErreurConfiguration::Parties
{
    Motif motif;
    Endroit endroit;
    std::vector<std::string> sujets;
    std::string raison;

    enum class Langue
    {
        anglais,
        francais
    };
    std::string texte(Langue langue) const;
};

namespace {

/// What is said of a reason, in the order of the reasons; "%0" stands for the first subject.
constexpr const char* PHRASES[][2] = {
    {"got a file that cannot be read, expected a TOML file", "fichier illisible ; attendu : un fichier TOML"},
    {"malformed TOML: %0", "TOML incorrect"},
    {"got an unknown name, expected one of the tables %0", "table inconnue ; attendu : l'une de %0"},
    {"got an unknown key, expected one of %0", "clé inconnue ; attendu : l'une de %0"},
    {"got %0, expected a table", "%0 ; attendu : une table"},
    {"got %0, expected a string", "%0 ; attendu : une chaîne"},
    {"got %0, expected true or false", "%0 ; attendu : true ou false"},
    {"got %0, expected an integer", "%0 ; attendu : un entier"},
    {"got %0, expected an integer from %1 to %2", "%0 ; attendu : un entier de %1 à %2"},
    {"got %0, expected an array of strings", "%0 ; attendu : un tableau de chaînes"},
    {"got %0 of them, expected at least one", "il y en a %0 ; attendu : au moins un"},
    {"got %0, expected an array of one or two URLs", "%0 ; attendu : un tableau d'une ou deux URL"},
    {"got %0 of them, expected one or two URLs", "il y en a %0 ; attendu : une ou deux URL"},
    {"got %0, expected the URL of a kernel (\"corbaloc:...\")",
     "%0 ; attendu : l'URL d'un noyau (\"corbaloc:...\")"},
    {"got %0, expected a text that is not empty", "%0 ; attendu : un texte qui n'est pas vide"},
    {"got %0, expected \"HOST:PORT\" with a port from 0 to 65535",
     "%0 ; attendu : \"HOTE:PORT\", avec un port de 0 à 65535"},
    {"got %0, expected endpoints that can be opened",
     "%0 ; attendu : des points d'accès qui peuvent être ouverts"},
    {"got %0, expected the name of a readable file", "%0 ; attendu : le nom d'un fichier lisible"},
    {"got %0, expected a file that can be written", "%0 ; attendu : un fichier qui peut être écrit"},
    {"got %0, expected the authority's certificate, without which there is no TLS",
     "%0 ; attendu : le certificat de l'autorité, sans lequel il n'y a pas de TLS"},
    {"got %0, expected this process's certificate beside certificat_autorite",
     "%0 ; attendu : le certificat de ce processus, avec certificat_autorite"},
    {"got %0, expected a PEM file with the authority's certificate",
     "%0 ; attendu : un fichier PEM avec le certificat de l'autorité"},
    {"got %0, expected a PEM file that begins with this process's certificate",
     "%0 ; attendu : un fichier PEM qui commence par le certificat de ce processus"},
    {"got %0, expected the private key too, in the same PEM file",
     "%0 ; attendu : la clé privée aussi, dans le même fichier PEM"},
    {"got %0, expected the private key of the certificate in the same file",
     "%0 ; attendu : la clé privée du certificat qui est dans ce fichier"},
    {"got none, expected the password of the private key in %0",
     "absent ; attendu : le mot de passe de la clé privée de %0"},
    {"got a wrong one, expected the password of the private key in %0",
     "faux ; attendu : le mot de passe de la clé privée de %0"},
    {"got %0, expected a certificate that is still valid (it expired on %1)",
     "%0 ; attendu : un certificat encore valable (périmé depuis %1)"},
    {"got %0, expected a certificate that is already valid (it begins on %1)",
     "%0 ; attendu : un certificat déjà valable (il commence le %1)"},
    {"got %0, expected a certificate for both ends, serverAuth and clientAuth",
     "%0 ; attendu : un certificat pour les deux bouts, serverAuth et clientAuth"},
    {"got %0, expected a certificate signed by the authority in %1",
     "%0 ; attendu : un certificat signé par l'autorité de %1"},
    {"got %0, expected a certificate and a key fit for TLS",
     "%0 ; attendu : un certificat et une clé que TLS accepte"},
    {"got a longer or deeper text, expected at most %0 bytes and %1 nested levels",
     "texte trop long ou trop imbriqué ; attendu : %0 octets et %1 niveaux au plus"},
    {"got %0, expected a PEM file with a revocation list",
     "%0 ; attendu : un fichier PEM avec une liste de révocation"},
    {"got names of clients, expected TLS too ([tls] certificat_autorite), without which they are not known",
     "des noms de clients ; attendu : TLS aussi ([tls] certificat_autorite), sans lequel ils ne sont pas "
     "connus"},
};
static_assert(std::size(PHRASES) == static_cast<std::size_t>(ErreurConfiguration::Motif::tls) + 1);

} // namespace

std::string ErreurConfiguration::Parties::texte(Langue langue) const
{
    const char* const separation = langue == Langue::francais ? " : " : ": ";
    std::string ligne = endroit.fichier;
    if (endroit.ligne != 0)
        ligne += ":" + std::to_string(endroit.ligne);
    if (!endroit.cle.empty())
        ligne += (ligne.empty() ? "" : separation) + endroit.cle;
    ligne += separation;
    for (const char* c = PHRASES[static_cast<int>(motif)][static_cast<int>(langue)]; *c != '\0'; ++c) {
        if (*c == '%')
            ligne += sujets.at(static_cast<std::size_t>(*++c - '0'));
        else
            ligne += *c;
    }
    if (!raison.empty())
        ligne += " (" + raison + ")";
    return texteSur(std::move(ligne)); // whatever the file holds
}

ErreurConfiguration::ErreurConfiguration(Motif motif, Endroit endroit, std::vector<std::string> sujets,
                                         std::string raison)
    : ErreurConfiguration(std::make_shared<const Parties>(
          Parties{motif, std::move(endroit), std::move(sujets), std::move(raison)}))
{}

ErreurConfiguration::ErreurConfiguration(std::shared_ptr<const Parties> parties)
    : std::runtime_error(parties->texte(Parties::Langue::anglais)), _parties(std::move(parties))
{}

ErreurConfiguration::ErreurConfiguration(const ErreurConfiguration& autre) noexcept = default;
ErreurConfiguration::~ErreurConfiguration() = default;

ErreurConfiguration::Motif ErreurConfiguration::motif() const noexcept { return _parties->motif; }
const ErreurConfiguration::Endroit& ErreurConfiguration::endroit() const noexcept
{
    return _parties->endroit;
}
const std::vector<std::string>& ErreurConfiguration::sujets() const noexcept { return _parties->sujets; }
const std::string& ErreurConfiguration::raison() const noexcept { return _parties->raison; }

std::string ErreurConfiguration::enFrancais() const { return _parties->texte(Parties::Langue::francais); }

} // namespace orix
