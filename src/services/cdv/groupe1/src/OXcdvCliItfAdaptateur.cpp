// The line of events: activation, disconnection, fail-over.
#include "OXcdvCliItfAdaptateur.h"

#include "AppelSortant.h"
#include "EnvoiSansReponse.h"
#include "LiaisonORB.h"
#include "OXcdvCliCBfoncteur.h"
#include "OXcdvCliItfAdaptateurTraces.h"
#include "OXnoyau.h"
#include "orix/Configuration.h"
#include "orix/OXchaine.h"
#include "orix/interne/ExecuteurCB.h"
#include "orix/interne/GestionIdOp.h"
#include "orix/interne/Livraison.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"
#include "orix/interne/SurveillantConnexions.h"
#include "orix/interne/TableInformationsConnexions.h"

#include <ace/Profile_Timer.h>

#include <new>

namespace orix {

namespace {

constexpr const char* SERVICE = "cdv";

// The messages of verifierActivation(), made once: an end has no memory for them.
const std::string PAS_ACTIVE = "Le service cdv n'est pas activé.";
const std::string DECONNEXION_INATTENDUE = "Réception d'un \"deconnexionCB\" sans être activé.";
const std::string RIEN_A_NETTOYER = "Notification de déconnexion sans que le client soit activé.";

/// Another event ended the connection that a deactivation had begun to leave.
class FinDUnAutre
{
};

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

/// Posts the call that creer makes, or, when there is no memory for it, the one that was prepared.
template <class Creer>
void poster(std::unique_ptr<OXcdvCliAppelPrepare>& prepare, OXstatut statut, Creer creer)
{
    IExecutable* appel = nullptr;
    try {
        appel = creer();
    } catch (const std::bad_alloc&) {
        if (!prepare)
            throw;
        prepare->ecrireStatut(statut);
        appel = prepare.release();
    }
    objetCB()->posterExecutable(1, SERVICE, appel);
}

} // namespace

/// One run of active(), from the moment when it is registered.
struct OXcdvCliItfAdaptateur::Demande
{
    unsigned long serie = 0; // 0: not registered yet
    std::optional<OXnoyau::TransactionCreerReference<POA_orix_corba::AMI_NoyauHandler>> transaction;
    orix_corba::SequenceNiveauReference niveaux;
    orix_corba__Client_var client;
};

OXstatut OXcdvCliItfAdaptateur::active(const std::string& nomService)
{
    TRACER(NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.");
    TRACER(NTO_PROGRES, "active", "NomService = " << nomService);
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE) {
        TRACER(NTO_NOTABLE, "active", "Le service ne peut pas être activé : OXS_NOYAU_NON_INITIALISE");
        return OXS_NOYAU_NON_INITIALISE;
    }
    OXstatut statut = _commencer(nomService);
    if (statut != OXS_OK)
        return statut;

    // Nothing leaves from here to _annuler(): this thread would go on preparing for ever.
    Demande demande;
    try {
        _demanderActivation(demande);
    } catch (const ServeurInjoignable& e) {
        TRACER_SANS_ECHEC(NTO_REFUS, "active", "Le serveur " << e.url << " est injoignable");
        statut = OXS_CONNEXION_IMPOSSIBLE;
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "active", "Echec : code = " << codeEtTexte(e.lireCode()));
        statut = e.lireCode();
    } catch (const std::bad_alloc&) {
        statut = OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
    } catch (const CORBA::NO_MEMORY&) {
        statut = OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
    } catch (const CORBA::Exception& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "active", "Exception CORBA : " << orb::information(e));
        statut = OXS_ERREUR_CORBA;
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "active", "Exception non prévue");
        statut = OXS_NOK;
    }
    if (statut != OXS_OK)
        statut = _annuler(demande, statut);
    TRACER_SORTIE();
    if (statut == OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE)
        throw std::bad_alloc(); // the facade says so
    return statut;
}

OXstatut OXcdvCliItfAdaptateur::_commencer(const std::string& nomService)
{
    const Livraison ligne(this);
    if (lireEtat() == Desactive && _preparation) {
        TRACER(NTO_NOTABLE, "active", "Impossible d'activer le service : activation en cours");
        return OXS_ACTIVATION_EN_COURS;
    }
    _construire();
    if (!_estDuNoyauCourant()) {
        // A kernel that ends tells its adapters; this one may have been busy too long.
        if (lireEtat() == DemandeActivation)
            _automate.transition(echec_activation);
        else if (lireEtat() == Active_v3_0_0)
            _automate.transition(deconnexion);
    }
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
    _nomService = nomService;
    _preparation = true;
    return OXS_OK;
}

