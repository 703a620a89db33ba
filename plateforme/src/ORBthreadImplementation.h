#ifndef ORBTHREADIMPLEMENTATION_H
#define ORBTHREADIMPLEMENTATION_H

#include "Fil.h"
#include "orix/interne/ORBthread.h"

#include <chrono>
#include <string>

namespace orix {

class Configuration;

/// One run of the ORB. Its references outlive the ORB, so that a late user gets a CORBA exception and nothing
/// worse.
class ORBthreadImplementation final : public ORBthread
{
  public:
    /// Throws ErreurConfiguration when an endpoint cannot be opened, CORBA::Exception.
    ORBthreadImplementation(int& argc, char** argv, const Configuration& configuration);

    CORBA::ORB_ptr lireORB() const override { return _orb.in(); }
    PortableServer::POA_ptr lirePOA_ORIX() const override { return _poaORIX.in(); }
    PortableServer::POA_ptr lirePOA_Racine() const override { return _poaRacine.in(); }
    const std::string& lireNom() const override { return _nom; }

    /// Reads the files again, for the connections to come. Throws std::runtime_error, and changes nothing
    /// then.
    static void relireTLS(const Configuration& configuration);

    /// Refuses new requests, and waits for those inside. False when one still is at the end of the delay.
    bool arreterReception(std::chrono::milliseconds delai);
    /// Destroys the ORB. False when it is not over at the end of the delay; it then goes on by itself.
    bool detruire(std::chrono::milliseconds delai);
    /// Whether detruire() has come to its end, by now.
    bool estDetruit();

  private:
    void _ouvrir();

    const std::string _nom; // what the server is told, and shows
    CORBA::ORB_var _orb;
    PortableServer::POA_var _poaRacine;
    PortableServer::POA_var _poaORIX;
    Fil _execution;   // runs the ORB
    Fil _reception;   // waits for the end of the requests
    Fil _destruction; // destroys the ORB
};

} // namespace orix

#endif
