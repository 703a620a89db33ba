#ifndef SQLVOL_H
#define SQLVOL_H

#include "orix/Enumerer.h"

#include <string>
#include <vector>

namespace serveur {

class Fiche;

/// The columns of the table in the order of the statements' parameters: the texts, then the changed fields,
/// then the points.
const std::vector<std::string>& nomsColonnes();
std::string listeColonnes();
std::string sqlConsultation();

/// What forme makes of each column and the number of its parameter, joined by commas.
template <class Forme>
std::string enumererColonnes(Forme forme)
{
    int numero = 0;
    return orix::enumerer(nomsColonnes(),
                          [&](const std::string& nom) { return forme(nom, std::to_string(++numero)); });
}

/// A listing's conditions, of which every slice has the same. Those on the key are bounds, so that a slice
/// begins where the last one ended without looking at what precedes it.
struct Filtre
{
    explicit Filtre(const Fiche& exemple);

    std::string egal;                 ///< the key; empty: any
    std::string depuis;               ///< the smallest key; empty: none
    std::string jusquA;               ///< the smallest key beyond; empty: none
    std::string autres;               ///< " AND column = ?", " AND column >= ? AND column < ?"...
    std::vector<std::string> valeurs; ///< of the parameters of autres
};

} // namespace serveur

#endif
