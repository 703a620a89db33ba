#include "Expliquer.h"

#include "OXcdvCliCode.h"

namespace outils {

namespace {

std::string expliquerCode(int code)
{
    const std::string nombre = "code " + std::to_string(code);
    switch (code) {
    case cdv::code::EXISTE_DEJA:
        return "le vol existe déjà (" + nombre + ")";
    case cdv::code::INTROUVABLE:
        return "vol introuvable (" + nombre + ")";
    case cdv::code::VOL_INVALIDE:
        return "vol invalide : identifiant absent ou vide (" + nombre + ")";
    case cdv::code::ECHEC_MAGASIN:
        return "échec de la base du serveur (" + nombre + ")";
    case cdv::code::INTERDIT:
        return "le serveur ne le permet pas à ce client (" + nombre + ")";
    default:
        return "refusé par le serveur, " + nombre;
    }
}

} // namespace

std::string expliquer(orix::OXstatut statut)
{
    const std::string nom = std::string(" (") + orix::texteStatut(statut) + ")";
    switch (statut) {
    case orix::OXS_ERREUR_CORBA: // this name of the status, not its first one, says what it is
        return "l'appel du serveur a échoué : il est arrêté ou injoignable (OXS_ERREUR_CORBA)";
    case orix::OXS_REPLY_ERROR:
        return "le serveur n'a pas répondu à la demande d'activation" + nom;
    case orix::OXS_CONNEXION_IMPOSSIBLE:
        return "personne ne répond" + nom;
    case orix::OXS_ECHEC_PING:
        return "le serveur ne répond plus" + nom;
    case orix::OXS_SERVICE_NON_ACTIVE:
        return "le serveur s'est arrêté" + nom;
    case orix::OXS_SERVEUR_INEXISTANT:
        return "aucun serveur n'est configuré" + nom;
    case orix::OXS_CLIENT_ID_INVALIDE:
        return "le serveur n'admet pas ce client" + nom;
    case orix::OXS_PROTOCOLE_INCOMPATIBLE:
        return "le serveur parle une autre version" + nom;
    default:
        return orix::texteStatut(statut);
    }
}

std::string expliquer(const cdv::Resultat& resultat)
{
    using Etat = cdv::Resultat::Etat;
    const std::string incertain = resultat.lecture ? "" : " : peut-être fait, peut-être pas";
    switch (resultat.etat) {
    case Etat::fait:
        return "fait";
    case Etat::refuse:
        return expliquerCode(resultat.code);
    case Etat::delai:
        return "pas de réponse dans le délai" + incertain;
    case Etat::perdu:
        return "connexion perdue, " + expliquer(resultat.statut) + incertain;
    case Etat::nonEnvoye:
        return "non envoyé, " + expliquer(resultat.statut);
    case Etat::ferme:
        break;
    }
    return "interrompu" + incertain;
}

namespace {

Statut statutSortie(const cdv::Resultat& resultat)
{
    switch (resultat.etat) {
    case cdv::Resultat::Etat::fait:
        return FAIT;
    case cdv::Resultat::Etat::refuse:
        return REFUS;
    case cdv::Resultat::Etat::ferme:
        return INTERROMPU;
    default:
        return PERDU;
    }
}

} // namespace

Issue::Issue(const cdv::Resultat& resultat) : statut(statutSortie(resultat)), texte(expliquer(resultat)) {}

} // namespace outils
