#include "Criteres.h"

#include "Dictionnaire.h"
#include "Francais.h"
#include "Statut.h"
#include "Suggestion.h"

#include <algorithm>

namespace outils {

namespace {

constexpr auto RIEN = std::string_view::npos;

std::vector<std::string> lireMotif(std::string_view valeur)
{
    std::vector<std::string> motif(1);
    for (std::size_t i = 0; i < valeur.size(); ++i) {
        const bool litterale = valeur.substr(i, 2) == "\\*";
        if (valeur[i] == '*')
            motif.emplace_back();
        else
            motif.back() += valeur[litterale ? ++i : i];
    }
    return motif;
}

bool correspond(std::string_view texte, const std::vector<std::string>& motif)
{
    const std::string& debut = motif.front();
    const std::string& fin = motif.back();
    if (motif.size() == 1)
        return texte == debut;
    if (texte.size() < debut.size() + fin.size() || texte.substr(0, debut.size()) != debut ||
        texte.substr(texte.size() - fin.size()) != fin)
        return false;
    texte = texte.substr(debut.size(), texte.size() - debut.size() - fin.size());
    return std::all_of(motif.begin() + 1, motif.end() - 1, [&](const std::string& morceau) {
        const std::size_t place = texte.find(morceau);
        texte.remove_prefix(place == RIEN ? texte.size() : place + morceau.size());
        return place != RIEN;
    });
}

bool estNombre(std::string_view texte)
{
    return !texte.empty() && texte.find_first_not_of("0123456789") == RIEN;
}

/// Of two numbers of any length: below 0, 0 or above.
int comparer(std::string_view a, std::string_view b)
{
    for (std::string_view* const nombre : {&a, &b})
        nombre->remove_prefix(std::min(nombre->find_first_not_of('0'), nombre->size()));
    return a.size() != b.size() ? (a.size() < b.size() ? -1 : 1) : a.compare(b);
}

} // namespace

Criteres::Criteres(const std::vector<std::string>& mots)
{
    for (const std::string& mot : mots) {
        Critere critere{cdv::Champ::gidentifiant, "=", {}};
        std::string valeur = mot;
        if (const std::size_t fin = mot.find_first_of("!<>="); fin != RIEN) {
            const std::size_t taille = mot[fin] != '=' && mot.substr(fin + 1, 1) == "=" ? 2 : 1;
            critere.champ = champConnu(mot.substr(0, fin));
            critere.operateur = mot.substr(fin, taille);
            valeur = mot.substr(fin + taille);
        }
        try {
            valeur = cdv::depuisUtf8(valeur);
        } catch (const cdv::ErreurVol& erreur) {
            throw Arret(USAGE, std::string(cdv::Vol::nom(critere.champ)) + " : " + enFrancais(erreur));
        }
        const char premier = critere.operateur.front();
        if (critere.operateur == "!")
            throw Arret(USAGE, "« " + mot + " » : il faut !=");
        critere.motif = premier == '<' || premier == '>' ? Motif{valeur} : lireMotif(valeur);
        if (critere.operateur == "=") {
            _egaler(critere, mot);
            continue;
        }
        if (premier != '!')
            _verifierNombre(critere, mot);
        _restants.push_back(std::move(critere));
    }
}

bool Criteres::retient(const cdv::Vol& vol) const
{
    return std::all_of(_restants.begin(), _restants.end(),
                       [&](const Critere& critere) { return _retient(critere, vol); });
}

bool Criteres::_retient(const Critere& critere, const cdv::Vol& vol)
{
    const auto valeur = vol.lire(critere.champ);
    if (critere.operateur == "=")
        return valeur && correspond(*valeur, critere.motif);
    if (critere.operateur == "!=")
        return !valeur || !correspond(*valeur, critere.motif);
    if (!valeur || !estNombre(*valeur))
        return false;
    const int ordre = comparer(*valeur, critere.motif.front());
    const bool egal = ordre == 0 && critere.operateur.size() == 2;
    return egal || (critere.operateur.front() == '<' ? ordre < 0 : ordre > 0);
}

/// Asks the service for as much of it as it knows.
void Criteres::_egaler(const Critere& critere, const std::string& mot)
{
    const Motif& motif = critere.motif;
    const std::string& debut = motif.front();
    const bool prefixe = motif.size() == 2 && motif.back().empty();
    const bool entier = motif.size() == 1 && (debut.empty() || debut.back() != '*');
    if (!prefixe && !entier)
        _restants.push_back(critere);
    if (!prefixe && !entier && debut.empty())
        return;
    if (_exemple.lire(critere.champ))
        throw Arret(USAGE,
                    "« " + mot + " » : champ donné deux fois : " + std::string(cdv::Vol::nom(critere.champ)));
    _exemple.ecrire(critere.champ, entier ? debut : debut + '*');
}

/// What is no number, or has another length than the dates or times of the field, is a mistake.
void Criteres::_verifierNombre(const Critere& critere, const std::string& mot)
{
    const DescriptionChamp& champ = dictionnaire().at(static_cast<std::size_t>(critere.champ));
    const std::string& valeur = critere.motif.front();
    const bool taille = champ.longueur.size() != 1 || valeur.size() == std::size_t(champ.longueur[0] - '0');
    if (!estNombre(valeur) || !taille)
        throw Arret(USAGE, "« " + mot + " » : il faut des chiffres, " + std::string(champ.forme[FRANCAIS]));
}

} // namespace outils
