#include "FormatTableau.h"

#include "Terminal.h"

#include "orix/TexteSur.h"

#include <algorithm>
#include <ostream>

namespace outils {

namespace {

using cdv::Champ;
using cdv::Vol;

std::string texte(const Vol& vol, Champ champ) { return affichable(vol.lire(champ).value_or("")); }

/// The first of the fields that holds something.
std::string premier(const Vol& vol, std::initializer_list<Champ> champs)
{
    for (const Champ champ : champs)
        if (std::string valeur = texte(vol, champ); !valeur.empty())
            return valeur;
    return {};
}

bool sontChiffres(const std::string& texte, std::size_t nombre)
{
    return texte.size() == nombre &&
           std::all_of(texte.begin(), texte.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// "HHMM" as people write it; anything else as it is.
std::string heure(std::string brute) { return sontChiffres(brute, 4) ? brute.insert(2, ":") : brute; }

/// "YYYYMMDD" likewise.
std::string jour(std::string brute)
{
    return sontChiffres(brute, 8) ? brute.insert(6, "-").insert(4, "-") : brute;
}

bool estArrivee(const Vol& vol) { return vol.lire(Champ::gsens_mvt).value_or("") == "A"; }

std::string heureReelle(const Vol& vol)
{
    return heure(estArrivee(vol) ? texte(vol, Champ::gheure_arr_reelle)
                                 : texte(vol, Champ::gheure_dep_reelle));
}

std::string statut(const Vol& vol)
{
    return estArrivee(vol) ? premier(vol, {Champ::pcode_stat_arrivee_gcode, Champ::pcode_stat_depart_gcode})
                           : premier(vol, {Champ::pcode_stat_depart_gcode, Champ::pcode_stat_arrivee_gcode});
}

std::string libelle(const Vol& vol)
{
    return estArrivee(vol)
               ? premier(vol, {Champ::pcode_stat_arrivee_glibelle, Champ::pcode_stat_depart_glibelle})
               : premier(vol, {Champ::pcode_stat_depart_glibelle, Champ::pcode_stat_arrivee_glibelle});
}

const EcrivainTableau::Colonne COLONNES[] = {
    {"Vol",
     [](const Vol& v) {
         return premier(v, {Champ::gindicatif, Champ::gidentifiant});
     },
     0},
    {"De", [](const Vol& v) { return texte(v, Champ::gaerod_dep); }, 0},
    {"Vers",
     [](const Vol& v) {
         return premier(v, {Champ::gaerod_arr_reel, Champ::gaerod_dest});
     },
     0},
    {"Date", [](const Vol& v) { return jour(texte(v, Champ::gdate_prev_mvt)); }, 2},
    {"Prévu", [](const Vol& v) { return heure(texte(v, Champ::gheure_prev_mvt)); }, 0},
    {"Réel", heureReelle, 0},
    {"Pkg", [](const Vol& v) { return texte(v, Champ::gparking); }, 0},
    {"St", statut, 0},
    {"Libellé", libelle, 3},
    {"Identifiant", [](const Vol& v) { return texte(v, Champ::gidentifiant); }, 1},
};
constexpr int RENONCEMENT_MAX = 3;
constexpr std::size_t SEPARATION = 1;

/// What a table with these columns takes.
std::size_t encombrement(const std::vector<std::size_t>& largeurs)
{
    std::size_t total = 0;
    for (const std::size_t colonne : largeurs)
        total += colonne != 0 ? colonne + SEPARATION : 0;
    return total - std::min(total, SEPARATION);
}

/// Cuts a text into pieces of at most that many columns.
std::vector<std::string> plier(std::string_view utf8, std::size_t colonnes)
{
    std::vector<std::string> morceaux(1);
    std::size_t place = 0;
    for (std::size_t i = 0; i < utf8.size();) {
        std::size_t fin = i + 1;
        while (fin < utf8.size() && (static_cast<unsigned char>(utf8[fin]) & 0xC0) == 0x80)
            ++fin;
        if (place++ == colonnes) {
            morceaux.emplace_back();
            place = 1;
        }
        morceaux.back() += utf8.substr(i, fin - i);
        i = fin;
    }
    return morceaux;
}

} // namespace

EcrivainTableau::EcrivainTableau(std::ostream& flux, std::optional<std::size_t> colonnes,
                                 const std::vector<Champ>& champs)
    : _flux(flux),
      _largeur(colonnes),
      _colonnes(champs.empty() ? std::begin(COLONNES) : std::end(COLONNES), std::end(COLONNES))
{
    for (const Champ champ : champs)
        _colonnes.push_back({Vol::nom(champ), [champ](const Vol& vol) { return texte(vol, champ); }, 0});
}

void EcrivainTableau::ecrire(const Vol& vol)
{
    Rangee rangee;
    for (const Colonne& colonne : _colonnes)
        rangee.push_back(colonne.valeur(vol));
    if (!_largeurs.empty())
        return _ecrireRangee(rangee);
    _attente.push_back(std::move(rangee));
    if (_attente.size() == ECHANTILLON)
        _commencer();
}

void EcrivainTableau::finir()
{
    if (_largeurs.empty() && !_attente.empty())
        _commencer();
    _flux.flush();
}

void EcrivainTableau::_commencer()
{
    Rangee titres;
    for (const Colonne& colonne : _colonnes)
        titres.emplace_back(colonne.titre);
    for (std::size_t i = 0; i < titres.size(); ++i) {
        std::size_t contenu = 0;
        for (const Rangee& rangee : _attente)
            contenu = std::max(contenu, largeur(rangee[i]));
        // An optional column without any content tells nothing.
        const bool montree = contenu != 0 || _colonnes[i].renoncement == 0;
        _largeurs.push_back(montree ? std::max(contenu, largeur(titres[i])) : 0);
    }
    if (_largeur)
        _contenir(*_largeur);
    _ecrireRangee(titres);
    for (const Rangee& rangee : _attente)
        _ecrireRangee(rangee);
    _attente.clear();
}

/// Makes the columns fit: some are left out, then the widest ones are narrowed.
void EcrivainTableau::_contenir(std::size_t largeur)
{
    for (int rang = 1; rang <= RENONCEMENT_MAX && encombrement(_largeurs) > largeur; ++rang)
        for (std::size_t i = 0; i < _largeurs.size(); ++i)
            if (_colonnes[i].renoncement == rang)
                _largeurs[i] = 0;
    while (encombrement(_largeurs) > largeur) {
        const auto large = std::max_element(_largeurs.begin(), _largeurs.end());
        if (*large <= 1)
            return;
        --*large;
    }
}

void EcrivainTableau::_ecrireRangee(const Rangee& rangee)
{
    std::string ligne;
    for (std::size_t i = 0; i < rangee.size(); ++i) {
        if (_largeurs[i] == 0)
            continue;
        if (!ligne.empty())
            ligne.append(SEPARATION, ' ');
        ligne += ajuster(rangee[i], _largeurs[i]);
    }
    ligne.erase(ligne.find_last_not_of(' ') + 1);
    _flux << ligne << '\n';
}

void Paires::ecrire(std::ostream& flux, std::optional<std::size_t> colonnes) const
{
    std::size_t marge = 0;
    for (const auto& [nom, valeur] : _paires)
        marge = std::max(marge, largeur(nom));
    marge += 2;
    constexpr std::size_t PLACE_MIN = 8;
    const std::size_t place = !colonnes                       ? std::string::npos
                              : *colonnes > marge + PLACE_MIN ? *colonnes - marge
                                                              : PLACE_MIN;
    for (const auto& [nom, valeur] : _paires) {
        std::string debut = ajuster(nom, marge);
        for (const std::string& morceau : plier(orix::texteSur(valeur), place)) {
            flux << debut << morceau << '\n';
            debut.assign(marge, ' ');
        }
    }
    flux.flush();
}

void ecrireFiche(std::ostream& flux, const Vol& vol, std::optional<std::size_t> colonnes)
{
    Paires paires;
    for (const std::string_view nom : Vol::champs())
        if (const auto valeur = vol.lire(nom))
            paires.ajouter(std::string(nom), valeur->empty() ? "\"\"" : affichable(*valeur));
    for (const cdv::Changement& changement : vol.changements()) {
        const auto montrer = [](std::optional<std::string_view> valeur) {
            return !valeur ? "?" : valeur->empty() ? "\"\"" : affichable(*valeur);
        };
        paires.ajouter("changement", montrer(changement.rubrique) + " : " +
                                         montrer(changement.ancienneValeur) + " → " +
                                         montrer(changement.nouvelleValeur));
    }
    std::string points;
    for (const std::string_view point : vol.points())
        points += (points.empty() ? "" : " ") + affichable(point);
    if (vol.nombrePoints() != 0)
        paires.ajouter("points", points);
    paires.ecrire(flux, colonnes);
}

} // namespace outils
