#include "LiaisonORB.h"

#include "Accueil.h"
#include "AppelSortant.h"
#include "CertificatsTLS.h"
#include "ConnexionPatiente.h"
#include "Groupes.h"
#include "Pair.h"
#include "Reponses.h"

#include <omniORB4/minorCode.h>
#include <omniORB4/omniConnectionMgmt.h>
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/sslContext.h> // links the TLS transport in

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace orix::orb {

namespace {

constexpr long long APPELS_DIFFERES_MAX = 4000;
constexpr long long CONNEXIONS_A_FIL = 100;
constexpr long long APPELS_RECUS_MAX = 4000;
constexpr long long ATTENTE_FIL = 2; // s, before one that has nothing to do ends

/// The options of ORB_init, as the pairs of C strings that it wants.
class Options
{
  public:
    void ajouter(const char* nom, const std::string& valeur) { _paires.push_back({nom, valeur}); }
    void ajouter(const char* nom, long long valeur) { ajouter(nom, std::to_string(valeur)); }

    CORBA::ORB_ptr initialiser(int& argc, char** argv) const
    {
        std::vector<const char*> plat;
        for (const auto& [nom, valeur] : _paires) {
            plat.push_back(nom);
            plat.push_back(valeur.c_str());
        }
        plat.push_back(nullptr);
        plat.push_back(nullptr);
        return CORBA::ORB_init(argc, argv, "omniORB4",
                               reinterpret_cast<const char*(*)[2]>(plat.data())); // an array of pairs
    }

  private:
    std::vector<std::pair<const char*, std::string>> _paires;
};

/// Not by options: the ORB keeps a copy of those for ever, each time it is created.
void definirFichiersTLS(const ParametresTLS& parametres)
{
    static auto* const gardes = new ParametresTLS; // never destroyed: the ORB points at the texts
    *gardes = parametres;
    const auto texte = [](const std::string& t) { return t.empty() ? nullptr : t.c_str(); };
    sslContext::full_peerdetails = true; // who waits for a record looks into the connection
    sslContext::certificate_authority_file = texte(gardes->certificatAutorite);
    sslContext::key_file = texte(gardes->certificat);
    sslContext::key_file_password = gardes->motDePasse.c_str();
}

thread_local std::string t_appelant;
thread_local std::string t_appele;

/// The peer of a connection.
template <class Info>
void noter(std::string& identite, Info& info)
{
    identite = lieu(info.peeraddress(), info.myaddress());
    if (const char* certificat = info.peeridentity())
        identite.append(1, '/').append(certificat);
}

CORBA::Boolean noterAppelant(omni::omniInterceptors::serverReceiveRequest_T::info_T& info)
{
    noter(t_appelant, info);
    return true;
}

CORBA::Boolean noterAppele(omni::omniInterceptors::clientReceiveReply_T::info_T& info)
{
    noter(t_appele, info);
    examinerReponse(info.giop_c);
    return true;
}

CORBA::Boolean verifierServeur(omni::omniInterceptors::clientOpenConnection_T::info_T& info)
{
    info.reject = !estNomDeServeur(info.peeridentity());
    info.why = "the name of its certificate is none of [tls] noms_serveurs";
    return true;
}

/// Whether the object answers. avant: done before each of the two tries.
template <class Avant>
bool sonder(CORBA::Object_ptr objet, Avant avant)
{
    t_appele.clear();
    for (bool premier = true;; premier = false) {
        try {
            avant();
            const AppelSortant appel;
            return !objet->_non_existent();
        } catch (const CORBA::COMM_FAILURE&) {
            if (!premier) // the first may be said of a connection to the server's former life
                return false;
        } catch (const CORBA::TRANSIENT&) {
            return false;
        } catch (const CORBA::TIMEOUT&) {
            return false;
        } catch (const CORBA::OBJECT_NOT_EXIST&) {
            return false;
        }
    }
}

} // namespace

CORBA::ORB_ptr creerORB(int& argc, char** argv, const ParametresORB& parametres)
{
    static std::once_flag gestionConnexions;
    std::call_once(gestionConnexions, [] { omniConnectionMgmt::init(); });

    Options options;
    // What goes wrong is thrown, and said by whoever catches it; -ORBtraceLevel gives the ORB its voice back.
    options.ajouter("traceLevel", 0LL);
    const bool tls = !parametres.tls.certificatAutorite.empty();
    definirFichiersTLS(parametres.tls);
    preparerAccueil({parametres.delaiAppel, parametres.tailleMessageMax});
    for (const std::string& point : parametres.pointsAcces)
        options.ajouter("endPoint", (tls ? "giop:garde:ssl:" : "giop:garde:tcp:") + point);
    if (tls) {
        options.ajouter("sslVerifyMode", parametres.tls.exigerCertificat ? "peer,fail" : "peer");
        // Nothing leaves in plain text, whatever a reference offers.
        options.ajouter("clientTransportRule", "* ssl");
    }
    options.ajouter("clientConnectTimeOutPeriod", parametres.delaiConnexion.count());
    options.ajouter("clientCallTimeOutPeriod", parametres.delaiAppel.count());
    // Nor may a request that is received by half, from a peer that hangs, keep its thread for ever.
    options.ajouter("serverCallTimeOutPeriod", parametres.delaiAppel.count());
    options.ajouter("giopMaxMsgSize", static_cast<long long>(parametres.tailleMessageMax));
    // One connection to each peer, shared by all calls, and its messages dispatched one after another: order
    // kept.
    options.ajouter("maxGIOPConnectionPerServer", 1);
    options.ajouter("oneCallPerConnection", 0LL);
    options.ajouter("maxServerThreadPerConnection", 1);
    // Beyond so many connections that came in, one that is idle holds no thread; whoever is not, or is made
    // to wait, must not keep those of the others.
    options.ajouter("threadPerConnectionUpperLimit", CONNEXIONS_A_FIL);
    options.ajouter("threadPerConnectionLowerLimit", CONNEXIONS_A_FIL / 2);
    options.ajouter("maxServerThreadPoolSize", APPELS_RECUS_MAX);
    options.ajouter("idleThreadTimeout", ATTENTE_FIL);
    // Each call whose answer comes to a handler takes a thread until then: peers that say nothing must not
    // keep those of the others.
    options.ajouter("maxClientThreadPoolSize", APPELS_DIFFERES_MAX);
    // The first use of a reference must not be a blocking question.
    options.ajouter("verifyObjectExistsAndType", 0LL);
    // A connection that the peer closed while idle is opened again; scan often enough to honour the
    // time-outs.
    options.ajouter("scanGranularity", 1);
    lireCertificats(parametres.tls);
    definirReponses(parametres.reponses);
    CORBA::ORB_var orb = options.initialiser(argc, argv);
    installerCertificats();
    omniORB::getInterceptors()->clientOpenConnection.add(&verifierServeur); // first
    omniORB::getInterceptors()->serverReceiveRequest.add(&noterAppelant);
    omniORB::getInterceptors()->clientReceiveReply.add(&noterAppele);
    if (parametres.grouperEnvois)
        permettreGroupes(parametres.delaiAppel);
    permettrePatience(); // last: of those that nobody wrapped
    ouvrirAppelsSortants();
    return orb._retn();
}

void relireTLS(const ParametresTLS& parametres) { lireCertificats(parametres); }

void detruireORB(CORBA::ORB_ptr orb)
{
    fermerAppelsSortants();
    orb->destroy();
}

CORBA::Object_ptr resoudre(CORBA::ORB_ptr orb, const std::string& url, std::chrono::milliseconds delai)
{
    const AppelSortant appel; // the making of the reference too uses what the end of the ORB takes away
    const auto limite = std::chrono::steady_clock::now() + delai;
    CORBA::Object_var objet = orb->string_to_object(url.c_str());
    if (CORBA::is_nil(objet))
        return CORBA::Object::_nil();
    const bool present = sonder(objet, [&] {
        const auto reste =
            std::chrono::ceil<std::chrono::milliseconds>(limite - std::chrono::steady_clock::now()).count();
        omniORB::setClientCallTimeout(objet, static_cast<CORBA::ULong>(std::max<long>(1, reste)));
    });
    omniORB::setClientCallTimeout(objet, 0); // that of the calls again
    return present ? objet._retn() : CORBA::Object::_nil();
}

bool repond(CORBA::Object_ptr objet)
{
    return sonder(objet, [] {});
}

std::string pointAcces(CORBA::Object_ptr objet)
{
    const omniIOR_var ior = objet->_PR_getobj()->_getIOR();
    for (const auto* point : ior->getIORInfo()->addresses()) {
        const std::string_view adresse = point->address();
        const std::size_t debut = adresse.find(':') + 1; // of "tcp:..." in "giop:tcp:HOST:PORT"
        const std::size_t fin = adresse.find(':', debut);
        if (adresse.substr(adresse.rfind(':')) != ":0") // what stands there when TLS alone listens
            return (adresse.substr(debut, fin - debut) == "ssl" ? "ssliop" : "iiop") +
                   std::string(adresse.substr(fin));
    }
    throw std::runtime_error("the ORB listens nowhere");
}

void publierSousCle(CORBA::ORB_ptr orb, const std::string& cle, PortableServer::Servant servant)
{
    const CORBA::Object_var objet = orb->resolve_initial_references("omniINSPOA");
    const PortableServer::POA_var poa = PortableServer::POA::_narrow(objet);
    const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(cle.c_str());
    poa->activate_object_with_id(id, servant);
    const PortableServer::POAManager_var gestionnaire = poa->the_POAManager();
    gestionnaire->activate();
}

PortableServer::ObjectId* publierSecret(PortableServer::POA_ptr poa, PortableServer::Servant servant)
{
    constexpr CORBA::ULong TAILLE = 16;
    const std::string octets = alea(TAILLE);
    PortableServer::ObjectId_var id = new PortableServer::ObjectId(TAILLE);
    id->length(TAILLE);
    std::copy(octets.begin(), octets.end(), id->get_buffer());
    poa->activate_object_with_id(id, servant);
    return id._retn();
}

std::string alea(std::size_t octets)
{
    std::string resultat(octets, '\0');
    for (std::size_t lus = 0; lus < octets;) {
        const ssize_t n = getrandom(resultat.data() + lus, octets - lus, 0);
        if (n < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "getrandom");
        lus += static_cast<std::size_t>(std::max<ssize_t>(n, 0));
    }
    return resultat;
}

CORBA::Object_ptr surConnexion(CORBA::Object_ptr objet, unsigned numero)
{
    return omniConnectionMgmt::makeRestrictedReference(objet, numero, /*connections*/ 1, /*threads*/ 1,
                                                       /*batch*/ 0, /*interleaved*/ 1, /*hold open*/ 0);
}

const std::string& identiteAppelant() { return t_appelant; }

PairConnu::PairConnu(const std::string& identite) : _identite(identite) { connaitre(_identite); }

PairConnu::~PairConnu() { meconnaitre(_identite); }

const std::string& identiteAppele() { return t_appele; }

std::string information(const CORBA::Exception& exception)
{
    std::ostringstream texte;
    texte << exception._rep_id();
    if (const auto* systeme = CORBA::SystemException::_downcast(&exception)) {
        texte << ", minor ";
        if (const char* mineur = systeme->NP_minorString())
            texte << mineur;
        else
            texte << "0x" << std::hex << systeme->minor() << std::dec;
        static constexpr const char* ACHEVEMENT[] = {"yes", "no", "maybe"};
        texte << ", completed " << ACHEVEMENT[systeme->completed()];
    }
    return texte.str();
}

} // namespace orix::orb
