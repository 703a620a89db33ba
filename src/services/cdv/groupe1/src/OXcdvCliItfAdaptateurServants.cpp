// What the adapter is made of: its automaton, its servants, the replier.
#include "LiaisonORB.h"
#include "OXcdvCliItfAdaptateur.h"
#include "OXcdvCliItfAdaptateurTraces.h"
#include "orix/Configuration.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"

namespace orix {

namespace {

using Notifications = orix_corba::OXcdv_v3_0_0_ServeurVersClient;

// Kept whole in the shared object, where it is looked for.
[[gnu::used]] const char MARQUE_VERSION[] = "@(#) 3.0.0.0 $LastChangedRevision: 808 $ ";

/// Activates the object; gives its reference. The id is taken over, not copied: no lack of memory leaves the
/// object active under an id that nobody knows.
template <class Interface>
typename Interface::_ptr_type publier(orb::ServantAttendu& servant, PortableServer::POA_ptr poa,
                                      PortableServer::ObjectId& id)
{
    PortableServer::ObjectId_var nouvel = orb::publierSecret(poa, &servant);
    const CORBA::ULong taille = nouvel->length();
    id.replace(taille, taille, nouvel->get_buffer(/*orphan*/ true), /*release*/ true);
    const CORBA::Object_var reference = poa->id_to_reference(id);
    return Interface::_narrow(reference);
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
        TRACER_SANS_ECHEC(NTO_NOTABLE, fonction, "Exception non prévue.");
    }
    id.length(0);
    return servant.attendreRetrait(configuration()->lire(cle::delaiAppel));
}

} // namespace

OXcdvCliItfAdaptateur* oxcdvCliItfAdaptateur() { return Singleton<OXcdvCliItfAdaptateur>::lireInstance(); }

OXcdvCliItfAdaptateur::OXcdvCliItfAdaptateur()
{
    TRACER_ENTREE();
    try {
        _construire();
        _creerPOA();
        _creerRepondeur();
        TRACER_SORTIE();
    } catch (const Echec& e) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "OXcdvCliItfAdaptateur",
                          "Exception Echec, code = " << codeEtTexte(e.lireCode()));
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "OXcdvCliItfAdaptateur", "Exception non prévue.");
    }
}

OXcdvCliItfAdaptateur::~OXcdvCliItfAdaptateur()
{
    // First of all, while every member is there for the calls that are still inside.
    oxNoyau()->oublierAdaptateur(this);
    _detruirePOA();
    if (!retirer(*this, _poa, _idClient, "~OXcdvCliItfAdaptateur"))
        TRACER_SANS_ECHEC(NTO_NOTABLE, "~OXcdvCliItfAdaptateur", "Un appel du serveur n'est pas terminé.");
}

void OXcdvCliItfAdaptateur::detruire()
{
    TRACER_ENTREE();
    oxNoyau()->oublierAdaptateur(this); // an answer that came after desactive() would connect nobody
    desactive();
    Singleton<OXcdvCliItfAdaptateur>::detruire();
    // This object is gone.
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::_construire()
{
    if (_niveaux.length() != 0)
        return;
    _marqueVersion = MARQUE_VERSION;
    using Arc = Arc_base<EtatAdaptateur, TransitionsAdaptateur>;
    _automate.ajouterArc(Arc(Desactive, DemandeActivation, activer));
    _automate.ajouterArc(Arc(DemandeActivation, Desactive, echec_activation));
    _automate.ajouterArc(Arc(DemandeActivation, Active_v3_0_0, activation_v3_0_0));
    _automate.ajouterArc(Arc(Active_v3_0_0, Desactive, desactivation));
    _automate.ajouterArc(Arc(Active_v3_0_0, Desactive, deconnexion));

    _niveaux.length(1); // the last step that can fail
    _niveaux[0].majeur = _version.lireMajeur();
    _niveaux[0].mineur = _version.lireMineur();
    _niveaux[0].correctif = _version.lireCorrectif();
    _niveaux[0].construction = _version.lireConstruction();
}

void OXcdvCliItfAdaptateur::_creerPOA()
{
    TRACER_ENTREE();
    try {
        _detruirePOA();
        _poa = PortableServer::POA::_duplicate(oxNoyau()->lirePointAcces()->lirePOA_ORIX());
        _servant = std::make_unique<POA_OXcdv_v3_0_0_ServeurVersClientImplementation>();
        _niveaux[0].reference = publier<Notifications>(*_servant, _poa, _idServant);
        TRACER(NTO_PROGRES, "_creerPOA",
               "Type référence 0 = " << orix_corba::_tc_OXcdv_v3_0_0_ServeurVersClient->id());
    } catch (...) {
        TRACER_SANS_ECHEC(NTO_NOTABLE, "_creerPOA", "Exception non prévue.");
    }
    TRACER_SORTIE();
}

void OXcdvCliItfAdaptateur::_detruirePOA()
{
    _retirerServant();
    _servant.reset();
}

void OXcdvCliItfAdaptateur::_retirerServant()
{
    if (!_servant)
        return;
    _niveaux[0].reference = CORBA::Object::_nil();
    if (!retirer(*_servant, _poa, _idServant, "_detruirePOA")) {
        // Lost on purpose: freeing it would pull it from under the call that is inside.
        (void)_servant.release();
        TRACER_SANS_ECHEC(NTO_NOTABLE, "_detruirePOA",
                          "Une notification n'est pas terminée : son servant est abandonné.");
    }
}

void OXcdvCliItfAdaptateur::_creerRepondeur()
{
    ORBthread* const pointAcces = oxNoyau()->lirePointAcces();
    _repondeur = new RepondeurNoyau(pointAcces->lireORB(), pointAcces->lirePOA_ORIX());
}

bool OXcdvCliItfAdaptateur::_estDuNoyauCourant() const
{
    return _poa.in() == oxNoyau()->lirePointAcces()->lirePOA_ORIX();
}

void OXcdvCliItfAdaptateur::_completer()
{
    if (!_estDuNoyauCourant()) {
        _repondeur = nullptr;
        _idClient.length(0); // both went with the former kernel
        _idServant.length(0);
        _creerPOA();
    }
    if (_repondeur.in() == nullptr)
        _creerRepondeur();
}

void OXcdvCliItfAdaptateur::_retirerServants()
{
    // A servant takes a new id only when no request to the former one is inside any more.
    retirer(*this, _poa, _idClient, "active");
    _retirerServant();
}

orix_corba__Client_ptr OXcdvCliItfAdaptateur::_publierServants()
{
    if (!_servant)
        _servant = std::make_unique<POA_OXcdv_v3_0_0_ServeurVersClientImplementation>();
    _niveaux[0].reference = publier<Notifications>(*_servant, _poa, _idServant);
    return publier<orix_corba__Client>(*this, _poa, _idClient);
}

} // namespace orix
