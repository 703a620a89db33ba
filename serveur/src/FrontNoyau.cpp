#include "FrontNoyau.h"

#include "LiaisonORB.h"

#include "orix/OXversion.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>

namespace serveur {

namespace {

constexpr orix::OXversion VERSION_INTERFACE(3, 0, 0, 0);
constexpr std::size_t TAILLE_NOM_MAX = 128;        // the rest is cut
constexpr std::size_t TAILLE_REFERENCE_MAX = 4096; // ten times what an ORB gives

std::optional<CORBA::ULong> trouverNiveau(const orix_corba::SequenceNiveauReference& niveaux)
{
    for (CORBA::ULong i = 0; i < niveaux.length(); ++i) {
        const orix_corba::NiveauReference& n = niveaux[i];
        if (orix::OXversion(n.majeur, n.mineur, n.correctif, n.construction) == VERSION_INTERFACE)
            return i;
    }
    return std::nullopt;
}

} // namespace

void FrontNoyau::activerService(const char* nomService, const orix_corba::SequenceNiveauReference& niveaux,
                                orix_corba__Client_ptr client, const char* nomORBthread,
                                const char* nomMachineHote, CORBA::Long& statut, CORBA::String_out serveur,
                                CORBA::String_out machine, orix_corba::NiveauReference_out niveau,
                                CORBA::Long& numeroClient)
{
    // All that the answer needs, first: a client is not activated and then left without its number.
    auto reponse = std::make_unique<orix_corba::NiveauReference>();
    reponse->majeur = VERSION_INTERFACE.lireMajeur();
    reponse->mineur = VERSION_INTERFACE.lireMineur();
    reponse->correctif = VERSION_INTERFACE.lireCorrectif();
    reponse->construction = VERSION_INTERFACE.lireConstruction();
    serveur = CORBA::string_dup(_noms.serveur.c_str());
    machine = CORBA::string_dup(_noms.machine.c_str());
    const std::string nom(nomORBthread, strnlen(nomORBthread, TAILLE_NOM_MAX));
    const std::string hote(nomMachineHote, strnlen(nomMachineHote, TAILLE_NOM_MAX));
    statut = orix::OXS_OK;
    numeroClient = 0;
    try {
        numeroClient = _activer(nomService, niveaux, client, nom, hote);
        reponse->reference = CORBA::Object::_duplicate(_service.in());
    } catch (const orix::Echec& echec) {
        statut = echec.lireCode();
    } catch (const std::bad_alloc&) {
        statut = orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
    } catch (const std::system_error&) { // no thread for the client
        statut = orix::OXS_NOK;
    }
    const auto refus = std::find(REFUS.begin(), REFUS.end(), statut);
    if (refus != REFUS.end())
        ajouter(_mesures.refus[static_cast<std::size_t>(refus - REFUS.begin())]);
    if (statut == orix::OXS_NOK || statut == orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "FrontNoyau", "activerService",
                              "Activation impossible, place ou moyens manquent, à "
                                  << nom << " sur " << hote << " : " << statut << " ("
                                  << orix::texteStatut(statut) << ")");
    else if (statut != orix::OXS_OK)
        ORIX_TRACE_SANS_ECHEC(orix::NTO_REFUS, "FrontNoyau", "activerService",
                              "Activation refusée à " << nom << " sur " << hote << " : " << statut << " ("
                                                      << orix::texteStatut(statut) << ")");
    niveau = reponse.release();
}

void FrontNoyau::_verifier(CORBA::Object_ptr reference) const
{
    if (CORBA::is_nil(reference) || orix::orb::taille(reference) > TAILLE_REFERENCE_MAX)
        throw orix::Echec(orix::OXS_PARAMETRE_INVALIDE);
    if (!_ailleurs && !orix::orb::meneA(reference, orix::orb::identiteAppelant()))
        throw orix::Echec(orix::OXS_PARAMETRE_INVALIDE);
}

int FrontNoyau::_activer(const char* nomService, const orix_corba::SequenceNiveauReference& niveaux,
                         orix_corba__Client_ptr client, const std::string& nom, const std::string& machine)
{
    if (!_droits.permet(Droit::activation, orix::orb::identiteAppelant()))
        throw orix::Echec(orix::OXS_CLIENT_ID_INVALIDE);
    if (std::strcmp(nomService, NOM_SERVICE) != 0)
        throw orix::Echec(orix::OXS_SERVEUR_INEXISTANT);
    const std::optional<CORBA::ULong> rang = trouverNiveau(niveaux);
    if (!rang)
        throw orix::Echec(orix::OXS_PROTOCOLE_INCOMPATIBLE);
    _verifier(niveaux[*rang].reference);
    _verifier(client);
    const orix_corba::OXcdv_v3_0_0_ServeurVersClient_var notifications =
        orix_corba::OXcdv_v3_0_0_ServeurVersClient::_unchecked_narrow(niveaux[*rang].reference);
    return _clients.ajouter(nom, machine, orix::orb::identiteAppelant(), notifications, client);
}

} // namespace serveur
