#ifndef ORIX_OXSTATUT_H
#define ORIX_OXSTATUT_H

#include "orix/Exportation.h"

#include <string>

namespace orix {

/// Status of every operation of the system. Names that share a value are aliases of one status.
enum OXstatut : int
{
    OXS_OK = 0,                             ///< success
    OXS_NARV_REFUSED = 1,                   ///< refused by the older transport layer
    OXS_NARV_NOT_REGISTERED = 2,            ///< not registered with the older transport layer
    OXS_NARV_ERROR = 3,                     ///< older transport layer error, directory unreachable
    OXS_ANNUAIRE_INACCESSIBLE = 3,          ///< alias
    OXS_REGISTER_ERROR = 4,                 ///< registration error, name already defined
    OXS_NOM_DEJA_DEFINI = 4,                ///< alias
    OXS_ALREADY_CONNECTED = 5,              ///< already connected
    OXS_DEJA_CONNECTE = 5,                  ///< alias
    OXS_CANT_CONNECT = 6,                   ///< cannot connect
    OXS_CANT_DUPLEX = 7,                    ///< duplex connection impossible
    OXS_NOT_CONNECTED = 8,                  ///< not connected
    OXS_NON_CONNECTE = 8,                   ///< alias
    OXS_CALL_ERROR = 9,                     ///< call error
    OXS_REPLY_ERROR = 10,                   ///< reply error
    OXS_RPC_ERROR = 11,                     ///< remote procedure call error
    OXS_ABSENCE_CONF = 12,                  ///< configuration missing
    OXS_MAUVAISE_CONF = 13,                 ///< configuration wrong
    OXS_CONNEXION_IMPOSSIBLE = 14,          ///< connection impossible
    OXS_PROTOCOL_NOMATCH = 15,              ///< protocol versions do not match
    OXS_PROTOCOLE_INCOMPATIBLE = 15,        ///< alias
    OXS_CLIENT_ID_INVALIDE = 16,            ///< invalid client identifier
    OXS_SERVEUR_INEXISTANT = 17,            ///< server does not exist
    OXS_SERVEUR_NOT_BOUND = 18,             ///< server not bound
    OXS_PIPE_IMPOSSIBLE = 19,               ///< pipe impossible
    OXS_SERVEUR_NON_CREE = 20,              ///< server not created
    OXS_ECHEC_PING = 21,                    ///< ping failed
    OXS_PAS_ILBNARV_SERVEUR = 22,           ///< no server of the older transport layer, CORBA error
    OXS_ERREUR_CORBA = 22,                  ///< alias
    OXS_SERVICE_NON_ACTIVE = 23,            ///< the service is not activated
    OXS_NOT_INITIALIZED = 24,               ///< the middleware kernel is not initialised
    OXS_NOYAU_NON_INITIALISE = 24,          ///< alias
    OXS_NOK = 25,                           ///< general failure
    OXS_NOYAU_DEJA_INITIALISE = 26,         ///< kernel already initialised
    OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE = 27, ///< memory allocation failed
    OXS_CHAMP_NON_INITIALISE = 28,          ///< record field not initialised
    OXS_CHAMP_ACCES_INVALIDE = 29,          ///< invalid access to a record field
    OXS_TABLEAU_INDEX_INVALIDE = 30,        ///< invalid list index
    OXS_TABLEAU_DEBORDEMENT = 31,           ///< list overflow
    OXS_PARAMETRE_INVALIDE = 32,            ///< invalid parameter
    OXS_ACTIVATION_EN_COURS = 33,           ///< activation already in progress
    OXS_SERVICE_DEJA_ACTIVE = 34,           ///< service already activated
    OXS_SERVICE_DEJA_DESACTIVE = 35,        ///< service already deactivated
    OXS_NB_ELEMENTS_STATUT = 36             ///< number of statuses, a bound that is never returned
};

} // namespace orix

/// Printable text of each status: its first name. Indexed by status, 0 to orix::OXS_NB_ELEMENTS_STATUT - 1.
extern ORIX_API const char* const OXstatus_int2code[orix::OXS_NB_ELEMENTS_STATUT];

namespace orix {

/// Text of any integer that claims to be a status; "?" for one that is not.
inline const char* texteStatut(int code)
{
    return code >= 0 && code < OXS_NB_ELEMENTS_STATUT ? OXstatus_int2code[code] : "?";
}

/// A status as the traces show it: "23 (OXS_SERVICE_NON_ACTIVE)".
inline std::string codeEtTexte(int code) { return std::to_string(code) + " (" + texteStatut(code) + ")"; }

} // namespace orix

#endif
