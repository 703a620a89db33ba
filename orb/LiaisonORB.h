#ifndef LIAISONORB_H
#define LIAISONORB_H

#include "EntetesORB.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// What one ORB does differently from another. Each ORB has its own folder with the same operations; the
/// build chooses one. Code outside uses only the standard C++ mapping and this header.
namespace orix::orb {

constexpr const char* APPELANT_LOCAL = "local"; ///< the address of a process of this machine, in an identity

struct ParametresTLS
{
    std::string certificatAutorite; ///< PEM; empty: no TLS
    std::string certificat;         ///< PEM, certificate and private key
    std::string motDePasse;
    bool exigerCertificat = true;
    std::vector<std::string>
        nomsServeurs; ///< certificate names, or patterns, of those that this process connects to; empty: any
    std::string listeRevocation; ///< PEM, certificates that are not accepted any more; empty: none
};

/// The answers to an operation, when they hold more than numbers.
struct Reponse
{
    using Lecture = void(cdrStream&);
    const char* operation;
    Lecture* lire; ///< reads one by readers that lose nothing of what is wrong; throws CORBA::MARSHAL
};

struct ParametresORB
{
    std::vector<std::string>
        pointsAcces; ///< "HOST:PORT"; port 0: a free one; empty list: a client without endpoint
    std::chrono::milliseconds delaiConnexion{2000};
    std::chrono::milliseconds delaiAppel{5000};
    std::size_t tailleMessageMax = 2097152;
    bool grouperEnvois = true; ///< messages may wait for each other where that is asked for (ouvrirGroupe())
    ParametresTLS tls;
    std::vector<Reponse> reponses; ///< those of the calls that are made
};

// Called from every shared object of the process, and standing in one of them.
#pragma GCC visibility push(default)

/// Creates the ORB of the process: bounded calls, one multiplexed connection to each peer, messages of one
/// connection dispatched in order. Throws CORBA::Exception, or std::runtime_error with a text for the user.
CORBA::ORB_ptr creerORB(int& argc, char** argv, const ParametresORB& parametres);

/// Reads the files of TLS again, for the connections to come. Throws std::runtime_error with a text for the
/// user, and changes nothing then.
void relireTLS(const ParametresTLS& parametres);

/// Destroys the ORB once the calls that are being made (AppelSortant) have ended, and ends what creerORB()
/// has added to it.
void detruireORB(CORBA::ORB_ptr orb);

/// Resolves the URL of a server's kernel, and gives nil when nobody answers there within the delay. Throws
/// CORBA::BAD_PARAM for a wrong URL, CORBA::BAD_INV_ORDER once the ORB is ending.
CORBA::Object_ptr resoudre(CORBA::ORB_ptr orb, const std::string& url, std::chrono::milliseconds delai);

/// Whether the object answers, within the call time-out. A connection that died unnoticed, because its server
/// was started again at the same address, is replaced on the way: else the next message that wants no
/// response would be lost in it, and nobody told.
bool repond(CORBA::Object_ptr objet);

/// "iiop:HOST:PORT", or "ssliop:HOST:PORT" with TLS: where this process listens for the object, one of its
/// own.
std::string pointAcces(CORBA::Object_ptr objet);

/// Activates the servant so that corbaloc:iiop:HOST:PORT/CLE reaches it.
void publierSousCle(CORBA::ORB_ptr orb, const std::string& cle, PortableServer::Servant servant);

/// Activates the servant under an id of 128 random bits, in an adapter whose ids are the user's: who was not
/// given the reference cannot guess it. Returns the id.
PortableServer::ObjectId* publierSecret(PortableServer::POA_ptr poa, PortableServer::Servant servant);

/// So many octets that nobody can guess. Throws std::system_error.
std::string alea(std::size_t octets);

/// The same object, over connections shared only with references of the same number (1 and up): what travels
/// there does not queue behind the messages of other references. Numbers are the caller's.
CORBA::Object_ptr surConnexion(CORBA::Object_ptr objet, unsigned numero);

/// Until fermerGroupe(), the calling thread's messages that want no response wait for each other. Those for
/// one peer leave in one write: when there are some tens of kilobytes of them, before any other message to
/// it, of whichever thread, at envoyerGroupe(), and when as many groups were closed as were opened. Nothing
/// waits where there is no memory for it.
void ouvrirGroupe() noexcept;
void fermerGroupe() noexcept;
/// What waits because of the calling thread leaves; blocks as a send does. False when a peer did not take it,
/// and is lost.
bool envoyerGroupe() noexcept;

/// Who made the call that the calling thread is serving, as far as the transport knows: its address, or
/// "local" for a process of this machine, then with TLS "/" and the common name of its certificate. Two
/// processes of one machine differ only by their certificates. Only for a call that comes from another
/// process; valid until it returns.
const std::string& identiteAppelant();
/// What an identity begins with: the address, or APPELANT_LOCAL.
std::string adresse(const std::string& appelant);

/// The octets that a reference holds: those of its type and of its profiles.
std::size_t taille(CORBA::Object_ptr objet);
/// Whether every address in the reference is the one that the caller of that identity has; for a local one,
/// any that this machine has. Nothing is looked up: a name is no address, except "localhost".
bool meneA(CORBA::Object_ptr objet, const std::string& appelant);

/// Who gave the last answer that the calling thread had from resoudre() or repond(), in the same words; empty
/// when nobody did, or this process itself.
const std::string& identiteAppele();

/// While one lives, who has that identity (identiteAppelant()) is known here: its messages may have
/// tailleMessageMax octets, those of others 64 KiB, and wrong ones do not keep its address out.
class PairConnu
{
  public:
    explicit PairConnu(const std::string& identite); ///< throws std::bad_alloc
    ~PairConnu();
    PairConnu(const PairConnu&) = delete;
    PairConnu& operator=(const PairConnu&) = delete;

  private:
    const std::string _identite;
};

/// What the exception says of itself, in one line.
std::string information(const CORBA::Exception& exception);

#pragma GCC visibility pop

} // namespace orix::orb

#endif
