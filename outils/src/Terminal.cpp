#include "Terminal.h"

#include "CdvVol.h"
#include "orix/TexteSur.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace outils {

namespace {

bool debutCaractere(char octet) { return (static_cast<unsigned char>(octet) & 0xC0) != 0x80; }

} // namespace

bool estTerminal(int descripteur) { return isatty(descripteur) == 1; }

std::optional<std::size_t> largeurTerminal(int descripteur)
{
    if (const char* const colonnes = std::getenv("COLUMNS")) {
        std::size_t valeur = 0;
        const char* const fin = colonnes + std::strlen(colonnes);
        if (std::from_chars(colonnes, fin, valeur).ptr == fin && valeur > 0)
            return valeur;
    }
    winsize taille{};
    if (ioctl(descripteur, TIOCGWINSZ, &taille) == 0 && taille.ws_col > 0)
        return taille.ws_col;
    return std::nullopt;
}

std::size_t largeur(std::string_view utf8)
{
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), debutCaractere));
}

std::string tronquer(std::string_view utf8, std::size_t colonnes)
{
    if (largeur(utf8) <= colonnes)
        return std::string(utf8);
    if (colonnes == 0)
        return {};
    std::size_t fin = 0;
    for (std::size_t gardes = 0; fin < utf8.size(); ++fin)
        if (debutCaractere(utf8[fin]) && ++gardes == colonnes)
            break;
    return std::string(utf8.substr(0, fin)) + "…";
}

std::string ajuster(std::string_view utf8, std::size_t colonnes)
{
    std::string texte = tronquer(utf8, colonnes);
    texte.append(colonnes - largeur(texte), ' ');
    return texte;
}

std::string replier(std::string_view utf8, std::size_t colonnes, std::size_t marge)
{
    std::string texte;
    std::size_t place = 0; // columns of the current line
    while (!utf8.empty()) {
        const std::size_t blancs = std::min(utf8.find_first_not_of(' '), utf8.size());
        const std::size_t fin = std::min(utf8.find(' ', blancs), utf8.size());
        const std::size_t mot = largeur(utf8.substr(blancs, fin - blancs));
        const bool autreLigne = place != 0 && place + blancs + mot > colonnes;
        if (autreLigne) {
            texte += '\n' + std::string(marge, ' ');
            place = marge + mot;
        } else {
            place += blancs + mot;
        }
        const std::size_t debut = autreLigne ? blancs : 0;
        texte += utf8.substr(debut, fin - debut);
        utf8.remove_prefix(fin);
    }
    return texte;
}

std::string message(const std::string& utf8)
{
    constexpr std::size_t TAILLE_MAX = 4096;
    const auto colonnes = estTerminal(STDERR_FILENO) ? largeurTerminal(STDERR_FILENO) : std::nullopt;
    std::string texte = orix::texteSur(utf8, TAILLE_MAX);
    return colonnes ? replier(texte, *colonnes, 2) : texte;
}

std::string affichable(std::string_view latin1) { return orix::texteSur(cdv::versUtf8(latin1)); }

} // namespace outils