void OXcdvCliItfAdaptateur::_demanderActivation(Demande& demande)
{
    _completer();
    // What an earlier server still says is over before the next one is chosen.
    _retirerServants();
    const orb::AppelSortant appel; // first: the references below end before the ORB
    const std::string url = oxRoutage()->lireURLnoyau(_nomService, lireServeurCourant());
    TRACER(NTO_NOTABLE, "active", "url du server: " << url);
    ORBthread* const pointAcces = oxNoyau()->lirePointAcces();
    const CORBA::Object_var objet = chronometrer("temps ecoulé pour resoudre l'url: ", [&] {
        return CORBA::Object_var(
            orb::resoudre(pointAcces->lireORB(), url, configuration()->lire(cle::delaiConnexion)));
    });
    const orix_corba::Noyau_var noyau = chronometrer("temps ecoulé pour le narrow: ", [&] {
        return orix_corba::Noyau_var(orix_corba::Noyau::_unchecked_narrow(objet));
    });
    if (CORBA::is_nil(noyau)) {
        TRACER(NTO_REFUS, "active", "Le Serveur: " << url << " est injoignable");
        throw ServeurInjoignable(url);
    }
    TRACER(NTO_NOTABLE, "active", "Connecté au noyau du serveur " << url);

    _inscrire(demande);
    const orix_corba::AMI_NoyauHandler_var repondeur = demande.transaction->prendreReference();
    noyau->sendc_activerService(repondeur, SERVICE, demande.niveaux, demande.client,
                                pointAcces->lireNom().c_str(), configuration()->lireNomMachineHote().c_str());
    TRACER(NTO_PROGRES, "active", "Demande d'activation en cours");
    demande.transaction->valider();
}

void OXcdvCliItfAdaptateur::_inscrire(Demande& demande)
{
    const Livraison ligne(this);
    if (oxNoyau()->lireEtat() != NOYAU_INITIALISE || !_estDuNoyauCourant())
        throw Echec(OXS_NOYAU_NON_INITIALISE); // it stopped while the server was being looked for
    _preparerFin();
    demande.transaction.emplace(_repondeur.in(), this);
    demande.client = _publierServants();
    demande.niveaux = _niveaux;
    oxNoyau()->activerClient(SERVICE, this);

    // Nothing fails any more.
    _automate.transition(activer);
    VERIFIER(_automate.lireSommetCourant() == DemandeActivation, "active");
    demande.serie = ++_serie;
    _preparation = false;
    _quittee = false;
}

void OXcdvCliItfAdaptateur::_preparerFin()
{
    if (!_activePreparee)
        _activePreparee = std::make_unique<OXcdvCliAppelPrepare>(
            [](OXstatut statut) { OXcdvCliCB::activeCB(statut, "", ""); });
    if (!_deconnexionPreparee)
        _deconnexionPreparee = std::make_unique<OXcdvCliAppelPrepare>(&OXcdvCliCB::deconnexionCB);
    _places.reset(); // those of an earlier activation may have been taken
    _places.emplace(objetCB(), SERVICE, 2);
}

/// After a failure: the status that active() returns.
OXstatut OXcdvCliItfAdaptateur::_annuler(Demande& demande, OXstatut statut)
{
    const Livraison ligne(this);
    // The answer may overtake the end of the send: the application has been told, whatever the send says.
    if (demande.serie != 0 && (demande.serie != _serie.load() || lireEtat() != DemandeActivation))
        return OXS_OK;
    demande.transaction.reset();
    if (demande.serie != 0)
        oxNoyau()->desactiverClient(SERVICE);
    _preparation = false;
    basculerServeur();
    return statut;
}

void OXcdvCliItfAdaptateur::activeCB(int statut, const char* serveur, const char* machine,
                                     const orix_corba::NiveauReference& niveau, int numeroClient)
{
    TRACER_ENTREE();
    const Livraison ligne(this);
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
        } else if (!_connecter(serveur, machine, niveau, numeroClient)) {
            return;
        }
        TRACER(NTO_PROGRES, "activeCB", "Notification de l'activeCB à l'application.");
        _posterActiveCB(statutTraduit, serveur, machine);
        // The condition is traced as it stands here.
        // clang-format off
        VERIFIER(( ( statutTraduit == OXS_OK ) && ( _automate.lireSommetCourant() == Active_v3_0_0 ) ) || ( ( statutTraduit != OXS_OK ) && ( _automate.lireSommetCourant() == Desactive ) ),
                 "activeCB");
        // clang-format on
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "activeCB", "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (const std::bad_alloc&) {
        _renoncer();
        TRACER_SANS_ECHEC(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    } catch (const CORBA::NO_MEMORY&) {
        _renoncer();
        TRACER_SANS_ECHEC(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "activeCB", "Exception non prévue.");
    }
    TRACER_SORTIE();
}

