#ifndef SQLVOL_H
#define SQLVOL_H

#include "Magasin.h"

#include "orix/Enumerer.h"

#include <string>
#include <string_view>
#include <vector>

namespace serveur {

/// The columns of the table in the order of the statements' parameters: the texts, then the changed fields,
/// then the points.
const std::vector<std::string>& nomsColonnes();
std::string listeColonnes();

// The statements. Their parameters, "$1", "$2"..., appear first in the order of their numbers: for one store
// they are numbers, for the other names.

std::string
sqlCreationTable(const std::string& type); ///< of the columns; without what follows the parenthesis
std::string sqlInsertion();
std::string sqlModification(); ///< gives the record back
std::string sqlSuppression();
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

    struct Condition
    {
        std::string debut; ///< "column = ", "column >= "...
        std::string valeur;
    };
    std::string egal;              ///< the key; empty: any
    std::string depuis;            ///< the smallest key; empty: none
    std::string jusquA;            ///< the smallest key beyond; empty: none
    std::vector<Condition> autres; ///< on the other columns
};

/// Of a listing whose conditions may match none: how many records one slice looks at.
constexpr int VOLS_EXAMINES = 4096;

/// A statement and the values of its parameters, which belong to what it was made of.
struct RequeteSql
{
    std::string texte;
    std::vector<std::string_view> valeurs;
};
/// The records of the next slice, in order, up to borne; empty: to the end.
RequeteSql sqlTranche(const Filtre& filtre, const Parcours& parcours, const std::string& borne);
/// The key of the last record of the next slice, if there are more than it looks at.
RequeteSql sqlBorne(const Filtre& filtre, const Parcours& parcours);
/// Whether a slice needs such a bound.
bool aBorner(const Filtre& filtre);

} // namespace serveur

#endif
