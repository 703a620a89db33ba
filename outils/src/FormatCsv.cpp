#include "FormatCsv.h"

#include "Francais.h"
#include "Progression.h"
#include "Statut.h"
#include "Suggestion.h"
#include "Terminal.h"

#include "orix/TexteSur.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <numeric>
#include <ostream>

namespace outils {

namespace {

using json = nlohmann::ordered_json;

constexpr int POINTS = -1;
constexpr int CHANGEMENTS = -2;
constexpr std::string_view NOM_POINTS = "points";
constexpr std::string_view NOM_CHANGEMENTS = "changements";

/// A quote that is never closed swallows no more than this.
constexpr std::size_t TAILLE_MAX = 1 << 16;
/// Of a name that is told as unknown.
constexpr std::size_t NOM_MAX = 128;

[[noreturn]] void refuserColonne(const std::string& nom)
{
    throw Arret(USAGE, "en-tête CSV : colonne inconnue « " + orix::texteSur(nom, NOM_MAX) + " »" +
                           conseilChamp(nom));
}

std::string_view nomColonne(int colonne)
{
    return colonne == POINTS        ? NOM_POINTS
           : colonne == CHANGEMENTS ? NOM_CHANGEMENTS
                                    : cdv::Vol::nom(static_cast<cdv::Champ>(colonne));
}

/// The JSON text of a list of the record, as its own JSON has it; empty when the list is.
std::string texteListe(const cdv::Vol& vol, std::string_view nom)
{
    if ((nom == NOM_POINTS ? vol.nombrePoints() : vol.nombreChangements()) == 0)
        return {};
    cdv::Vol seule;
    if (nom == NOM_POINTS) {
        for (const std::string_view point : vol.points())
            seule.ajouterPoint(point);
    } else {
        for (const cdv::Changement& changement : vol.changements())
            seule.ajouterChangement(changement);
    }
    return orix::jsonSur(json::parse(seule.versJson()).at(std::string(nom)).dump());
}

/// Throws cdv::ErreurVol.
void lireListe(cdv::Vol& vol, std::string_view nom, const std::string& texte)
{
    if (texte.empty())
        return;
    try {
        if (!json::accept(texte)) // more than one value, and other fields would come with it
            throw cdv::ErreurVol(cdv::ErreurVol::Motif::json);
        const cdv::Vol seule = cdv::Vol::depuisJson("{\"" + std::string(nom) + "\":" + texte + "}");
        for (const std::string_view point : seule.points())
            vol.ajouterPoint(point);
        for (const cdv::Changement& changement : seule.changements())
            vol.ajouterChangement(changement);
    } catch (const cdv::ErreurVol& erreur) {
        throw cdv::ErreurVol(erreur, std::string(nom));
    }
}

} // namespace

std::string celluleCsv(std::string_view utf8)
{
    if (!utf8.empty() && utf8.find_first_of(",\"\r\n") == std::string_view::npos && utf8.front() != ' ' &&
        utf8.back() != ' ')
        return std::string(utf8);
    std::string cellule = "\"";
    for (const char c : utf8) {
        if (c == '"')
            cellule += '"';
        cellule += c;
    }
    return cellule + '"';
}

EcrivainCsv::EcrivainCsv(std::ostream& flux, const Presentation& presentation)
    : _flux(flux), _presentation(presentation)
{
    for (const cdv::Champ champ : presentation.champs)
        _colonnes.push_back(static_cast<int>(champ));
    if (_colonnes.empty()) {
        _colonnes.resize(cdv::Vol::champs().size());
        std::iota(_colonnes.begin(), _colonnes.end(), 0);
        _colonnes.insert(_colonnes.end(), {POINTS, CHANGEMENTS});
    }
    if (!presentation.entete)
        return;
    for (const int& colonne : _colonnes)
        _flux << (&colonne == &_colonnes.front() ? "" : ",") << nomColonne(colonne);
    _flux << '\n';
}

void EcrivainCsv::ecrire(const cdv::Vol& vol)
{
    _ligne.clear();
    for (const int& colonne : _colonnes) {
        _ligne += &colonne == &_colonnes.front() ? "" : ",";
        if (colonne == POINTS || colonne == CHANGEMENTS) {
            if (const std::string texte = texteListe(vol, nomColonne(colonne)); !texte.empty())
                _ligne += celluleCsv(texte);
        } else if (const auto valeur = vol.lire(static_cast<cdv::Champ>(colonne))) {
            _ligne += _cellule(*valeur);
        }
    }
    _flux << _ligne << '\n';
}

std::string EcrivainCsv::_cellule(std::string_view latin1) const
{
    const std::string texte = _presentation.lisible ? affichable(latin1) : cdv::versUtf8(latin1);
    constexpr std::string_view FORMULES = "=+-@\t\r"; // what spreadsheets take for their beginning
    const bool formule =
        _presentation.tableur && !texte.empty() && FORMULES.find(texte.front()) != std::string_view::npos;
    return celluleCsv(formule ? "'" + texte : texte);
}

LecteurCsv::LecteurCsv(Lignes lignes) : _lignes(std::move(lignes))
{
    Entree entree;
    switch (_lire(entree, _cellules)) {
    case Lecture::fin:
        return; // an empty file holds no record, and that is no error
    case Lecture::fausse:
        throw Arret(USAGE, "en-tête CSV illisible : " + entree.erreur);
    case Lecture::faite:
        break;
    }
    _entete = entree.texte;
    if (_entete.back() != '\n')
        _entete += '\n';
    for (const Cellule& cellule : _cellules) {
        int colonne = 0;
        if (cellule.texte == NOM_POINTS)
            colonne = POINTS;
        else if (cellule.texte == NOM_CHANGEMENTS)
            colonne = CHANGEMENTS;
        else if (const auto champ = cdv::Vol::chercher(cellule.texte))
            colonne = static_cast<int>(*champ);
        else
            refuserColonne(cellule.texte);
        if (std::find(_colonnes.begin(), _colonnes.end(), colonne) != _colonnes.end())
            throw Arret(USAGE, "en-tête CSV : colonne « " + cellule.texte + " » en double");
        _colonnes.push_back(colonne);
    }
}

std::optional<Entree> LecteurCsv::suivante()
{
    Entree entree;
    switch (_lire(entree, _cellules)) {
    case Lecture::fin:
        return std::nullopt;
    case Lecture::fausse:
        break;
    case Lecture::faite:
        if (_cellules.size() != _colonnes.size()) {
            entree.erreur =
                compte(_cellules.size(), "cellule") + " pour " + compte(_colonnes.size(), "colonne");
            break;
        }
        try {
            entree.vol = _construire(_cellules);
        } catch (const cdv::ErreurVol& erreur) {
            entree.erreur = enFrancais(erreur);
        }
        break;
    }
    return entree;
}

/// The next record that is not an empty line.
LecteurCsv::Lecture LecteurCsv::_lire(Entree& entree, std::vector<Cellule>& cellules)
{
    std::string ligne;
    do {
        if (!_lignes.suivante(ligne))
            return Lecture::fin;
    } while (ligne == "\n" || ligne == "\r\n");
    entree.ligne = _lignes.numero();
    entree.texte = ligne;
    if (_colonnes.empty()) { // the header, whose names hold none of them
        const std::size_t separateur = ligne.find_first_of(",;\t");
        _separateur = separateur == std::string::npos ? ',' : ligne[separateur];
    }
    cellules.clear();
    std::vector<std::string> suites;
    Decoupage decoupage = _decouper(ligne, cellules, false);
    while (decoupage == Decoupage::coupe && entree.texte.size() < TAILLE_MAX && _lignes.suivante(ligne)) {
        decoupage = _decouper(ligne, cellules, true);
        entree.texte += ligne;
        suites.push_back(std::move(ligne));
    }
    if (decoupage == Decoupage::complet)
        return Lecture::faite;
    entree.erreur = decoupage == Decoupage::coupe
                        ? "guillemet jamais refermé"
                        : "guillemet mal placé dans la cellule " + std::to_string(cellules.size());
    std::size_t taille = entree.texte.size();
    for (; !suites.empty(); suites.pop_back()) {
        taille -= suites.back().size();
        _lignes.rendre(std::move(suites.back()));
    }
    entree.texte.resize(taille);
    return Lecture::fausse;
}

/// Adds the cells of a line. suite: the line begins inside of the last cell's quotes.
LecteurCsv::Decoupage LecteurCsv::_decouper(const std::string& ligne, std::vector<Cellule>& cellules,
                                            bool suite) const
{
    std::size_t fin = ligne.size();
    if (fin != 0 && ligne[fin - 1] == '\n')
        --fin;
    if (fin != 0 && ligne[fin - 1] == '\r')
        --fin;
    for (std::size_t i = 0;; ++i) {
        Cellule& cellule = suite ? cellules.back() : cellules.emplace_back();
        if (suite || (i < fin && ligne[i] == '"')) {
            cellule.guillemets = true;
            for (i += suite ? 0 : 1;; ++i) {
                const std::size_t guillemet = ligne.find('"', i);
                cellule.texte.append(ligne, i, guillemet - i);
                if (guillemet == std::string::npos)
                    return Decoupage::coupe;
                i = guillemet + 1;
                if (i >= ligne.size() || ligne[i] != '"')
                    break;
                cellule.texte += '"';
            }
            suite = false;
        } else {
            const std::size_t debut = i;
            while (i < fin && ligne[i] != _separateur && ligne[i] != '"')
                ++i;
            cellule.texte.assign(ligne, debut, i - debut);
        }
        if (i >= fin)
            return Decoupage::complet;
        if (ligne[i] != _separateur)
            return Decoupage::faux;
    }
}

cdv::Vol LecteurCsv::_construire(const std::vector<Cellule>& cellules) const
{
    cdv::Vol vol;
    for (std::size_t i = 0; i < cellules.size(); ++i) {
        const auto& [texte, guillemets] = cellules[i];
        if (texte.empty() && !guillemets)
            continue;
        if (_colonnes[i] == POINTS || _colonnes[i] == CHANGEMENTS) {
            lireListe(vol, _colonnes[i] == POINTS ? NOM_POINTS : NOM_CHANGEMENTS, texte);
            continue;
        }
        const auto champ = static_cast<cdv::Champ>(_colonnes[i]);
        try {
            vol.ecrire(champ, cdv::depuisUtf8(texte));
        } catch (const cdv::ErreurVol& erreur) {
            throw cdv::ErreurVol(erreur, std::string(cdv::Vol::nom(champ)));
        }
    }
    return vol;
}

} // namespace outils