bool OXcdvCliItfAdaptateur::_connecter(const char* serveur, const char* machine,
                                       const orix_corba::NiveauReference& niveau, int numeroClient)
{
    _numeroClient = numeroClient;
    const OXversion version = versionDe(niveau);
    if (version != _version) {
        TRACER(NTO_REFUS, "activeCB",
               "Problème lors de l'enregistrement.serveur:" << serveur << " version" << version);
        return false;
    }
    std::atomic_store(&_correspondant, std::shared_ptr<const Correspondant>());
    auto correspondant = std::make_shared<Correspondant>();
    correspondant->proxy = orix_corba::OXcdv_v3_0_0_ClientVersServeur::_narrow(niveau.reference);
    correspondant->numeroClient = numeroClient;
    const auto proxy = correspondant->proxy.in();
    std::atomic_store(&_correspondant, std::shared_ptr<const Correspondant>(std::move(correspondant)));
    _automate.transition(activation_v3_0_0);
    oxNoyau()->lireTableConnexions()->ajouterConnexion(_nomService, serveur, machine, proxy);
    oxSurveillantConnexions()->ajouterSurveillanceServeur(_nomService, proxy, this);
    TRACER(NTO_NOTABLE, "activeCB",
           "Connexion enregistrée pour cdv avec serveur "
               << serveur << " sur " << machine << ", numéro client " << numeroClient << ", version "
               << version);
    return true;
}

void OXcdvCliItfAdaptateur::_posterActiveCB(OXstatut statut, const char* serveur, const char* machine)
{
    const auto creer = [&] {
        std::unique_ptr<char[]> copieServeur(OXdupliqueChaine(serveur));
        std::unique_ptr<char[]> copieMachine(OXdupliqueChaine(machine));
        return creerOXcdvCliCB_active(statut, copieServeur.release(), copieMachine.release());
    };
    if (statut == OXS_OK) // the one that is prepared has no place for the names
        objetCB()->posterExecutable(1, SERVICE, creer());
    else
        poster(_activePreparee, statut, creer);
}

void OXcdvCliItfAdaptateur::_renoncer() noexcept
{
    try {
        if (lireEtat() == Active_v3_0_0) {
            nettoyerConnexion();
            notifierAutomateDeconnexionCB();
        }
        basculerServeur(); // out of DemandeActivation too
        oxNoyau()->desactiverClient(SERVICE);
        _posterActiveCB(OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE, "", "");
    } catch (...) {
        // The middleware stops: its executor takes nothing any more.
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
    const Livraison ligne(this);
    try {
        if (_automate.lireSommetCourant() == DemandeActivation)
            _automate.transition(echec_activation);
        VERIFIER(_automate.lireSommetCourant() == Desactive, "basculerServeur");
        if (oxRoutage()->lireNombreServeurs(_nomService) == 2) {
            _serveurCourant = lireServeurCourant() == OXroutage::PremierServeur ? OXroutage::DeuxiemeServeur
                                                                                : OXroutage::PremierServeur;
            TRACER(NTO_PROGRES, "basculerServeur", "Basculement de serveur effectué correctement");
        } else {
            TRACER(NTO_PROGRES, "basculerServeur", "Pas de possibilité de basculement sur un autre serveur");
        }
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "basculerServeur",
                          "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "basculerServeur", "Exception non prévue.");
    }
    TRACER_SORTIE();
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
        Depart depart;
        if (!_quitter(depart)) {
            TRACER(NTO_REFUS, "desactive", "La référence n'est pas du type Serveur.");
            return OXS_NOK;
        }
        using ProxyServeur = std::remove_pointer_t<orix_corba::Serveur_ptr>;
        static const auto sansRepondeur = orix_corba::AMI_ServeurHandler::_nil(); // once: see the requests
        orb::envoyer(depart.serveur.in(), &ProxyServeur::sendc_desactiveCB, "desactiveCB", sansRepondeur,
                     CORBA::Long(depart.numeroClient));
        const Livraison ligne(this);
        if (depart.serie != _serie.load())
            throw FinDUnAutre();
        notifierAutomateDeconnexionCB();
        oxNoyau()->desactiverClient(SERVICE);
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(
            NTO_NOTABLE, "desactive",
            "Exception Echec sur demande de désactivation, code = " << codeEtTexte(e.lireCode()));
        return e.lireCode();
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "desactive", "Service deja desactive.");
        return OXS_SERVICE_DEJA_DESACTIVE;
    }
    TRACER_SORTIE();
    return OXS_OK;
}

