#include "OXcdvCliConnexion.h"

#include "OXcdvCliDoublure.h"
#include "OXcdvCliItfAdaptateur.h"

namespace orix {

namespace {

OXcdvCliConnexion::Etat traduire(OXcdvCliItfAdaptateur::EtatAdaptateur etat) noexcept
{
    switch (etat) {
    case OXcdvCliItfAdaptateur::Active_v3_0_0:
        return OXcdvCliConnexion::Etat::active;
    case OXcdvCliItfAdaptateur::DemandeActivation:
        return OXcdvCliConnexion::Etat::activation;
    case OXcdvCliItfAdaptateur::Desactive:
        break;
    }
    return OXcdvCliConnexion::Etat::inactive;
}

} // namespace

OXcdvCliConnexion lireOXcdvCliConnexion() noexcept
{
    if (OXcdvCliDoublure* const doublure = lireDoublureOXcdvCliItf())
        return doublure->lireConnexion();
    OXcdvCliConnexion connexion;
    OXcdvCliItfAdaptateur* const adaptateur = Singleton<OXcdvCliItfAdaptateur>::lireExistante();
    if (adaptateur == nullptr)
        return connexion;
    // The state first: the number is published before the state that gives it a meaning.
    connexion.etat = traduire(adaptateur->lireEtat());
    if (connexion.etat == OXcdvCliConnexion::Etat::active)
        connexion.numeroClient = adaptateur->lireNumeroClient();
    connexion.serveur = adaptateur->lireServeurCourant() == OXroutage::PremierServeur ? 1 : 2;
    return connexion;
}

} // namespace orix
