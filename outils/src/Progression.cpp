#include "Progression.h"

#include "Terminal.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

namespace outils {

namespace {

constexpr std::chrono::milliseconds PERIODE_TERMINAL{100};
constexpr std::chrono::seconds PERIODE_LIGNES{5};
constexpr std::size_t BARRE_MIN = 6;
constexpr std::size_t BARRE_MAX = 40;

} // namespace

std::string duree(double secondes)
{
    const auto total = static_cast<long long>(std::lround(std::max(0.0, secondes)));
    char texte[40];
    if (total >= 3600)
        std::snprintf(texte, sizeof texte, "%lld:%02lld:%02lld", total / 3600, total / 60 % 60, total % 60);
    else
        std::snprintf(texte, sizeof texte, "%lld:%02lld", total / 60, total % 60);
    return texte;
}

std::string texteDuree(double secondes)
{
    if (secondes >= 60)
        return duree(secondes);
    char texte[16];
    std::snprintf(texte, sizeof texte, "%.2f s", secondes);
    return texte;
}

std::string nombre(std::uint64_t valeur)
{
    std::string texte = std::to_string(valeur);
    for (std::size_t place = texte.size(); place > 3; place -= 3)
        texte.insert(place - 3, " ");
    return texte;
}

std::string compte(std::uint64_t valeur, const std::string& nom)
{
    std::string accorde;
    for (const char c : nom + ' ')
        accorde += c == ' ' && valeur > 1 ? "s " : std::string(1, c);
    accorde.pop_back();
    return nombre(valeur) + ' ' + accorde;
}

std::string ligneAvancement(const Avancement& avancement, std::size_t colonnes)
{
    const double debit =
        avancement.secondes > 0 ? static_cast<double>(avancement.vols) / avancement.secondes : 0;
    const std::string vols = compte(avancement.vols, "vol");
    std::string chiffres = vols + "  " + nombre(static_cast<std::uint64_t>(std::lround(debit))) + "/s";
    if (!avancement.part)
        return tronquer(chiffres, colonnes);
    const double part = std::clamp(*avancement.part, 0.0, 1.0);
    const std::string reste = part > 0 ? "  reste " + duree(avancement.secondes * (1 - part) / part) : "";
    chiffres += reste;
    char pourcent[16];
    std::snprintf(pourcent, sizeof pourcent, "%3d%%  ", static_cast<int>(part * 100));
    const std::size_t nu = largeur(pourcent) + largeur(chiffres);
    const std::size_t pris = nu + 4; // "[", "]" and two spaces
    if (colonnes < nu)
        return tronquer(pourcent + vols + reste, colonnes);
    if (colonnes < pris + BARRE_MIN)
        return pourcent + chiffres;
    const std::size_t barre = std::min(colonnes - pris, BARRE_MAX);
    const auto plein = static_cast<std::size_t>(part * static_cast<double>(barre));
    return pourcent + ("[" + std::string(plein, '#') + std::string(barre - plein, '.') + "]  ") + chiffres;
}

Progression::Progression(std::ostream& flux, std::optional<std::size_t> colonnes)
    : _flux(flux), _colonnes(colonnes), _prochaine(_debut + (colonnes ? PERIODE_TERMINAL : PERIODE_LIGNES))
{}

Progression::~Progression()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _effacer();
    _flux.flush();
}

void Progression::avancer(std::uint64_t vols, std::optional<double> part)
{
    const Horloge::time_point maintenant = Horloge::now();
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (maintenant < _prochaine)
        return;
    const Avancement avancement{vols, part, secondes()};
    if (_colonnes) {
        _prochaine = maintenant + PERIODE_TERMINAL;
        _barre = ligneAvancement(avancement, *_colonnes - std::min(*_colonnes, RESERVE));
        _flux << "\r\x1b[K" << _barre << std::flush;
    } else {
        _prochaine = maintenant + PERIODE_LIGNES;
        _flux << ligneAvancement(avancement, 60) << std::endl;
    }
}

void Progression::dire(const std::string& ligne)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const std::string barre = _barre;
    _effacer();
    _flux << ligne << '\n' << barre << std::flush;
    _barre = barre;
}

double Progression::secondes() const
{
    return std::chrono::duration<double>(Horloge::now() - _debut).count();
}

void Progression::_effacer()
{
    if (!_barre.empty())
        _flux << "\r\x1b[K";
    _barre.clear();
}

} // namespace outils