bool OXcdvCliItfAdaptateur::_quitter(Depart& depart)
{
    const Livraison ligne(this);
    verifierActivation(PAS_ACTIVE);
    TRACER(NTO_NOTABLE, "desactive", "Déconnexion volontaire du service cdv.");
    if (_quittee)
        throw FinDUnAutre();
    const InformationsServeur connexion = oxNoyau()->lireTableConnexions()->lireInformation(_nomService);
    depart.serveur = orix_corba::Serveur::_narrow(connexion.lireReferencePOA());
    if (CORBA::is_nil(depart.serveur))
        return false;
    nettoyerConnexion();
    _quittee = true;
    depart.serie = _serie.load();
    depart.numeroClient = _numeroClient.load();
    return true;
}

void OXcdvCliItfAdaptateur::deconnexionCB(int raison) noexcept
{
    const unsigned long serie = _serie.load();
    TRACER_ENTREE();
    const Livraison ligne(this);
    try {
        if (serie != _serie.load()) {
            TRACER(NTO_REFUS, "deconnexionCB", DECONNEXION_INATTENDUE);
            throw Echec(OXS_SERVICE_NON_ACTIVE);
        }
        verifierActivation(DECONNEXION_INATTENDUE);
        nettoyerConnexion();
        notifierAutomateDeconnexionCB();
        VERIFIER(_automate.lireSommetCourant() == Desactive, "deconnexionCB");
        TRACER(NTO_NOTABLE, "deconnexionCB", "Desactivation du client cdv");
        oxNoyau()->desactiverClient(SERVICE);
        TRACER(NTO_NOTABLE, "deconnexionCB", "Déconnexion du service cdv");
        notifierDeconnexionCB(raison);
    } catch (const CORBA::SystemException& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "deconnexionCB", "Exception CORBA : " << orb::information(e));
        lancer(OXS_ERREUR_CORBA);
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_REFUS, "deconnexionCB", "Code exception = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_REFUS, "deconnexionCB",
                          "L'etat du noyau ne permet pas de traiter la deconnexion");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::notifierDeconnexionCB(int statut)
{
    TRACER_ENTREE();
    const Livraison ligne(this);
    if (statut != OXS_SERVICE_NON_ACTIVE) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "notifierDeconnexionCB", "Déconnexion anormale du service cdv");
        basculerServeur();
        try {
            oxNoyau()->lireTableConnexions()->supprimerConnexion(_nomService);
            oxSurveillantConnexions()->supprimerSurveillanceServeur(_nomService);
            oxNoyau()->desactiverClient(SERVICE);
        } catch (const Echec&) {
            TRACER_SANS_ECHEC(NTO_REFUS, "notifierDeconnexionCB",
                              "Impossible de supprimer la connexion du service " << _nomService << ".");
        }
    }
    const OXstatut statutTraduit = static_cast<OXstatut>(statut);
    poster(_deconnexionPreparee, statutTraduit, [=] { return creerOXcdvCliCB_deconnexion(statutTraduit); });
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::notifierAutomateDeconnexionCB()
{
    TRACER_ENTREE();
    const Livraison ligne(this);
    _automate.transition(desactivation);
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::nettoyerConnexion()
{
    TRACER_ENTREE();
    const Livraison ligne(this);
    try {
        verifierActivation(RIEN_A_NETTOYER);
        oxNoyau()->lireTableConnexions()->supprimerConnexion(_nomService);
        oxSurveillantConnexions()->supprimerSurveillanceServeur(_nomService);
    } catch (const Echec&) {
        TRACER_SANS_ECHEC(NTO_REFUS, "nettoyerConnexion",
                          "Impossible de supprimer la connexion du service " << _nomService << ".");
    }
    TRACER_SORTIE();
}

} // namespace orix
