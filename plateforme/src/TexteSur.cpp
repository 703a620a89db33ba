#include "orix/TexteSur.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace orix {

namespace {

constexpr char32_t AUCUN = 0xFFFFFFFF; // the bytes are no UTF-8

/// The character that begins a text, one byte when it is none.
struct Caractere
{
    std::size_t taille;
    char32_t point;
};

Caractere decoder(std::string_view texte)
{
    constexpr std::array<char32_t, 4> PREMIERS{0, 0x80, 0x800, 0x10000}; // a longer form is no UTF-8
    const auto octet = [texte](std::size_t i) { return static_cast<unsigned char>(texte[i]); };
    const unsigned char tete = octet(0);
    const std::size_t suite = tete < 0x80 ? 0 : tete < 0xC2 ? 4 : tete < 0xE0 ? 1 : tete < 0xF0 ? 2 : 3;
    if (suite >= std::min<std::size_t>(texte.size(), 4) || tete > 0xF4)
        return {1, AUCUN};
    char32_t point = suite == 0 ? tete : tete & (0x3Fu >> suite);
    for (std::size_t i = 1; i <= suite; ++i) {
        if ((octet(i) & 0xC0) != 0x80)
            return {1, AUCUN};
        point = point << 6 | (octet(i) & 0x3Fu);
    }
    const bool valide = point >= PREMIERS[suite] && point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
    return valide ? Caractere{suite + 1, point} : Caractere{1, AUCUN};
}

bool estSur(char32_t point)
{
    const auto entre = [point](char32_t premier, char32_t dernier) {
        return point >= premier && point <= dernier;
    };
    return point >= 0x20 && point != AUCUN && !entre(0x7F, 0x9F) && point != 0x061C &&
           !entre(0x200E, 0x200F) && !entre(0x2028, 0x202E) && !entre(0x2066, 0x2069);
}

/// How many bytes of the text, of so many at most, come before the first character that is not safe.
std::size_t debutSur(std::string_view texte, std::size_t max = std::string::npos)
{
    std::size_t i = 0;
    while (i < texte.size() && i < max) {
        if (static_cast<unsigned char>(texte[i] - 0x20) < 0x5F) { // nearly all
            ++i;
            continue;
        }
        const Caractere c = decoder(texte.substr(i));
        if (!estSur(c.point))
            break;
        i += c.taille;
    }
    return i;
}

void ajouterEchappe(std::string& fin, const char* forme, unsigned valeur)
{
    char echappe[16];
    std::snprintf(echappe, sizeof echappe, forme, valeur);
    fin += echappe;
}

/// Appends what stands for the beginning of the text: as it is, or one character in hexadecimal. Returns how
/// many bytes of the text that is.
std::size_t ajouterDebut(std::string& fin, std::string_view texte)
{
    constexpr std::size_t MORCEAU_MAX = 64; // a text is cut between two of them
    if (const std::size_t surs = debutSur(texte, MORCEAU_MAX); surs != 0) {
        fin += texte.substr(0, surs);
        return surs;
    }
    const Caractere c = decoder(texte);
    const unsigned valeur = c.point == AUCUN ? static_cast<unsigned char>(texte[0]) : c.point;
    ajouterEchappe(fin, valeur <= 0xFF ? "\\x%02X" : "\\u%04X", valeur);
    return c.taille;
}

} // namespace

std::string texteSur(std::string texte, std::size_t octetsMax)
{
    if (texte.size() <= octetsMax && debutSur(texte) == texte.size())
        return texte;
    constexpr std::size_t SUITE_MAX = 40; // bytes that tell what is missing
    std::string rendu;
    // What stays of a text that turns out to be too long: up to where, and how much of it that is.
    std::size_t coupe = 0;
    std::size_t lusCoupe = 0;
    for (std::size_t lus = 0; lus < texte.size();) {
        lus += ajouterDebut(rendu, std::string_view(texte).substr(lus));
        if (rendu.size() > octetsMax) {
            rendu.resize(coupe);
            return rendu + "… (+" + std::to_string(texte.size() - lusCoupe) + " octets)";
        }
        if (rendu.size() <= octetsMax - std::min(octetsMax, SUITE_MAX)) {
            coupe = rendu.size();
            lusCoupe = lus;
        }
    }
    return rendu;
}

std::string jsonSur(std::string json)
{
    if (debutSur(json) == json.size())
        return json;
    std::string rendu;
    for (std::string_view reste = json; !reste.empty();) {
        const std::size_t surs = debutSur(reste);
        rendu += reste.substr(0, surs);
        reste.remove_prefix(surs);
        if (reste.empty())
            break;
        const Caractere c = decoder(reste);
        if (c.point < 0x20) // between the parts of the text
            rendu += reste.front();
        else
            ajouterEchappe(rendu, "\\u%04x", c.point);
        reste.remove_prefix(c.taille);
    }
    return rendu;
}

} // namespace orix
