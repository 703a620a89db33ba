#ifndef SERVEURESSAI_H
#define SERVEURESSAI_H

#include "CallbacksEnregistres.h"
#include "Demarrage.h"
#include "LiaisonORB.h"
#include "OXcdvCliArret.h"
#include "OXcdvCliItfAdaptateur.h"
#include "OXcdvClientVersServeurS.h"
#include "OXcdvServeurVersClientC.h"
#include "ServeurReel.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"
#include "orix/interne/ParametresActivationService.h"

namespace essais {

/// A message that a server received: its operation, the numbers of the request and of the client, the
/// identifier of the record, when there is one.
using Message = std::tuple<std::string, int, int, std::string>;

/// The cdv service of a server: keeps what it receives.
class ServiceEssai : public POA_orix_corba::OXcdv_v3_0_0_ClientVersServeur
{
  public:
    std::function<void(int)> ping; ///< of that client; may throw, or wait

    Message attendre() { return _messages.prendre({"rien", 0, 0, ""}); }

    /// The object, for who is inside a call of the ORB.
    orix_corba::OXcdv_v3_0_0_ClientVersServeur_ptr publier()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _poa = _default_POA();
        return _this();
    }
    /// Takes the object away: what is sent to it from now on fails. To ask an ORB that ends for its POA ends
    /// the process: the one of the publication is asked.
    void retirer()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        if (CORBA::is_nil(_poa))
            return;
        const PortableServer::ObjectId_var id = _poa->servant_to_id(this);
        _poa->deactivate_object(id);
    }

#define RECEVOIR(nom)                                                                                        \
    void nom(const OXvol_completData_v3_0_0& vol, CORBA::Long idOp, CORBA::Long idClient) override           \
    {                                                                                                        \
        _messages.poser({#nom, idOp, idClient, vol.m_gidentifiant.in()});                                    \
    }
    RECEVOIR(cree_vol_complet)
    RECEVOIR(modifie_vol_complet)
    RECEVOIR(supprime_vol_complet)
    RECEVOIR(consulte_vol_complet)
    RECEVOIR(liste_vol_complet)
#undef RECEVOIR
    void desactiveCB(CORBA::Long numero) override { _messages.poser({"desactiveCB", 0, numero, ""}); }
    void deconnexionCB(CORBA::Long) override {}
    void testerConnexionClient(const char*, const char*, const char*, CORBA::Long) override {}
    void testerConnexionServeur(CORBA::Long numero) override
    {
        if (ping)
            ping(numero);
    }

  private:
    FileAttente<Message> _messages;
    std::mutex _mutex;
    PortableServer::POA_var _poa;
};

/// A server that a test commands, kernel and service, in the client's own process.
class ServeurEssai : public POA_orix_corba::Noyau
{
  public:
    explicit ServeurEssai(std::string leNom) : nom(std::move(leNom)) {}

    const std::string nom;
    ServiceEssai service;

    // What the kernel answers to an activation. To be set before.
    orix::OXstatut statut = orix::OXS_OK;
    orix_corba::NiveauReference version{3, 0, 0, 0, {}};
    int numeroClient = 7;
    bool sansReference = false;
    std::function<void()> avantReponse; ///< may throw, or wait

    // What the client gave at its last activation.
    std::vector<std::string> textesRecus; ///< service, ORB thread, machine
    orix_corba::SequenceNiveauReference niveauxRecus;
    orix_corba__Client_var client;

    orix_corba::OXcdv_v3_0_0_ServeurVersClient_var notifications() const
    {
        return orix_corba::OXcdv_v3_0_0_ServeurVersClient::_narrow(niveauxRecus[0].reference);
    }

    void activerService(const char* nomService, const orix_corba::SequenceNiveauReference& niveaux,
                        orix_corba__Client_ptr leClient, const char* nomORBthread, const char* nomMachineHote,
                        CORBA::Long& leStatut, CORBA::String_out serveur, CORBA::String_out machine,
                        orix_corba::NiveauReference_out niveau, CORBA::Long& numero) override
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            textesRecus = {nomService, nomORBthread, nomMachineHote};
            niveauxRecus = niveaux;
            client = orix_corba__Client::_duplicate(leClient);
        }
        if (avantReponse)
            avantReponse();
        leStatut = statut;
        serveur = CORBA::string_dup(nom.c_str());
        machine = CORBA::string_dup("hote");
        auto* const rendu = new orix_corba::NiveauReference(version);
        niveau = rendu;
        if (!sansReference)
            rendu->reference = service.publier();
        numero = numeroClient;
    }

  private:
    std::mutex _mutex;
};

/// A process with its middleware running and the test's servers in it; the service "cdv" is routed to the
/// first `routes` of them, "seul" to the first, "absent" to a port where nobody listens, then to the second.
class AvecNoyau : public testing::Test
{
  protected:
    ServeurEssai premier{"premier"};
    ServeurEssai deuxieme{"deuxieme"};
    orix::Configuration reglages; ///< may be changed by the constructor of a test
    Callbacks& callbacks = Callbacks::instance();

    AvecNoyau()
    {
        const std::string hote = "127.0.0.1:" + std::to_string(portReserve());
        const std::string base = "corbaloc:iiop:" + hote + "/";
        const std::string personne = "corbaloc:iiop:127.0.0.1:" + std::to_string(portReserve()) + "/premier";
        reglages[orix::cle::pointsAcces] = {hote};
        reglages[orix::cle::nomMachineHote] = "machine";
        reglages[orix::cle::periodePing] = std::chrono::hours(1);
        reglages[orix::cle::niveauTrace] = orix::NTO_NOTABLE;
        reglages[orix::cle::routage] = {{"cdv", {base + "premier", base + "deuxieme"}},
                                        {"seul", {base + "premier"}},
                                        {"absent", {personne, base + "deuxieme"}}};
    }

    void SetUp() override
    {
        callbacks.oublier();
        demarrer();
    }
    void TearDown() override
    {
        orix::detruireOXcdvCliItfAdaptateur();
        orix::terminer();
        callbacks.pendant = {};
    }

    void demarrer()
    {
        ASSERT_EQ("", essais::demarrer(reglages));
        const CORBA::ORB_ptr orb = orix::oxNoyau()->lirePointAcces()->lireORB();
        orix::orb::publierSousCle(orb, "premier", &premier);
        orix::orb::publierSousCle(orb, "deuxieme", &deuxieme);
    }

    /// Waits for the end of the delivery whose callback has already run.
    void attendreLivraison()
    {
        orix::Noyau& noyau = *orix::oxNoyau();
        noyau.supprimerParametres(noyau.enregistrerParametres(
            new orix::ParametresActivationService(orix::oxcdvCliItfAdaptateur())));
    }

    /// Where requests go, or would.
    ServeurEssai& serveurCourant()
    {
        const bool estPremier =
            orix::oxcdvCliItfAdaptateur()->lireServeurCourant() == orix::OXroutage::PremierServeur;
        return estPremier ? premier : deuxieme;
    }
    /// The adapter, active on the current server.
    orix::OXcdvCliItfAdaptateur& activer(const std::string& service = "cdv")
    {
        orix::OXcdvCliItfAdaptateur& adaptateur = *orix::oxcdvCliItfAdaptateur();
        EXPECT_EQ(orix::OXS_OK, adaptateur.active(service));
        EXPECT_EQ(orix::OXS_OK, callbacks.attendre("activeCB").statut);
        attendreLivraison();
        EXPECT_TRUE(adaptateur.estActive());
        return adaptateur;
    }
};

} // namespace essais

#endif
