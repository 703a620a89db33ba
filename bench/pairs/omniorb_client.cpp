// The ORB alone, with the settings of the library: no record class, no automaton, no traces, no executor.
// What anything on top of it adds is measured against this; with the variant "orb-groupe" the
// requests leave together until it waits.
#include "../mesure.h"
#include "VolCorba.h"

#include "EnvoiSansReponse.h"
#include "LiaisonORB.h"
#include "OXcdvClientVersServeurS.h"
#include "OXcdvServeurVersClientS.h"

namespace {

class Notifications : public POA_orix_corba::OXcdv_v3_0_0_ServeurVersClient
{
  public:
    explicit Notifications(bench::EnVol& enVol) : _enVol(enVol) {}

    void cree_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override
    {
        _enVol.revenir();
    }
    // Never asked for here.
    void modifie_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void supprime_vol_complet(CORBA::Long, CORBA::Long) override {}
    void consulte_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void liste_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void fin_liste_vol_complet(CORBA::Long, CORBA::Long) override {}

  private:
    bench::EnVol& _enVol;
};

class EnvoyeurOmniORB : public bench::Envoyeur
{
  public:
    EnvoyeurOmniORB(const bench::Options& options, bench::EnVol& enVol)
        : _construire(options.construire),
          _contenu(options.champs, options.longueur),
          _prete(bench::structure(_contenu)),
          _notifications(new Notifications(enVol))
    {
        orix::orb::ParametresORB parametres;
        parametres.pointsAcces = {"127.0.0.1:0"};
        _grouper = options.variante == "orb-groupe";
        int argc = 0;
        _orb = orix::orb::creerORB(argc, nullptr, parametres);
        const CORBA::Object_var racine = _orb->resolve_initial_references("RootPOA");
        const PortableServer::POA_var poa = PortableServer::POA::_narrow(racine);
        const PortableServer::ObjectId_var id = poa->activate_object(_notifications.in());
        const PortableServer::POAManager_var gestionnaire = poa->the_POAManager();
        gestionnaire->activate();

        const CORBA::Object_var objet =
            orix::orb::resoudre(_orb, "corbaloc:iiop:127.0.0.1:" + std::to_string(options.port) + "/Noyau",
                                parametres.delaiAppel);
        if (CORBA::is_nil(objet))
            throw std::runtime_error("nobody answers on that port");
        const orix_corba::Noyau_var noyau = orix_corba::Noyau::_unchecked_narrow(objet);
        orix_corba::SequenceNiveauReference niveaux;
        niveaux.length(1);
        niveaux[0].majeur = 3;
        niveaux[0].reference = _notifications->_this();
        CORBA::Long statut = 0, numeroClient = 0;
        CORBA::String_var serveur, machine;
        orix_corba::NiveauReference_var niveau;
        noyau->activerService("cdv", niveaux, orix_corba__Client::_nil(), "bench", "localhost", statut,
                              serveur, machine, niveau, numeroClient);
        _service = orix_corba::OXcdv_v3_0_0_ClientVersServeur::_unchecked_narrow(niveau->reference);
    }
    ~EnvoyeurOmniORB() override { orix::orb::detruireORB(_orb); }

    void envoyer(int numero, bool dernier) override
    {
        thread_local bool groupe = false;
        if (_grouper && !std::exchange(groupe, true))
            orix::orb::ouvrirGroupe();
        if (_construire)
            envoyer(bench::structure(_contenu), numero);
        else
            envoyer(_prete, numero);
        if (dernier && std::exchange(groupe, false))
            orix::orb::fermerGroupe();
    }
    void avantAttente() override { orix::orb::envoyerGroupe(); }

  private:
    void envoyer(const OXvol_completData_v3_0_0& vol, CORBA::Long numero)
    {
        constexpr CORBA::Long CLIENT = 1;
        orix::orb::envoyer(_service.in(),
                           &orix_corba::_objref_OXcdv_v3_0_0_ClientVersServeur::sendc_cree_vol_complet,
                           "cree_vol_complet", orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_nil(),
                           vol, numero, CLIENT);
    }

    bool _construire;
    bool _grouper = false;
    bench::Contenu _contenu;
    OXvol_completData_v3_0_0 _prete;
    PortableServer::Servant_var<Notifications> _notifications;
    CORBA::ORB_var _orb;
    orix_corba::OXcdv_v3_0_0_ClientVersServeur_var _service;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::client(argc, argv, [](const bench::Options& options, bench::EnVol& enVol) {
        return std::make_unique<EnvoyeurOmniORB>(options, enVol);
    });
}
