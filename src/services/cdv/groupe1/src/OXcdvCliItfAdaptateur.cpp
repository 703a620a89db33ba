#include "OXcdvCliItfAdaptateur.h"

#include "EnvoiSansReponse.h"
#include "LiaisonORB.h"
#include "OXcdvCliCBfoncteur.h"
#include "OXnoyau.h"
#include "VueVolComplet.h"
#include "orix/Configuration.h"
#include "orix/OXchaine.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/GestionIdOp.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"
#include "orix/interne/SurveillantConnexions.h"
#include "orix/interne/TableInformationsConnexions.h"

#include <ace/Profile_Timer.h>

#include <stdexcept>

#define TRACER(niveau, fonction, texte) ORIX_TRACE(niveau, "OXcdvCliItfAdaptateur", fonction, texte)
#define TRACER_ENTREE() TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.")
#define TRACER_SORTIE() TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Sortie.")

namespace orix {

namespace {

constexpr const char* SERVICE = "cdv";

// Kept whole in the shared object, where it is looked for.
[[gnu::used]] const char MARQUE_VERSION[] = "@(#) 3.0.0.0 $LastChangedRevision: 808 $ ";

// A string, for verifierActivation(), made once: it is on the path of every request and of every ping.
const std::string NON_ACTIVE = "Opération non permise car le client n'est pas activé.";

/// A condition that should hold: reported, never enforced.
void verifier(bool condition, const char* texte, const char* fonction)
{
    if (!condition)
        TRACER(NTO_NOTABLE, fonction, "Non Validé (" << texte << ")");
}
#define VERIFIER(condition, fonction) verifier(condition, #condition, fonction)

OXversion versionDe(const orix_corba::NiveauReference& niveau)
{
    return OXversion(niveau.majeur, niveau.mineur, niveau.correctif, niveau.construction);
}

/// The result of the step, whose duration is traced.
template <class Etape>
auto chronometrer(const char* texte, Etape etape)
{
    ACE_Profile_Timer minuterie;
    minuterie.start();
    auto resultat = etape();
    minuterie.stop();
    ACE_Profile_Timer::ACE_Elapsed_Time duree;
    minuterie.elapsed_time(duree);
    TRACER(NTO_PROGRES, "active", texte << duree.real_time);
    return resultat;
}

/// Not to be inlined into a function that lets nothing out: what it throws ends the process there, on
/// purpose.
[[noreturn]] void lancer(OXstatut code) { throw Echec(code); }

/// Activates the object. Its id is taken over, not copied: no lack of memory leaves the object active under
/// an id that nobody knows.
void publier(orb::ServantAttendu& servant, PortableServer::POA_ptr poa, PortableServer::ObjectId& id)
{
    PortableServer::ObjectId_var nouvel = poa->activate_object(&servant);
    const CORBA::ULong taille = nouvel->length();
    id.replace(taille, taille, nouvel->get_buffer(/*orphan*/ true), /*release*/ true);
}

/// Takes the object back from the object adapter, and waits until no request is inside any more; false when
/// one still is at the end of the time-out of the calls.
bool retirer(orb::ServantAttendu& servant, PortableServer::POA_ptr poa, PortableServer::ObjectId& id,
             const char* fonction)
{
    // Whoever delivers to the servant may be waiting for a place in the callback queue.
    const ExecuteurCB::AttenteLevee levee(objetCB());
    try {
        // A kernel that was stopped took its ORB, and the objects with it.
        if (id.length() != 0 && oxNoyau()->lireEtat() == NOYAU_INITIALISE)
            poa->deactivate_object(id);
    } catch (...) {
        TRACER(NTO_NOTABLE, fonction, "Exception non prévue.");
    }
    id.length(0);
    return servant.attendreRetrait(configuration()->delaiAppel);
}

void posterActiveCB(OXstatut statut, const char* serveur, const char* machine)
{
    std::unique_ptr<char[]> copieServeur(OXdupliqueChaine(serveur));
    std::unique_ptr<char[]> copieMachine(OXdupliqueChaine(machine));
    objetCB()->posterExecutable(
        1, SERVICE, creerOXcdvCliCB_active(statut, copieServeur.release(), copieMachine.release()));
}

} // namespace

OXcdvCliItfAdaptateur* oxcdvCliItfAdaptateur() { return Singleton<OXcdvCliItfAdaptateur>::lireInstance(); }

OXcdvCliItfAdaptateur::OXcdvCliItfAdaptateur() : _marqueVersion(MARQUE_VERSION)
{
    try {
        TRACER_ENTREE();
        using Arc = Arc_base<EtatAdaptateur, TransitionsAdaptateur>;
        _automate.ajouterArc(Arc(Desactive, DemandeActivation, activer));
        _automate.ajouterArc(Arc(DemandeActivation, Desactive, echec_activation));
        _automate.ajouterArc(Arc(DemandeActivation, Active_v3_0_0, activation_v3_0_0));
        _automate.ajouterArc(Arc(Active_v3_0_0, Desactive, desactivation));
        _automate.ajouterArc(Arc(Active_v3_0_0, Desactive, deconnexion));

        _niveaux.length(1);
        _niveaux[0].majeur = _version.lireMajeur();
        _niveaux[0].mineur = _version.lireMineur();
        _niveaux[0].correctif = _version.lireCorrectif();
        _niveaux[0].construction = _version.lireConstruction();
        _creerPOA();
        _creerRepondeur();
        TRACER_SORTIE();
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "OXcdvCliItfAdaptateur", "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER(NTO_NOTABLE, "OXcdvCliItfAdaptateur", "Exception non prévue.");
    }
}

OXcdvCliItfAdaptateur::~OXcdvCliItfAdaptateur()
{
    // First of all, while every member is there for the calls that are still inside.
    try {
        oxNoyau()->oublierAdaptateur(this);
        _detruirePOA();
        if (!retirer(*this, _poaRacine, _idClient, "~OXcdvCliItfAdaptateur"))
            TRACER(NTO_NOTABLE, "~OXcdvCliItfAdaptateur", "Un appel du serveur n'est pas terminé.");
    } catch (...) {
        // Only a trace can have failed.
    }
}

void OXcdvCliItfAdaptateur::_creerPOA()
{
    TRACER_ENTREE();
    try {
        _detruirePOA();
        _poaRacine = PortableServer::POA::_duplicate(oxNoyau()->lirePointAcces()->lirePOA_Racine());
        _servant = std::make_unique<POA_OXcdv_v3_0_0_ServeurVersClientImplementation>();
        publier(*_servant, _poaRacine, _idServant);
        _niveaux[0].reference = _servant->_this();
        TRACER(NTO_PROGRES, "_creerPOA",
               "Type référence 0 = " << orix_corba::_tc_OXcdv_v3_0_0_ServeurVersClient->id());
    } catch (...) {
        TRACER(NTO_NOTABLE, "_creerPOA", "Exception non prévue.");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::_detruirePOA()
{
    if (!_servant)
        return;
    if (!retirer(*_servant, _poaRacine, _idServant, "_detruirePOA")) {
        // Lost on purpose: freeing it would pull it from under the call that is inside.
        _servant.release();
        TRACER(NTO_NOTABLE, "_detruirePOA",
               "Une notification n'est pas terminée : son servant est abandonné.");
    }
    _servant.reset();
    _niveaux[0].reference = CORBA::Object::_nil();
}

void OXcdvCliItfAdaptateur::_creerRepondeur()
{
    ORBthread* const pointAcces = oxNoyau()->lirePointAcces();
    _repondeur = new RepondeurNoyau(pointAcces->lireORB(), pointAcces->lirePOA_ORIX());
}

void OXcdvCliItfAdaptateur::_completer()
{
    const bool noyauRelance =
        !CORBA::is_nil(_poaRacine) && _poaRacine.in() != oxNoyau()->lirePointAcces()->lirePOA_Racine();
    if (noyauRelance) {
        _repondeur = nullptr;
        _idClient.length(0);
        // The connection went with the kernel that had it.
        switch (_automate.lireSommetCourant()) {
        case DemandeActivation:
            _automate.transition(echec_activation);
            break;
        case Active_v3_0_0:
            _automate.transition(deconnexion);
            break;
        case Desactive:
            break;
        }
    }
    if (noyauRelance || CORBA::is_nil(_niveaux[0].reference))
        _creerPOA();
    if (_repondeur.in() == nullptr)
        _creerRepondeur();
}

OXstatut OXcdvCliItfAdaptateur::active(const std::string& nomService)
{
    TRACER_ENTREE();
    TRACER(NTO_PROGRES, "active", "NomService = " << nomService);
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE) {
        TRACER(NTO_NOTABLE, "active", "Le service ne peut pas être activé : OXS_NOYAU_NON_INITIALISE");
        return OXS_NOYAU_NON_INITIALISE;
    }
    _completer();

    const EtatAdaptateur sommetCourant = _automate.lireSommetCourant();
    switch (sommetCourant) {
    case Active_v3_0_0:
        TRACER(NTO_NOTABLE, "active", "Service déjà activé.");
        return OXS_SERVICE_DEJA_ACTIVE;
    case DemandeActivation:
        TRACER(NTO_NOTABLE, "active", "Impossible d'activer le service : activation en cours");
        return OXS_ACTIVATION_EN_COURS;
    case Desactive:
        break;
    default:
        TRACER(NTO_NOTABLE, "active", "L'adaptateur n'est pas dans l'état \"Desactive\"");
        VERIFIER(sommetCourant == Desactive, "active");
        return OXS_NOK;
    }

    OXstatut statut = OXS_OK;
    try {
        if (_nomService != nomService)
            _nomService = nomService;
        _demanderActivation();
    } catch (const ServeurInjoignable& e) {
        TRACER(NTO_REFUS, "active", "Le serveur " << e.url << " est injoignable");
        statut = OXS_CONNEXION_IMPOSSIBLE;
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "active", "Echec : code = " << codeEtTexte(e.lireCode()));
        statut = e.lireCode();
    } catch (const CORBA::Exception& e) {
        TRACER(NTO_NOTABLE, "active", "Exception CORBA : " << orb::information(e));
        statut = OXS_ERREUR_CORBA;
    } catch (...) {
        TRACER(NTO_NOTABLE, "active", "Exception non prévue");
        statut = OXS_NOK;
    }
    if (statut != OXS_OK)
        basculerServeur();
    TRACER_SORTIE();
    return statut;
}

void OXcdvCliItfAdaptateur::_demanderActivation()
{
    const std::string url = oxRoutage()->lireURLnoyau(_nomService, lireServeurCourant());
    TRACER(NTO_NOTABLE, "active", "url du server: " << url);
    ORBthread* const pointAcces = oxNoyau()->lirePointAcces();
    const CORBA::Object_var objet = chronometrer("temps ecoulé pour resoudre l'url: ", [&] {
        return CORBA::Object_var(orb::resoudre(pointAcces->lireORB(), url));
    });
    const orix_corba::Noyau_var noyau = chronometrer("temps ecoulé pour le narrow: ", [&] {
        return orix_corba::Noyau_var(orix_corba::Noyau::_unchecked_narrow(objet));
    });
    if (CORBA::is_nil(noyau)) {
        TRACER(NTO_REFUS, "active", "Le Serveur: " << url << " est injoignable");
        throw ServeurInjoignable(url);
    }
    TRACER(NTO_NOTABLE, "active", "Connecté au noyau du serveur " << url);

    OXnoyau::TransactionCreerReference<POA_orix_corba::AMI_NoyauHandler> transaction(_repondeur.in(), this);
    const orix_corba::AMI_NoyauHandler_var repondeur = transaction.prendreReference();
    _automate.transition(activer);
    VERIFIER(_automate.lireSommetCourant() == DemandeActivation, "active");

    _renouvelerReferences();
    publier(*this, _poaRacine, _idClient);
    const orix_corba__Client_var client = _this();
    oxNoyau()->activerClient(SERVICE, this);
    noyau->sendc_activerService(repondeur, SERVICE, _niveaux, client, pointAcces->lireNom().c_str(),
                                configuration()->lireNomMachineHote().c_str());
    TRACER(NTO_PROGRES, "active", "Demande d'activation en cours");
    transaction.valider();
}

void OXcdvCliItfAdaptateur::_renouvelerReferences()
{
    // A servant takes a new id only when no request to the former one is inside any more.
    retirer(*this, _poaRacine, _idClient, "active"); // _this() gives the next one
    if (!_servant)
        return;
    _niveaux[0].reference = CORBA::Object::_nil(); // what fails from here on is made again by _completer()
    retirer(*_servant, _poaRacine, _idServant, "active");
    publier(*_servant, _poaRacine, _idServant);
    _niveaux[0].reference = _servant->_this();
}

void OXcdvCliItfAdaptateur::activeCB(int statut, const char* serveur, const char* machine,
                                     const orix_corba::NiveauReference& niveau, int numeroClient)
{
    TRACER_ENTREE();
    try {
        if (_automate.lireSommetCourant() != DemandeActivation) {
            TRACER(NTO_REFUS, "activeCB",
                   "Réception d'un activeCB alors que le client n'est pas dans l'état \"DemandeActivation\"");
            return;
        }
        const OXstatut statutTraduit = static_cast<OXstatut>(statut);
        TRACER(NTO_PROGRES, "activeCB", "activeCB pour cdv, statut = " << codeEtTexte(statut));
        if (statutTraduit != OXS_OK) {
            _automate.transition(echec_activation);
            oxNoyau()->desactiverClient(SERVICE);
            basculerServeur();
        } else {
            _numeroClient = numeroClient;
            const OXversion version = versionDe(niveau);
            if (version != _version) {
                TRACER(NTO_REFUS, "activeCB",
                       "Problème lors de l'enregistrement.serveur:" << serveur << " version" << version);
                return;
            }
            std::atomic_store(&_proxy, std::shared_ptr<Proxy>());
            using Serveur = orix_corba::OXcdv_v3_0_0_ClientVersServeur;
            const orix_corba::OXcdv_v3_0_0_ClientVersServeur_var proxy = Serveur::_narrow(niveau.reference);
            if (!CORBA::is_nil(proxy))
                std::atomic_store(&_proxy, std::shared_ptr<Proxy>(Serveur::_duplicate(proxy),
                                                                  [](Proxy* p) { CORBA::release(p); }));
            _automate.transition(activation_v3_0_0);
            oxNoyau()->lireTableConnexions()->ajouterConnexion(_nomService, serveur, machine, proxy);
            oxSurveillantConnexions()->ajouterSurveillanceServeur(_nomService, proxy, this);
            TRACER(NTO_NOTABLE, "activeCB",
                   "Connexion enregistrée pour cdv avec serveur "
                       << serveur << " sur " << machine << ", numéro client " << numeroClient << ", version "
                       << version);
        }
        TRACER(NTO_PROGRES, "activeCB", "Notification de l'activeCB à l'application.");
        posterActiveCB(statutTraduit, serveur, machine);
        // clang-format off: the condition is traced as it stands here.
        verifier(((statutTraduit == OXS_OK) && (_automate.lireSommetCourant() == Active_v3_0_0)) ||
                     ((statutTraduit != OXS_OK) && (_automate.lireSommetCourant() == Desactive)),
                 "( ( statutTraduit == OXS_OK ) && ( _automate.lireSommetCourant() == Active_v3_0_0 ) ) || "
                 "( ( statutTraduit != OXS_OK ) && ( _automate.lireSommetCourant() == Desactive ) )",
                 "activeCB");
        // clang-format on
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "activeCB", "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (const std::bad_alloc&) {
        _renoncer();
        TRACER(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    } catch (const CORBA::NO_MEMORY&) {
        _renoncer();
        TRACER(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    } catch (...) {
        TRACER(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::_renoncer() noexcept
{
    try {
        const EtatAdaptateur avant = lireEtat();
        if (avant == Active_v3_0_0) {
            nettoyerConnexion();
            notifierAutomateDeconnexionCB();
        }
        if (avant != Desactive)
            basculerServeur(); // out of DemandeActivation too
        oxNoyau()->desactiverClient(SERVICE);
        posterActiveCB(OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE, "", "");
    } catch (...) {
        // No memory for this either: the status of the next call will tell.
    }
}

void OXcdvCliItfAdaptateur::notifierEchecActivation(OXstatut statut)
{
    TRACER_ENTREE();
    activeCB(statut, "", "", orix_corba::NiveauReference(), 0);
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::basculerServeur()
{
    TRACER_ENTREE();
    try {
        if (_automate.lireSommetCourant() == DemandeActivation)
            _automate.transition(echec_activation);
        VERIFIER(_automate.lireSommetCourant() == Desactive, "basculerServeur");
        if (oxRoutage()->lireNombreServeurs(_nomService) == 2) {
            _serveurCourant ^= OXroutage::PremierServeur ^ OXroutage::DeuxiemeServeur;
            TRACER(NTO_PROGRES, "basculerServeur", "Basculement de serveur effectué correctement");
        } else
            TRACER(NTO_PROGRES, "basculerServeur", "Pas de possibilité de basculement sur un autre serveur");
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "basculerServeur", "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER(NTO_NOTABLE, "basculerServeur", "Exception non prévue.");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::testerConnexionClient(const char*, const char*, const char*, int numeroClient)
{
    try {
        verifierActivation(NON_ACTIVE);
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "testerConnexionClient", "Exception Echec, code = " << codeEtTexte(e.lireCode()));
        throw orix_corba::ServeurDeconnecte();
    }
    if (numeroClient != _numeroClient.load()) {
        TRACER(NTO_REFUS, "testerConnexionClient", "Client " << numeroClient << "non trouvé.");
        throw orix_corba::ServeurDeconnecte();
    }
}

void OXcdvCliItfAdaptateur::testerConnexionServeur(int)
{
    TRACER(NTO_REFUS, "testerConnexionServeur", "Ne doit pas être appelé");
}

OXstatut OXcdvCliItfAdaptateur::desactive()
{
    TRACER_ENTREE();
    try {
        if (oxNoyau()->lireEtat() != NOYAU_INITIALISE) {
            TRACER(NTO_NOTABLE, "desactive",
                   "Le service ne peut pas être desactivé : OXS_NOYAU_NON_INITIALISE");
            return OXS_NOYAU_NON_INITIALISE;
        }
        verifierActivation("Le service cdv n'est pas activé.");
        TRACER(NTO_NOTABLE, "desactive", "Déconnexion volontaire du service cdv.");
        const InformationsServeur connexion = oxNoyau()->lireTableConnexions()->lireInformation(_nomService);
        const orix_corba::Serveur_var serveur = orix_corba::Serveur::_narrow(connexion.lireReferencePOA());
        if (CORBA::is_nil(serveur)) {
            TRACER(NTO_REFUS, "desactive", "La référence n'est pas du type Serveur.");
            return OXS_NOK;
        }
        nettoyerConnexion();
        using ProxyServeur = std::remove_pointer_t<orix_corba::Serveur_ptr>;
        orb::envoyer(serveur.in(), &ProxyServeur::sendc_desactiveCB, "desactiveCB",
                     orix_corba::AMI_ServeurHandler::_nil(), CORBA::Long(_numeroClient.load()));
        notifierAutomateDeconnexionCB();
        oxNoyau()->desactiverClient(SERVICE);
    } catch (const Echec& e) {
        TRACER(NTO_NOTABLE, "desactive",
               "Exception Echec sur demande de désactivation, code = " << codeEtTexte(e.lireCode()));
        return e.lireCode();
    } catch (...) {
        TRACER(NTO_NOTABLE, "desactive", "Service deja desactive.");
        return OXS_SERVICE_DEJA_DESACTIVE;
    }
    TRACER_SORTIE();
    return OXS_OK;
}

void OXcdvCliItfAdaptateur::deconnexionCB(int raison) noexcept
{
    TRACER_ENTREE();
    try {
        verifierActivation("Réception d'un \"deconnexionCB\" sans être activé.");
        nettoyerConnexion();
        notifierAutomateDeconnexionCB();
        VERIFIER(_automate.lireSommetCourant() == Desactive, "deconnexionCB");
        TRACER(NTO_NOTABLE, "deconnexionCB", "Desactivation du client cdv");
        oxNoyau()->desactiverClient(SERVICE);
        TRACER(NTO_NOTABLE, "deconnexionCB", "Déconnexion du service cdv");
        notifierDeconnexionCB(raison);
    } catch (const CORBA::SystemException& e) {
        TRACER(NTO_NOTABLE, "deconnexionCB", "Exception CORBA : " << orb::information(e));
        lancer(OXS_ERREUR_CORBA);
    } catch (const Echec& e) {
        TRACER(NTO_REFUS, "deconnexionCB", "Code exception = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER(NTO_REFUS, "deconnexionCB", "L'etat du noyau ne permet pas de traiter la deconnexion");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::notifierDeconnexionCB(int statut)
{
    TRACER_ENTREE();
    if (statut != OXS_SERVICE_NON_ACTIVE) {
        TRACER(NTO_NOTABLE, "notifierDeconnexionCB", "Déconnexion anormale du service cdv");
        basculerServeur();
        try {
            oxNoyau()->lireTableConnexions()->supprimerConnexion(_nomService);
            oxSurveillantConnexions()->supprimerSurveillanceServeur(_nomService);
            oxNoyau()->desactiverClient(SERVICE);
        } catch (const Echec&) {
            TRACER(NTO_REFUS, "notifierDeconnexionCB",
                   "Impossible de supprimer la connexion du service " << _nomService << ".");
        }
    }
    objetCB()->posterExecutable(1, SERVICE, creerOXcdvCliCB_deconnexion(static_cast<OXstatut>(statut)));
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::notifierAutomateDeconnexionCB()
{
    TRACER_ENTREE();
    _automate.transition(desactivation);
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::nettoyerConnexion()
{
    TRACER_ENTREE();
    try {
        verifierActivation("Notification de déconnexion sans que le client soit activé.");
        oxNoyau()->lireTableConnexions()->supprimerConnexion(_nomService);
        oxSurveillantConnexions()->supprimerSurveillanceServeur(_nomService);
    } catch (const Echec&) {
        TRACER(NTO_REFUS, "nettoyerConnexion",
               "Impossible de supprimer la connexion du service " << _nomService << ".");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::detruire()
{
    TRACER_ENTREE();
    desactive();
    Singleton<OXcdvCliItfAdaptateur>::detruire();
    // This object is gone.
    TRACER_SORTIE();
}

OXstatut OXcdvCliItfAdaptateur::cree_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "cree_vol_complet", &Proxy::sendc_cree_vol_complet, vol, idOp);
}
OXstatut OXcdvCliItfAdaptateur::modifie_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "modifie_vol_complet", &Proxy::sendc_modifie_vol_complet, vol, idOp);
}
OXstatut OXcdvCliItfAdaptateur::supprime_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "supprime_vol_complet", &Proxy::sendc_supprime_vol_complet, vol,
                    idOp);
}
OXstatut OXcdvCliItfAdaptateur::consulte_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "consulte_vol_complet", &Proxy::sendc_consulte_vol_complet, vol,
                    idOp);
}
OXstatut OXcdvCliItfAdaptateur::liste_vol_complet(OXvol_completData* vol, int& idOp)
{
    return _envoyer(__PRETTY_FUNCTION__, "liste_vol_complet", &Proxy::sendc_liste_vol_complet, vol, idOp);
}

OXstatut OXcdvCliItfAdaptateur::_envoyer(const char* signature, const char* nom, EnvoiRequete sendc,
                                         OXvol_completData* vol, int& idOp)
{
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE)
        return OXS_NOYAU_NON_INITIALISE;
    TRACER(NTO_PROGRES, signature, "Entrée.");
    verifierActivation(NON_ACTIVE);
    idOp = Singleton<GestionIdOp>::lireInstance()->obtenirIdOp();
    const std::shared_ptr<Proxy> proxy = std::atomic_load(&_proxy);
    if (!proxy) {
        TRACER(NTO_NOTABLE, nom, "Sortie en erreur, proxy non initialise");
        return OXS_NOK;
    }
    TRACER(NTO_NOTABLE, nom, "Envoi d'un message " << nom << " en version v3_0_0.");
    if (vol == nullptr)
        throw std::invalid_argument(nom);
    // Once: where the ORB makes its nil objects it does not order their making before their use elsewhere.
    static const auto sansRepondeur = orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_nil();
    orb::envoyer(proxy.get(), sendc, nom, sansRepondeur, VueVolComplet(*vol).lire(), CORBA::Long(idOp),
                 CORBA::Long(_numeroClient.load()));
    TRACER(NTO_PROGRES, signature, "Sortie.");
    return OXS_OK;
}

void OXcdvCliItfAdaptateur::verifierActivation(const std::string& message) const
{
    TRACER_ENTREE();
    if (!estActive()) {
        TRACER(NTO_REFUS, "verifierActivation", message);
        throw Echec(OXS_SERVICE_NON_ACTIVE);
    }
    TRACER_SORTIE();
}

OXversion OXcdvCliItfAdaptateur::lireVersion() const
{
    TRACER_ENTREE();
    if (!estActive()) {
        TRACER(NTO_NOTABLE, "lireVersion", "Sortie OXS_SERVICE_NON_ACTIVE");
        throw Echec(OXS_SERVICE_NON_ACTIVE);
    }
    TRACER(NTO_PROGRES, "lireVersion", "Version = " << _version);
    TRACER_SORTIE();
    return _version;
}

std::vector<OXversion> OXcdvCliItfAdaptateur::lireVersionsConnues() const
{
    TRACER_ENTREE();
    const std::vector<OXversion> versions{_version};
    if (versions.size() == 2)
        TRACER(NTO_PROGRES, "lireVersionsConnues", "Version(s) " << versions[0] << " et " << versions[1]);
    else
        TRACER(NTO_PROGRES, "lireVersionsConnues", "Version(s) " << versions[0]);
    TRACER_SORTIE();
    return versions;
}

} // namespace orix
