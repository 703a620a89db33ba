#ifndef MESURE_H
#define MESURE_H

#include "CdvSession.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace outils {

using Horloge = std::chrono::steady_clock;

/// A request that changes nothing and that a server answers from end to end, store included: the consultation
/// of a record that nobody creates.
inline cdv::Vol volDeMesure()
{
    cdv::Vol vol;
    vol.ecrire(cdv::Champ::gidentifiant, "cdv:mesure");
    return vol;
}

/// Whether the server answered, whatever it was.
inline bool aRepondu(const cdv::Resultat& resultat)
{
    return resultat.etat == cdv::Resultat::Etat::fait || resultat.etat == cdv::Resultat::Etat::refuse;
}

inline double millisecondes(Horloge::duration duree)
{
    return std::chrono::duration<double, std::milli>(duree).count();
}

inline std::string texteMs(double valeur)
{
    char texte[32];
    std::snprintf(texte, sizeof texte, "%.2f ms", valeur);
    return texte;
}

} // namespace outils

#endif
