#include "PointAcces.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace serveur {

namespace {

constexpr std::uint32_t PROFIL_IIOP = 0;
constexpr std::uint32_t COMPOSANT_SSL = 20; // two sets of options, then the port
constexpr std::string_view PREFIXE = "IOR:";

std::invalid_argument invalide() { return std::invalid_argument("référence d'objet illisible"); }

/// Reads the values of a CDR encapsulation: its first octet is the byte order, alignment counts from there.
class LecteurCDR
{
  public:
    explicit LecteurCDR(std::string_view octets) : _octets(octets)
    {
        _petitBoutiste = !octets.empty() && octet() == 1;
    }

    unsigned char octet() { return static_cast<unsigned char>(prendre(1)[0]); }
    std::uint32_t court() { return entier(2); }
    std::uint32_t entierLong() { return entier(4); }
    std::string_view suite() { return prendre(entierLong()); } ///< a length, then so many octets

  private:
    std::string_view prendre(std::size_t taille)
    {
        if (taille > _octets.size() - _position)
            throw invalide();
        const std::string_view pris = _octets.substr(_position, taille);
        _position += taille;
        return pris;
    }
    std::uint32_t entier(std::size_t taille)
    {
        prendre((taille - _position % taille) % taille);
        std::uint32_t valeur = 0;
        const std::string_view octets = prendre(taille);
        for (std::size_t i = 0; i < taille; ++i) {
            const char poids = octets[_petitBoutiste ? taille - 1 - i : i];
            valeur = valeur << 8 | static_cast<unsigned char>(poids);
        }
        return valeur;
    }

    std::string_view _octets;
    std::size_t _position = 0;
    bool _petitBoutiste = false;
};

std::string decoderHexadecimal(std::string_view texte)
{
    std::string octets;
    for (std::size_t i = 0; i + 1 < texte.size(); i += 2)
        octets += static_cast<char>(std::stoi(std::string(texte.substr(i, 2)), nullptr, 16));
    return octets;
}

} // namespace

std::string pointAcces(const std::string& ior)
{
    if (ior.compare(0, PREFIXE.size(), PREFIXE) != 0)
        throw invalide();
    const std::string octets = decoderHexadecimal(std::string_view(ior).substr(PREFIXE.size()));
    LecteurCDR reference(octets);
    reference.suite(); // the interface's id
    for (std::uint32_t profils = reference.entierLong(); profils > 0; --profils) {
        const std::uint32_t genre = reference.entierLong();
        const std::string_view corps = reference.suite();
        if (genre != PROFIL_IIOP)
            continue;
        LecteurCDR profil(corps);
        profil.octet(); // version of IIOP
        const bool aComposants = profil.octet() > 0;
        std::string_view hote = profil.suite();
        hote.remove_suffix(hote.empty() ? 0 : 1); // its NUL
        const std::uint32_t port = profil.court();
        profil.suite(); // the object's key
        for (std::uint32_t composants = aComposants ? profil.entierLong() : 0; composants > 0; --composants) {
            const std::uint32_t nature = profil.entierLong();
            LecteurCDR composant(profil.suite());
            if (nature != COMPOSANT_SSL)
                continue;
            composant.court();
            composant.court();
            return "ssliop:" + std::string(hote) + ":" + std::to_string(composant.court());
        }
        return "iiop:" + std::string(hote) + ":" + std::to_string(port);
    }
    throw invalide();
}

} // namespace serveur
