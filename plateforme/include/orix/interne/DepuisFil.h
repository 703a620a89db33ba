#ifndef ORIX_DEPUISFIL_H
#define ORIX_DEPUISFIL_H

#include "Recu.h"
#include "orix/OXchaine.h"

#include <utility>

/// Two manners to make a record out of what came from the wire. Texts come from array new.
namespace orix::champ {

struct ParCopie
{
    static char* texte(const char* texte) { return OXdupliqueChaine(texte); }
    template <class Objet, class Fil>
    static Objet* objet(const Fil& fil)
    {
        return new Objet(fil);
    }
};

/// Leaves what came from the wire fit for destruction only.
struct ParReprise
{
    template <class Texte>
    static char* texte(Texte&& texte)
    {
        return orb::prendre(texte);
    }
    template <class Objet, class Fil>
    static Objet* objet(Fil& fil)
    {
        return new Objet(std::move(fil));
    }
};

} // namespace orix::champ

#endif
