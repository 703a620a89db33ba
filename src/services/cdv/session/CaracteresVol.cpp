#include "CdvVol.h"

#include "ContenuVol.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace cdv {

namespace {

[[noreturn]] void refuserNul() { throw ErreurVol(ErreurVol::Motif::octetNul); }

/// Gives each character to sortie as its ISO-8859-1 byte.
template <class Sortie>
void decoderUtf8(std::string_view utf8, Sortie sortie)
{
    for (std::size_t i = 0; i < utf8.size();) {
        const auto tete = static_cast<unsigned char>(utf8[i]);
        const int suite = tete < 0x80                   ? 0
                          : tete >= 0xC2 && tete < 0xE0 ? 1
                          : (tete & 0xF0) == 0xE0       ? 2
                          : tete >= 0xF0 && tete < 0xF5 ? 3
                                                        : -1;
        unsigned long point = suite <= 0 ? tete : tete & (0x3Fu >> suite);
        bool valide = suite >= 0 && i + static_cast<std::size_t>(suite) < utf8.size();
        for (int k = 1; valide && k <= suite; ++k) {
            const auto octet = static_cast<unsigned char>(utf8[i + static_cast<std::size_t>(k)]);
            valide = (octet & 0xC0) == 0x80;
            point = point << 6 | (octet & 0x3Fu);
        }
        constexpr unsigned long PREMIERS[] = {0, 0x80, 0x800,
                                              0x10000}; // a longer form than needed is not UTF-8
        if (!valide || point < PREMIERS[suite])
            throw ErreurVol(ErreurVol::Motif::pasUtf8, {std::to_string(i + 1)});
        if (point > 0xFF) {
            char texte[16];
            std::snprintf(texte, sizeof texte, "U+%04lX", point);
            throw ErreurVol(ErreurVol::Motif::horsLatin1, {texte});
        }
        sortie(static_cast<char>(point));
        i += static_cast<std::size_t>(suite) + 1;
    }
}

} // namespace

std::unique_ptr<char[]> allouer(std::string_view texte)
{
    if (texte.find('\0') != std::string_view::npos)
        refuserNul();
    std::unique_ptr<char[]> copie(new char[texte.size() + 1]);
    std::copy(texte.begin(), texte.end(), copie.get());
    copie[texte.size()] = '\0';
    return copie;
}

std::unique_ptr<char[]> allouerDepuisUtf8(const std::string& utf8)
{
    std::unique_ptr<char[]> texte(new char[utf8.size() + 1]);
    char* fin = texte.get();
    decoderUtf8(utf8, [&fin](char octet) {
        if (octet == '\0')
            refuserNul();
        *fin++ = octet;
    });
    *fin = '\0';
    return texte;
}

std::string versUtf8(std::string_view latin1)
{
    std::string utf8;
    utf8.reserve(latin1.size() + latin1.size() / 8);
    for (const char caractere : latin1) {
        const auto octet = static_cast<unsigned char>(caractere);
        if (octet < 0x80) {
            utf8 += caractere;
        } else {
            utf8 += static_cast<char>(0xC0 | octet >> 6);
            utf8 += static_cast<char>(0x80 | (octet & 0x3F));
        }
    }
    return utf8;
}

std::string depuisUtf8(std::string_view utf8)
{
    std::string latin1;
    latin1.reserve(utf8.size());
    decoderUtf8(utf8, [&latin1](char octet) { latin1 += octet; });
    return latin1;
}

} // namespace cdv
