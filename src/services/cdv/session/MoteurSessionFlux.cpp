// What the streams of a session ask of its engine.
#include "MoteurSession.h"

#include "orix/EnvoisGroupes.h"

namespace cdv {

std::optional<Vol> MoteurSession::suivant(Flux::Tampon& tampon)
{
    orix::EnvoisGroupes::envoyer();
    Verrou verrou(_mutex);
    _interdireDansRappel("Flux::suivant()");
    tampon.arrivee.wait(verrou, [&] { return !tampon.vols.empty() || tampon.fin; });
    if (tampon.vols.empty())
        return std::nullopt;
    std::optional<Vol> vol(std::move(tampon.vols.front()));
    tampon.vols.pop_front();
    if (tampon.vols.size() == tampon.capacite / 2)
        _reprise.notify_all();
    return vol;
}

const Resultat& MoteurSession::finDe(const Flux::Tampon& tampon) const
{
    const Verrou verrou(_mutex);
    if (!tampon.fin || !tampon.vols.empty())
        throw std::logic_error("cdv::Flux::resultat(): the stream is not at its end");
    return *tampon.fin;
}

void MoteurSession::abandonner(Flux::Tampon& tampon) noexcept
{
    std::list<Vol> vols; // released without the lock
    const Verrou verrou(_mutex);
    vols.swap(tampon.vols);
    if (const std::shared_ptr<Demande> demande = tampon.demande.lock())
        _demandes.abandonner(demande);
    _reveiller();
}

} // namespace cdv
