#include "Francais.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace outils {

namespace {

/// Begins and ends like this in English; "%" stands for what is between.
struct Phrase
{
    std::string_view debut;
    std::string_view fin;
    std::string_view francais;
};

constexpr Phrase PHRASES[] = {
    {"the character ", " does not exist in ISO-8859-1", "le caractère % n'existe pas en ISO-8859-1"},
    {"the text is not UTF-8 at byte ", "", "ce n'est pas de l'UTF-8, à l'octet %"},
    {"a null byte does not fit in a field", "", "un champ ne peut pas contenir d'octet nul"},
    {"'", "' is not a field of a flight record", "champ inconnu (voir cdv --champs)"},
    {"'", "' is not a part of a changed field", "partie inconnue « % »"},
    {"'", "' is given twice", "« % » est donné deux fois"},
    {"it is given twice", "", "donné deux fois"},
    {"a flight record holds at most ", " route points", "% points de route au plus"},
    {"a flight record holds at most ", " changed fields", "% rubriques changées au plus"},
    {"a text is expected, not this ", "", "un texte est attendu"},
    {"an array of texts is expected", "", "un tableau de textes est attendu"},
    {"an array of objects is expected", "", "un tableau d'objets est attendu"},
    {"an object is expected", "", "un objet est attendu"},
    {"nested deeper than ", " levels", "imbrication de plus de % niveaux"},
    {"a JSON object is expected", "", "un objet JSON est attendu"},
};

bool commence(std::string_view texte, std::string_view debut)
{
    return texte.substr(0, debut.size()) == debut;
}

} // namespace

std::string enFrancais(const std::string& message)
{
    if (commence(message, "not JSON")) { // the rest is the parser's own words
        unsigned long ligne = 0;
        unsigned long colonne = 0;
        const int lus =
            std::sscanf(message.c_str(), "not JSON: parse error at line %lu, column %lu", &ligne, &colonne);
        return lus == 2
                   ? "JSON incorrect, ligne " + std::to_string(ligne) + ", colonne " + std::to_string(colonne)
                   : "JSON incorrect";
    }
    for (const auto& [debut, fin, francais] : PHRASES) {
        const std::size_t cadre = debut.size() + fin.size();
        if (message.size() < cadre || !commence(message, debut) ||
            std::string_view(message).substr(message.size() - fin.size()) != fin)
            continue;
        std::string texte(francais);
        if (const std::size_t place = texte.find('%'); place != std::string::npos)
            texte.replace(place, 1, message, debut.size(), message.size() - cadre);
        return texte;
    }
    if (const std::size_t place = message.find(": "); place != std::string::npos) // where, and what
        return message.substr(0, place) + " : " + enFrancais(message.substr(place + 2));
    return message;
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
