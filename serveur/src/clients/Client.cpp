#include "Client.h"

#include "EnvoiPatient.h"
#include "EnvoiSansReponse.h"
#include "FilServeur.h"
#include "LiaisonORB.h"

#include "orix/OXstatut.h"

#include <ostream>

namespace serveur {

namespace {
constexpr std::chrono::milliseconds DELAI_CONGE{2000};
} // namespace

/// Where the number of the process begins in the name; its end when there is none.
std::size_t Client::Identite::_crochet() const
{
    const std::size_t place = nom.rfind('[');
    if (place == std::string::npos || nom.size() < place + 3 || nom.back() != ']' ||
        nom.find_first_not_of("0123456789", place + 1) != nom.size() - 1)
        return nom.size();
    return place;
}

std::string Client::Identite::programme() const { return nom.substr(0, _crochet()); }

std::string Client::Identite::processus() const
{
    const std::size_t place = _crochet();
    return place == nom.size() ? "" : nom.substr(place + 1, nom.size() - place - 2);
}

std::ostream& operator<<(std::ostream& flux, const Client::Identite& identite)
{
    return flux << identite.numero << " (" << identite.nom << " sur " << identite.machine << ")";
}

Client::Client(Identite identite, orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
               orix_corba__Client_ptr client, Memoire& memoire, SurFin surFin)
    : Ligne(memoire),
      _identite(std::move(identite)),
      _notifications(orix_corba::OXcdv_v3_0_0_ServeurVersClient::_duplicate(notifications)),
      _client(orix_corba__Client::_duplicate(client)),
      _surFin(std::move(surFin))
{}

void Client::envoyer(const Requete& reponse)
{
    const CORBA::Long resultat = reponse.resultat;
    const CORBA::Long idOp = reponse.idOp;
    // Its reader may be slow: the pings tell whether it is there.
    const orix::orb::EnvoiPatient patience([this] { return !estAbandonnee(); });
    const auto envoyer = [this](const char* operation, const auto&... arguments) {
        orix::orb::envoyerSansReponse(_notifications.in(), operation, arguments...);
    };
    if (reponse.genre == Requete::Genre::element)
        return envoyer("liste_vol_complet", *reponse.vol, idOp);
    switch (reponse.operation) {
    case Operation::cree:
        return envoyer("cree_vol_complet", resultat, *reponse.vol, idOp);
    case Operation::modifie:
        return envoyer("modifie_vol_complet", resultat, *reponse.vol, idOp);
    case Operation::supprime:
        return envoyer("supprime_vol_complet", resultat, idOp);
    case Operation::consulte:
        return envoyer("consulte_vol_complet", resultat, *reponse.vol, idOp);
    case Operation::liste:
        return envoyer("fin_liste_vol_complet", resultat, idOp);
    }
}

void Client::pousser()
{
    const orix::orb::EnvoiPatient patience([this] { return !estAbandonnee(); });
    if (!orix::orb::envoyerGroupe())
        throw CORBA::COMM_FAILURE();
}

void Client::prendreConge()
{
    // Awaited, unlike the rest: the ORB stops next.
    orix::orb::limiterAppels(_client.in(), DELAI_CONGE);
    _client->deconnexionCB(orix::OXS_SERVICE_NON_ACTIVE);
}

void Client::finir(bool echec) noexcept
{
    if (echec)
        _surFin(_identite.numero, Depart::envoi, texteException());
    else
        _surFin(_identite.numero, Depart::arret, {});
}

} // namespace serveur
