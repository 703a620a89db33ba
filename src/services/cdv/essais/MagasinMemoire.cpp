#include "MagasinMemoire.h"

#include "OXcdvCliCode.h"

#include <stdexcept>
#include <utility>

namespace cdv {

namespace {

std::string identifiant(const Vol& vol) { return std::string(vol.lire_ou(Champ::gidentifiant, "")); }

/// What is set is overwritten; a list is when there is one.
void remplacer(Vol& vol, const Vol& changement)
{
    for (const std::string_view nom : Vol::champs())
        if (const auto valeur = changement.lire(nom))
            vol.ecrire(nom, *valeur);
    if (changement.nombrePoints() != 0)
        vol.viderPoints();
    for (const std::string_view point : changement.points())
        vol.ajouterPoint(point);
    if (changement.nombreChangements() != 0)
        vol.viderChangements();
    for (const Changement& rubrique : changement.changements())
        vol.ajouterChangement(rubrique);
}

} // namespace

bool ressemble(const Vol& vol, const Vol& exemple)
{
    for (const std::string_view nom : Vol::champs()) {
        const auto voulu = exemple.lire(nom);
        if (!voulu)
            continue;
        const auto valeur = vol.lire(nom);
        const bool debut = !voulu->empty() && voulu->back() == '*';
        const std::string_view modele = voulu->substr(0, voulu->size() - (debut ? 1 : 0));
        if (!valeur || (debut ? valeur->substr(0, modele.size()) : *valeur) != modele)
            return false;
    }
    return true;
}

void MagasinMemoire::poser(Vol vol)
{
    std::string clef = identifiant(vol);
    if (clef.empty())
        throw std::invalid_argument("cdv::ServiceMemoire::poser(): a record without an identifier");
    _vols.insert_or_assign(std::move(clef), std::move(vol));
}

std::optional<Vol> MagasinMemoire::lire(std::string_view identifiant) const
{
    const auto trouve = _vols.find(identifiant);
    return trouve == _vols.end() ? std::nullopt : std::optional<Vol>(trouve->second.copier());
}

std::pair<int, Vol> MagasinMemoire::executer(Requete requete, const Vol& vol)
{
    const std::string clef = identifiant(vol);
    if (requete == Requete::liste)
        return {code::FAIT, vol.copier()};
    if (clef.empty())
        return {code::VOL_INVALIDE, vol.copier()};
    const auto trouve = _vols.find(clef);
    const bool existe = trouve != _vols.end();
    if (existe == (requete == Requete::cree))
        return {existe ? code::EXISTE_DEJA : code::INTROUVABLE, vol.copier()};
    if (requete == Requete::supprime) {
        _vols.erase(trouve);
        return {code::FAIT, vol.copier()};
    }
    if (requete == Requete::cree)
        _vols.emplace(clef, vol.copier());
    else if (requete == Requete::modifie)
        remplacer(trouve->second, vol);
    return {code::FAIT, _vols.find(clef)->second.copier()};
}

std::optional<Vol> MagasinMemoire::suivant(const Vol& exemple, std::string& dernier) const
{
    for (auto place = _vols.upper_bound(dernier); place != _vols.end(); ++place) {
        dernier = place->first;
        if (ressemble(place->second, exemple))
            return place->second.copier();
    }
    return std::nullopt;
}

} // namespace cdv
