#ifndef TABLEAUX_H
#define TABLEAUX_H

#include "Resultats.h"

namespace comparaison {

/// Writes on the standard output, in Markdown, what was found of those measures.
void ecrireTableaux(const Resultats& resultats, const std::vector<Mesure>& mesures);

} // namespace comparaison

#endif
