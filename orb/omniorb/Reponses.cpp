#include "Reponses.h"

#include "Lecture.h"

#include <omniORB4/giopEndpoint.h>
#include <omniORB4/minorCode.h>

#include <omniORB4/internal/giopStream.h> // each uses those before it without including them

#include <omniORB4/internal/giopStrand.h>

#include <omniORB4/internal/giopRope.h>

#include <omniORB4/internal/GIOP_C.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

namespace orix::orb {

namespace {

struct Etat
{
    std::mutex mutex;
    std::shared_ptr<const std::vector<Reponse>> reponses;
};

Etat& etat()
{
    static auto* const etat = new Etat; // never destroyed: the ORB's threads may outlive the static objects
    return *etat;
}

void lireException(cdrStream& flux) { lireTexteBrut(flux); } // the rest are numbers

void lireRenvoi(cdrStream& flux) { const CORBA::Object_var objet = lireReference(flux, Relecture::parLORB); }

/// Null: there is nothing in it that the ORB would lose.
Reponse::Lecture* trouver(omni::GIOP_C& reponse)
{
    switch (reponse.replyStatus()) {
    case GIOP::USER_EXCEPTION:
    case GIOP::SYSTEM_EXCEPTION:
        return &lireException;
    case GIOP::LOCATION_FORWARD:
    case GIOP::LOCATION_FORWARD_PERM:
        return &lireRenvoi;
    case GIOP::NO_EXCEPTION:
        break;
    default:
        return nullptr;
    }
    std::shared_ptr<const std::vector<Reponse>> reponses;
    {
        const std::lock_guard<std::mutex> verrou(etat().mutex);
        reponses = etat().reponses;
    }
    const auto trouvee = std::find_if(reponses->begin(), reponses->end(), [&](const Reponse& r) {
        return std::strcmp(r.operation, reponse.operation()) == 0;
    });
    return trouvee != reponses->end() ? trouvee->lire : nullptr;
}

/// Where the ORB is in its buffer.
class Tampon : public cdrStream
{
  public:
    static void*& place(cdrStream& flux) { return flux.*(&Tampon::pd_inb_mkr); }
    static std::size_t reste(cdrStream& flux)
    {
        const auto* const debut = static_cast<const char*>(flux.*(&Tampon::pd_inb_mkr));
        return static_cast<std::size_t>(static_cast<const char*>(flux.*(&Tampon::pd_inb_end)) - debut);
    }
};

} // namespace

void definirReponses(const std::vector<Reponse>& reponses)
{
    auto nouvelles = std::make_shared<const std::vector<Reponse>>(reponses);
    const std::lock_guard<std::mutex> verrou(etat().mutex);
    etat().reponses = std::move(nouvelles);
}

void examinerReponse(omni::GIOP_C& reponse)
{
    Reponse::Lecture* const lire = trouver(reponse);
    if (lire == nullptr)
        return;
    cdrStream& flux = reponse;
    void* const debut = Tampon::place(flux);
    const std::size_t reste = Tampon::reste(flux);
    // The ORB's buffer holds a message of 8 KiB whole: none of these is longer.
    if (flux.checkInputOverrun(1, static_cast<CORBA::ULong>(reste + 1)))
        throw CORBA::MARSHAL(omni::MARSHAL_MessageTooLong, CORBA::COMPLETED_MAYBE);
    const GIOP::Version version = reponse.version();
    if (version.minor >= 2 && reste != 0)
        flux.alignInput(omni::ALIGN_8);
    lire(flux);
    Tampon::place(flux) = debut;
}

} // namespace orix::orb
