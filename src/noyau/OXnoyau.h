#ifndef OXNOYAU_H
#define OXNOYAU_H

#include "orix/INonCopiable.h"
#include "orix/Trace.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"
#include "orix/interne/ParametresActivationService.h"

#include "orix_baseS.h"

#include <string>

namespace orix {

/// The interface that a skeleton implements; one specialisation for each reply handler in use.
template <class Squelette>
struct InterfaceDuSquelette;

template <>
struct InterfaceDuSquelette<POA_orix_corba::AMI_NoyauHandler>
{
    using Type = orix_corba::AMI_NoyauHandler;
};

/// What a client adapter needs around the kernel to send it asynchronous operations.
class OXnoyau
{
  public:
    /// Activates the servant in the ORIX POA under the operation's number, in decimal, and returns a
    /// reference that carries it; the caller releases it. One servant serves any number of operations at
    /// once.
    template <class Squelette>
    static typename InterfaceDuSquelette<Squelette>::Type::_ptr_type creerReference(Squelette* servant,
                                                                                    int numeroOperation)
    {
        const PortableServer::ObjectId_var id =
            PortableServer::string_to_ObjectId(std::to_string(numeroOperation).c_str());
        ORIX_TRACE(NTO_PROGRES, "OXnoyau", "creerReference",
                   "Création de l'identifiant CORBA = " << numeroOperation);
        const PortableServer::POA_ptr poa = oxNoyau()->lirePointAcces()->lirePOA_ORIX();
        poa->activate_object_with_id(id, servant);
        try {
            ORIX_TRACE(NTO_PROGRES, "OXnoyau", "creerReference",
                       "Le servant est activé avec l'identificateur auprès du POA ORIX.");
            ORIX_TRACE(NTO_PROGRES, "OXnoyau", "creerReference", "Création de la référence.");
            const CORBA::Object_var reference = poa->id_to_reference(id);
            ORIX_TRACE(NTO_PROGRES, "OXnoyau", "creerReference",
                       "Création de la référence d'objet qui sera passée dans les appels asynchrones et qui "
                       "contient l'identificateur de l'objet.");
            return InterfaceDuSquelette<Squelette>::Type::_narrow(reference);
        } catch (...) {
            // Nobody else could take it back: there is no reference to do it with.
            poa->deactivate_object(id);
            throw;
        }
    }

    /// One operation asked of a kernel: its parameters, registered with this process's kernel, and the
    /// reference of its reply handler. Both are withdrawn at the end of the scope unless valider() said that
    /// the request left.
    template <class Squelette>
    class TransactionCreerReference : INonCopiable
    {
      public:
        using Interface = typename InterfaceDuSquelette<Squelette>::Type;

        enum Etat : int
        {
            NON_VALIDE = 0,
            VALIDE = 1
        };

        /// Neither the servant nor the adapter is owned.
        TransactionCreerReference(Squelette* referencePOA, IAdaptateurClient* adaptateur)
            : _referencePOA(referencePOA), _noyau(adaptateur)
        {
            _numeroOperation = oxNoyau()->enregistrerParametres(new ParametresActivationService(_noyau));
            try {
                _referenceRepondeur = creerReference<Squelette>(_referencePOA, _numeroOperation);
            } catch (...) {
                annuler();
                throw;
            }
        }
        ~TransactionCreerReference()
        {
            if (_etat == NON_VALIDE)
                annuler();
        }

        /// A duplicate: the caller releases it.
        typename Interface::_ptr_type prendreReference() const
        {
            return Interface::_duplicate(_referenceRepondeur);
        }

        void valider() noexcept { _etat = VALIDE; }

        void annuler() noexcept
        {
            oxNoyau()->supprimerReference(_referenceRepondeur);
            oxNoyau()->supprimerParametres(_numeroOperation);
        }

      private:
        Squelette* _referencePOA;
        IAdaptateurClient* _noyau;
        Etat _etat = NON_VALIDE;
        typename Interface::_var_type _referenceRepondeur;
        int _numeroOperation = 0;
    };
};

} // namespace orix

#endif
