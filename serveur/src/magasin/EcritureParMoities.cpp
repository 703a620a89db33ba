#include "EcritureParMoities.h"

#include "orix/Trace.h"

#include <algorithm>
#include <new>

namespace serveur {

void EcritureParMoities::_rendre(Demande& demande, FichePartagee vol)
{
    demande.rendu = std::move(vol);
    _rendus += demande.rendu->octets();
}

void EcritureParMoities::_oublier(Demande& demande) noexcept
{
    if (demande.rendu != nullptr)
        _rendus -= demande.rendu->octets();
    demande.rendu = nullptr;
}

EcritureParMoities::Place EcritureParMoities::_executerLot(Place debut, Place fin) noexcept
{
    _rendus = 0;
    return _executer(debut, fin);
}

EcritureParMoities::Place EcritureParMoities::_executer(Place debut, Place fin) noexcept
{
    Place ici = fin;
    try {
        switch (_tenter(debut, ici)) {
        case Issue::faite:
            std::for_each(debut, ici, [](Demande* demande) {
                if (demande->rendu != nullptr)
                    demande->vol = std::move(demande->rendu);
            });
            return ici;
        case Issue::inconnue:
            std::for_each(debut, ici, [](Demande* demande) { demande->resultat = ISSUE_INCONNUE; });
            return ici;
        case Issue::vaine:
            _abandonner(debut, fin, _pourquoi());
            return fin;
        case Issue::fautive:
            _abandonner(debut, fin, _pourquoi());
        }
    } catch (const std::bad_alloc& exception) {
        _abandonner(debut, fin, exception.what());
    }
    const auto nombre = fin - debut;
    if (nombre <= 1)
        return fin;
    const Place milieu = debut + nombre / 2;
    const Place arret = _executer(debut, milieu);
    return arret == milieu ? _executer(milieu, fin) : arret;
}

void EcritureParMoities::_abandonner(Place debut, Place fin, const char* pourquoi) noexcept
{
    if (fin - debut == 1)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "EcritureParMoities", "executer",
                              "Demande abandonnée : " << pourquoi);
    else
        ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "EcritureParMoities", "executer",
                              "Lot de " << fin - debut << " demandes abandonné : " << pourquoi);
    _annuler();
    std::for_each(debut, fin, [this](Demande* demande) {
        _oublier(*demande);
        demande->resultat = ECHEC_MAGASIN;
    });
}

} // namespace serveur
