#include "Lecteur.h"

#include "FormatCsv.h"
#include "Francais.h"

#include <algorithm>

namespace outils {

bool Lignes::suivante(std::string& ligne)
{
    if (!_rendues.empty()) {
        ligne = std::move(_rendues.back());
        _rendues.pop_back();
    } else {
        if (!std::getline(_flux, ligne))
            return false;
        if (!_flux.eof())
            ligne += '\n';
        if (_numero == 0 && ligne.compare(0, 3, "\xEF\xBB\xBF") == 0)
            ligne.erase(0, 3);
        if (ligne.empty()) // the mark, and nothing behind it
            return false;
    }
    ++_numero;
    return true;
}

void Lignes::rendre(std::string ligne)
{
    _rendues.push_back(std::move(ligne));
    --_numero;
}

namespace {

bool estBlanche(const std::string& ligne) { return ligne.find_first_not_of(" \t\r\n") == std::string::npos; }

/// One object a line; empty lines count for nothing.
class LecteurJson : public Lecteur
{
  public:
    explicit LecteurJson(Lignes lignes) : _lignes(std::move(lignes)) {}

    std::optional<Entree> suivante() override
    {
        Entree entree;
        do {
            if (!_lignes.suivante(entree.texte))
                return std::nullopt;
        } while (estBlanche(entree.texte));
        entree.ligne = _lignes.numero();
        try {
            entree.vol = cdv::Vol::depuisJson(entree.texte);
        } catch (const cdv::ErreurVol& erreur) {
            entree.erreur = enFrancais(erreur);
        }
        return entree;
    }

  private:
    Lignes _lignes;
};

} // namespace

std::unique_ptr<Lecteur> creerLecteur(std::optional<Format> format, std::istream& flux)
{
    Lignes lignes(flux);
    if (!format) {
        std::string premiere;
        const bool presente = lignes.suivante(premiere);
        const std::size_t debut = premiere.find_first_not_of(" \t");
        const bool json = debut != std::string::npos && premiere[debut] == '{';
        format = json ? Format::json : Format::csv;
        if (presente)
            lignes.rendre(std::move(premiere));
    }
    if (*format == Format::json)
        return std::make_unique<LecteurJson>(std::move(lignes));
    return std::make_unique<LecteurCsv>(std::move(lignes));
}

} // namespace outils
