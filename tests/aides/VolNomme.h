#ifndef VOLNOMME_H
#define VOLNOMME_H

#include "Essais.h"
#include "OXvol_completData.h"
#include "orix/OXchaine.h"

namespace essais {

/// A record with nothing set but the identifier.
inline std::unique_ptr<OXvol_completData> vol(const std::string& identifiant)
{
    auto resultat = std::make_unique<OXvol_completData>();
    resultat->ecrire_gidentifiant(OXdupliqueChaine(identifiant.c_str()));
    return resultat;
}

} // namespace essais

#endif
