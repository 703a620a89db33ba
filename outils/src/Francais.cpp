#include "Francais.h"

#include "Suggestion.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <vector>

namespace outils {

namespace {

/// What is said of a reason, in the order of the reasons; "%" stands for the first subject.
constexpr const char* PHRASES[] = {
    "un champ ne peut pas contenir d'octet nul",
    "ce n'est pas de l'UTF-8, à l'octet %",
    "le caractère % n'existe pas en ISO-8859-1",
    "champ inconnu",
    "partie inconnue « % »",
    "« % » est donné deux fois",
    "donné deux fois",
    "% points de route au plus",
    "% rubriques changées au plus",
    "JSON incorrect",
    "imbrication de plus de % niveaux",
    "un texte est attendu",
    "un tableau de textes est attendu",
    "un tableau d'objets est attendu",
    "un objet est attendu",
    "un objet JSON est attendu",
};
static_assert(std::size(PHRASES) == static_cast<std::size_t>(cdv::ErreurVol::Motif::objetJson) + 1);

} // namespace

std::string enFrancais(const cdv::ErreurVol& erreur)
{
    const std::vector<std::string>& sujets = erreur.sujets();
    std::string texte = PHRASES[static_cast<int>(erreur.motif())];
    if (const std::size_t place = texte.find('%'); place != std::string::npos)
        texte.replace(place, 1, sujets.at(0));
    if (erreur.motif() == cdv::ErreurVol::Motif::json && sujets.size() == 2)
        texte += ", ligne " + sujets[0] + ", colonne " + sujets[1];
    if (erreur.motif() == cdv::ErreurVol::Motif::champInconnu)
        texte += conseilChamp(sujets.at(0));
    return erreur.endroit().empty() ? texte : erreur.endroit() + " : " + texte;
}

std::string raisonSysteme(int erreur)
{
    switch (erreur) {
    case ENOENT:
        return "introuvable";
    case EACCES:
    case EPERM:
        return "accès refusé";
    case EISDIR:
        return "c'est un dossier";
    case ENOTDIR:
        return "une partie du chemin n'est pas un dossier";
    case EROFS:
        return "le disque est en lecture seule";
    case ENOSPC:
    case EDQUOT:
        return "il n'y a plus de place";
    default:
        return std::strerror(erreur);
    }
}

} // namespace outils
