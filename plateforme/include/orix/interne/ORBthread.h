#ifndef ORIX_ORBTHREAD_H
#define ORIX_ORBTHREAD_H

#include "orix/Exportation.h"
#include "orix/INonCopiable.h"

#include "orix_baseS.h"

#include <string>

namespace orix {

/// The access point of the kernel: the ORB, the thread that runs it, its object adapters.
/// The readers return references that stay the ORBthread's: duplicate to keep.
class ORIX_API ORBthread : INonCopiable
{
  public:
    virtual CORBA::ORB_ptr lireORB() const = 0;
    virtual PortableServer::POA_ptr lirePOA_ORIX() const = 0; ///< USER_ID, MULTIPLE_ID, TRANSIENT
    virtual PortableServer::POA_ptr lirePOA_Racine() const = 0;
    virtual const std::string& lireNom() const = 0;

  protected:
    virtual ~ORBthread();
};

} // namespace orix

#endif
