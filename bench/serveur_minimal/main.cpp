// The least that a client of the cdv service can talk to: a kernel front that accepts everybody, and a
// service that drops each record or sends it back. It reads and writes records as cdv-serveur does; with a
// variant that begins with "orb", the ORB's way, for the clients that do.
#include "../mesure.h"

#include "EnvoiSansReponse.h"
#include "Fiche.h"
#include "LiaisonORB.h"
#include "OXcdvClientVersServeurS.h"
#include "OXcdvServeurVersClientS.h"
#include "RequeteLue.h"
#include "ServantGarde.h"

#include <cstring>
#include <optional>
#include <stdexcept>

namespace {

using Client = orix_corba::OXcdv_v3_0_0_ServeurVersClient;

class Service : public orix::orb::ServantGarde<POA_orix_corba::OXcdv_v3_0_0_ClientVersServeur>
{
  public:
    Service(const bench::Options& options, bench::Reception& reception)
        : _options(options), _reception(reception)
    {}

    /// The client that is called back from now on.
    void adopter(CORBA::Object_ptr client) { _client = Client::_unchecked_narrow(client); }

    void cree_vol_complet(const OXvol_completData_v3_0_0& vol, CORBA::Long nIdOp, CORBA::Long) override
    {
        traiter(&orix_corba::_objref_OXcdv_v3_0_0_ServeurVersClient::sendc_cree_vol_complet,
                "cree_vol_complet", vol, nIdOp);
    }
    void modifie_vol_complet(const OXvol_completData_v3_0_0& vol, CORBA::Long nIdOp, CORBA::Long) override
    {
        traiter(&orix_corba::_objref_OXcdv_v3_0_0_ServeurVersClient::sendc_modifie_vol_complet,
                "modifie_vol_complet", vol, nIdOp);
    }
    void consulte_vol_complet(const OXvol_completData_v3_0_0& vol, CORBA::Long nIdOp, CORBA::Long) override
    {
        traiter(&orix_corba::_objref_OXcdv_v3_0_0_ServeurVersClient::sendc_consulte_vol_complet,
                "consulte_vol_complet", vol, nIdOp);
    }
    // Not part of any measure.
    void supprime_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
    void liste_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}

    void testerConnexionClient(const char*, const char*, const char*, CORBA::Long) override {}
    void testerConnexionServeur(CORBA::Long) override {}
    void desactiveCB(CORBA::Long) override {}
    void deconnexionCB(CORBA::Long) override {}

  protected:
    /// A creation, the one request of the measures, is read without the ORB's objects.
    _CORBA_Boolean _servir(omniCallHandle& appel) override
    {
        if (_options.variante.rfind("orb", 0) == 0 || std::strcmp(appel.operation_name(), CREATION) != 0)
            return ServantGarde::_servir(appel);
        Creation recue;
        orix::orb::servirLue(*this, appel, recue, [&] {
            _reception.recevoir();
            if (_options.rappel)
                orix::orb::envoyerSansReponse(_client.in(), CREATION, FAIT, *recue.vol, recue.idOp);
        });
        return true;
    }

  private:
    static constexpr char CREATION[] = "cree_vol_complet";
    static constexpr CORBA::Long FAIT = 0;

    struct Creation
    {
        std::optional<serveur::Fiche> vol;
        CORBA::Long idOp = 0;

        void lire(orix::orb::LecteurRequete& lecteur)
        {
            if (lecteur.estSurPlace()) {
                vol.emplace(serveur::TextesVol(lecteur));
            } else {
                serveur::Vol lu;
                lecteur.parLORB(lu);
                vol.emplace(lu);
            }
            idOp = lecteur.entier();
            lecteur.entier();
        }
    };

    template <class Notification>
    void traiter(Notification notification, const char* nom, const OXvol_completData_v3_0_0& vol,
                 CORBA::Long nIdOp)
    {
        _reception.recevoir();
        if (_options.rappel)
            orix::orb::envoyer(_client.in(), notification, nom,
                               orix_corba::AMI_OXcdv_v3_0_0_ServeurVersClientHandler::_nil(), FAIT, vol,
                               nIdOp);
    }

    const bench::Options& _options;
    bench::Reception& _reception;
    orix_corba::OXcdv_v3_0_0_ServeurVersClient_var _client;
};

class Noyau : public POA_orix_corba::Noyau
{
  public:
    explicit Noyau(Service& service) : _service(service) {}

    void activerService(const char*, const orix_corba::SequenceNiveauReference& niveaux,
                        orix_corba__Client_ptr, const char*, const char*, CORBA::Long& statut,
                        CORBA::String_out serveur, CORBA::String_out machine,
                        orix_corba::NiveauReference_out niveau, CORBA::Long& numeroClient) override
    {
        _service.adopter(niveaux[0].reference);
        statut = 0;
        serveur = CORBA::string_dup("serveur_minimal");
        machine = CORBA::string_dup("localhost");
        niveau = new orix_corba::NiveauReference(niveaux[0]);
        niveau->reference = _service._this();
        numeroClient = 1;
    }

  private:
    Service& _service;
};

/// The ORB with both servants, up to the end of the program.
class Serveur
{
  public:
    Serveur(const bench::Options& options, bench::Reception& reception)
        : _service(new Service(options, reception)), _noyau(new Noyau(*_service))
    {
        orix::orb::ParametresORB parametres;
        parametres.pointsAcces = {"127.0.0.1:" + std::to_string(options.port)};
        int argc = 0;
        _orb = orix::orb::creerORB(argc, nullptr, parametres);
        const CORBA::Object_var racine = _orb->resolve_initial_references("RootPOA");
        const PortableServer::POA_var poa = PortableServer::POA::_narrow(racine);
        const PortableServer::ObjectId_var id = poa->activate_object(_service.in());
        const PortableServer::POAManager_var gestionnaire = poa->the_POAManager();
        gestionnaire->activate();
        orix::orb::publierSousCle(_orb, "Noyau", _noyau.in());
    }
    ~Serveur() { orix::orb::detruireORB(_orb); }

  private:
    PortableServer::Servant_var<Service> _service;
    PortableServer::Servant_var<Noyau> _noyau;
    CORBA::ORB_var _orb;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::serveur(argc, argv, [](const bench::Options& options, bench::Reception& reception) {
        return std::make_shared<Serveur>(options, reception);
    });
}
