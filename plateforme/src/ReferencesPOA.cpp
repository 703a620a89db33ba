#include "ReferencesPOA.h"

#include "ExceptionCourante.h"
#include "orix/Trace.h"

namespace orix::poa {

std::string identifiantCourant(PortableServer::Current_ptr courant)
{
    try {
        const PortableServer::ObjectId_var id = courant->get_object_id();
        const CORBA::String_var texte = PortableServer::ObjectId_to_string(id);
        return texte.in();
    } catch (const PortableServer::Current::NoContext&) {
        return {};
    }
}

void retirer(PortableServer::POA_ptr poa, const std::string& identifiant) noexcept
{
    try {
        const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(identifiant.c_str());
        poa->deactivate_object(id);
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_DETAIL, "ReferencesPOA", "retirer",
                              "Objet " << identifiant << " non retiré : " << texteExceptionCourante());
    }
}

PortableServer::Current_ptr resoudreCourant(CORBA::ORB_ptr orb)
{
    const CORBA::Object_var objet = orb->resolve_initial_references("POACurrent");
    return PortableServer::Current::_narrow(objet);
}

} // namespace orix::poa
