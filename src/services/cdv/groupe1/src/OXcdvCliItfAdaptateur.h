#ifndef OXCDVCLIITFADAPTATEUR_H
#define OXCDVCLIITFADAPTATEUR_H

#include "Automate.h"
#include "OXcdvCliAppelPrepare.h"
#include "OXcdvClientVersServeurC.h"
#include "OXcdvServeurVersClientImplementation.h"
#include "ServantAttendu.h"
#include "Singleton.h"
#include "orix/OXversion.h"
#include "orix/interne/Echec.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/IAdaptateurClient.h"
#include "orix/interne/Interlocuteurs.h"
#include "orix/interne/OXroutage.h"
#include "orix/interne/RepondeurNoyau.h"
#include "orix_baseS.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

class OXvol_completData;

namespace orix {

/// Owner of the connection to the cdv server; one in the process. It is at once what the facade calls
/// (application threads), what the kernel drives (its own threads) and the servant that the server pings (ORB
/// threads).
///
/// One line of events. Whatever decides about the connection (active(), its answer or failure, desactive(),
/// the server's notice, a loss) does so inside a Livraison of this adapter, hence after one such event and
/// before the next. What changes together changes inside one Livraison: vertex, connection record,
/// supervision, registration with the kernel, server index, client number, proxy, posted callback. Remote
/// calls, and the wait for the requests that are inside the servants, stay outside: those may be waiting for
/// the line themselves. Who comes back into it compares _serie, since the connection that it left may have
/// ended and another one begun. Requests, notifications and pings are no events: they read atomics.
///
/// An end takes no memory: what it needs is made by active(), or that one is refused.
class OXcdvCliItfAdaptateur : public virtual orb::ServantAttendu,
                              public IAdaptateurClient,
                              public Singleton<OXcdvCliItfAdaptateur>,
                              public orb::ServantGarde<POA_orix_corba__Client, &Interlocuteurs::exigerServeur>
{
  public:
    enum EtatAdaptateur : int
    {
        Desactive = 0,
        DemandeActivation = 1, ///< the kernel was asked, activeCB will tell
        Active_v3_0_0 = 2
    };
    enum TransitionsAdaptateur : int
    {
        activer = 0,
        activation_v3_0_0 = 1,
        activation_ = 2, ///< of no arc
        echec_activation = 3,
        desactivation = 4,
        deconnexion = 5
    };

    /// The kernel at that URL does not answer.
    class ServeurInjoignable
    {
      public:
        explicit ServeurInjoignable(const std::string& url) : url(url) {}
        std::string url;
    };

    /// Never throws: what could not be made (traced) is made again by active().
    OXcdvCliItfAdaptateur();
    /// Takes the servants back from the ORB, and waits for the requests inside. Tells the server nothing: see
    /// detruire().
    ~OXcdvCliItfAdaptateur() override;

    // What the kernel drives (IAdaptateurClient).
    void notifierDeconnexionCB(int statut) override;
    /// The server's notice, on the ORB's threads. Ignored when the connection that it came on is over.
    void deconnexionCB(int raison) noexcept override;
    void notifierAutomateDeconnexionCB() override;
    void notifierEchecActivation(OXstatut statut) override;
    int lireNumeroClient() override { return _numeroClient.load(); }
    OXstatut active(const std::string& nomService) override; ///< throws std::bad_alloc
    OXstatut desactive() override;

    // What the server calls (orix_corba__Client).
    void testerConnexionClient(const char* nomService, const char* nomServeur, const char* nomMachine,
                               int numeroClient) override;
    void testerConnexionServeur(int numeroClient) override;

    void activeCB(int statut, const char* serveur, const char* machine,
                  const orix_corba::NiveauReference& niveau, int numeroClient) override;

    // The requests. They throw Echec, CORBA exceptions, std::bad_alloc.
    OXstatut cree_vol_complet(OXvol_completData* vol, int& idOp);
    OXstatut modifie_vol_complet(OXvol_completData* vol, int& idOp);
    OXstatut supprime_vol_complet(OXvol_completData* vol, int& idOp);
    OXstatut consulte_vol_complet(OXvol_completData* vol, int& idOp);
    OXstatut liste_vol_complet(OXvol_completData* vol, int& idOp);

    /// Traces the message and throws Echec(OXS_SERVICE_NON_ACTIVE) unless active.
    void verifierActivation(const std::string& message) const;
    bool estActive() const { return _automate.lireSommetCourant() == Active_v3_0_0; }
    OXversion lireVersion() const; ///< throws Echec(OXS_SERVICE_NON_ACTIVE)
    std::vector<OXversion> lireVersionsConnues() const;

    EtatAdaptateur lireEtat() const { return _automate.lireSommetCourant(); }
    OXroutage::IdServeur lireServeurCourant() const
    {
        return static_cast<OXroutage::IdServeur>(_serveurCourant.load());
    }

    /// Points at the service's other server, when it has two. Throws nothing.
    void basculerServeur();
    /// Ends the connection record and the supervision of an active client.
    void nettoyerConnexion();

    /// Deactivates, then deletes this adapter.
    void detruire();

  private:
    using Proxy = std::remove_pointer_t<orix_corba::OXcdv_v3_0_0_ClientVersServeur_ptr>;
    using EnvoiRequete = void (Proxy::*)(orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler_ptr,
                                         const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long);
    /// What a request goes to: the two belong together.
    struct Correspondant
    {
        orix_corba::OXcdv_v3_0_0_ClientVersServeur_var proxy; // nil: the server gave no usable reference
        int numeroClient;
    };
    struct Demande;
    /// A connection that desactive() leaves.
    struct Depart
    {
        unsigned long serie;
        orix_corba::Serveur_var serveur;
        int numeroClient;
    };

    OXstatut _envoyer(const char* signature, const char* nom, EnvoiRequete sendc, OXvol_completData* vol,
                      int& idOp);

    // The steps of active().
    OXstatut _commencer(const std::string& nomService); ///< in the line; OXS_OK: this thread prepares an
                                                        ///< activation, and no other
    void _preparerFin();                                ///< in the line
    void _demanderActivation(Demande& demande);
    void _inscrire(Demande& demande); ///< in the line
    OXstatut _annuler(Demande& demande, OXstatut statut);

    /// In the line. False when the server speaks another version.
    bool _connecter(const char* serveur, const char* machine, const orix_corba::NiveauReference& niveau,
                    int numeroClient);
    void _posterActiveCB(OXstatut statut, const char* serveur, const char* machine);
    /// In the line. False, and nothing done, when the server's reference is not that of a Serveur.
    bool _quitter(Depart& depart);
    /// What an answer that stops half-way for want of memory must not leave: an adapter that is connected by
    /// half, and an application that waits for its activeCB.
    void _renoncer() noexcept;

    // What the adapter is made of: outside the line, since some of it waits for requests.
    void _construire(); ///< what needs no kernel
    bool _estDuNoyauCourant() const;
    void _creerPOA();
    void _detruirePOA();
    void _creerRepondeur();
    /// Makes what is missing: all of it after a construction without kernel or after the kernel was started
    /// again.
    void _completer();
    void _retirerServants(); ///< what the server of an earlier activation still sends finds nobody
    void _retirerServant();
    orix_corba__Client_ptr _publierServants(); ///< the reference of this one

    // In the order of their construction.
    std::string _reserve1; // reserved, as the next
    std::string _reserve2;
    std::string _marqueVersion; // identifies the build of the library
    Automate<EtatAdaptateur, TransitionsAdaptateur> _automate{Desactive};
    std::atomic<int> _serveurCourant{
        OXroutage::PremierServeur}; // an IdServeur; written by basculerServeur() only
    const OXversion _version{3, 0, 0, 0};
    /// Null before the first connection. Read and replaced with std::atomic_load and std::atomic_store: a
    /// request that is being sent keeps the one it took.
    std::shared_ptr<const Correspondant> _correspondant;
    std::atomic<int> _numeroClient{0};
    std::unique_ptr<POA_OXcdv_v3_0_0_ServeurVersClientImplementation> _servant;
    PortableServer::ObjectId _idServant; // of _servant, in _poa; empty: none
    orix_corba::SequenceNiveauReference _niveaux;
    PortableServer::Servant_var<RepondeurNoyau> _repondeur;
    std::string _nomService; // written by active() only, in Desactive

    PortableServer::POA_var _poa;       // the one that has the servants; nil: none yet
    PortableServer::ObjectId _idClient; // of this servant, in _poa; set by active()

    std::atomic<unsigned long> _serie{0}; // of the activations that were asked for; written in the line
    // Used in the line only.
    bool _preparation = false; // in Desactive: a thread is preparing an activation
    bool _quittee = false;     // in Active: desactive() has cleaned this connection, and not concluded
    std::unique_ptr<OXcdvCliAppelPrepare> _activePreparee;
    std::unique_ptr<OXcdvCliAppelPrepare> _deconnexionPreparee;
    std::optional<ExecuteurCB::PlacesReservees> _places;
};

OXcdvCliItfAdaptateur* oxcdvCliItfAdaptateur();

} // namespace orix

#endif
