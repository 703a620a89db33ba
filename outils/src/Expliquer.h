#ifndef EXPLIQUER_H
#define EXPLIQUER_H

#include "CdvSession.h"

#include "Statut.h"

#include <string>

namespace outils {

std::string expliquer(orix::OXstatut statut);         ///< a few words
std::string expliquer(const cdv::Resultat& resultat); ///< one line about any end of a request

/// An end of a request, for the user.
struct Issue
{
    explicit Issue(const cdv::Resultat& resultat);
    Statut statut; ///< the exit status that it stands for
    std::string texte;
};

} // namespace outils

#endif
