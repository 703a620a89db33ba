#include "Client.h"

#include "EnvoiSansReponse.h"
#include "LiaisonORB.h"

#include "orix/OXstatut.h"

namespace serveur {

namespace {
constexpr std::size_t LOT_ENVOI = 256;
using Proxy = std::remove_pointer_t<orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr>;
} // namespace

Client::Client(Identite identite, orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
               orix_corba__Client_ptr client, std::size_t capaciteFile, SurFin surFin)
    : _identite(std::move(identite)),
      _notifications(orix_corba::OXcdv_v3_0_0_ServeurVersClient::_duplicate(notifications)),
      _client(orix_corba__Client::_duplicate(client)),
      _surFin(std::move(surFin)),
      _file(capaciteFile),
      _lot(LOT_ENVOI),
      _envoi("cdv-envois", [this] { return _envoyerSuite(); })
{}

void Client::abandonner()
{
    _abandon = true;
    _file.fermer(/*jeter*/ true);
}

/// What waits; at the end, the word to the client. An end allocates nothing.
bool Client::_envoyerSuite() noexcept
{
    const char* raison = "le service s'arrête";
    std::string precision;
    try {
        _file.prendre(_lot);
        for (auto notification = _lot.begin(); notification != _lot.end() && !_abandon; ++notification)
            _envoyer(*notification);
        if (!_lot.empty())
            return true;
        // Awaited, unlike the rest: the ORB stops next.
        if (!_abandon)
            _client->deconnexionCB(orix::OXS_SERVICE_NON_ACTIVE);
    } catch (...) {
        raison = "envoi impossible, ";
        precision = texteException();
    }
    if (!_abandon)
        _surFin(_identite.numero, raison, precision);
    _fini = true;
    return false;
}

void Client::_envoyer(const Notification& n)
{
    static const auto sansReponse = orix_corba::AMI_OXcdv_v3_0_0_ServeurVersClientHandler::_nil();
    const CORBA::Long resultat = n.resultat;
    const CORBA::Long idOp = n.idOp;
    const auto envoyer = [&](auto sendc, const char* operation, const auto&... arguments) {
        orix::orb::envoyer(_notifications.in(), sendc, operation, sansReponse, arguments...);
    };
    if (n.genre == Notification::Genre::element)
        return envoyer(&Proxy::sendc_liste_vol_complet, "liste_vol_complet", _prete.preter(*n.vol), idOp);
    if (n.genre == Notification::Genre::finListe)
        return envoyer(&Proxy::sendc_fin_liste_vol_complet, "fin_liste_vol_complet", resultat, idOp);
    switch (n.operation) {
    case Operation::cree:
        return envoyer(&Proxy::sendc_cree_vol_complet, "cree_vol_complet", resultat, _prete.preter(*n.vol),
                       idOp);
    case Operation::modifie:
        return envoyer(&Proxy::sendc_modifie_vol_complet, "modifie_vol_complet", resultat,
                       _prete.preter(*n.vol), idOp);
    case Operation::supprime:
        return envoyer(&Proxy::sendc_supprime_vol_complet, "supprime_vol_complet", resultat, idOp);
    case Operation::consulte:
        return envoyer(&Proxy::sendc_consulte_vol_complet, "consulte_vol_complet", resultat,
                       _prete.preter(*n.vol), idOp);
    case Operation::liste:
        break; // its notifications are of the other two kinds
    }
}

} // namespace serveur
