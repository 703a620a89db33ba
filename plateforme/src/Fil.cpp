#include "Fil.h"

#include "ExceptionCourante.h"
#include "orix/Trace.h"

#include <utility>

namespace orix {

namespace {

constexpr std::chrono::milliseconds REPRISE{500}; // after a pass that failed

Veilleur::Instant passer(const std::function<Veilleur::Instant()>& passe)
{
    try {
        return passe();
    } catch (...) {
        ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "Fil", "passer",
                              "Exception non prévue : " << texteExceptionCourante());
        return std::chrono::steady_clock::now() + REPRISE;
    }
}

} // namespace

void Fil::lancer(std::function<void()> travail)
{
    oublier();
    _fin = std::make_shared<Fin>();
    _thread = std::thread([fin = _fin, travail = std::move(travail)]() mutable {
        try {
            travail();
        } catch (...) {
            ORIX_TRACE_SANS_ECHEC(NTO_NOTABLE, "Fil", "lancer",
                                  "Le fil se termine, exception non prévue : " << texteExceptionCourante());
        }
        travail = nullptr;
        const std::lock_guard<std::mutex> verrou(fin->mutex);
        fin->atteinte = true;
        fin->venue.notify_all();
    });
}

bool Fil::attendre(std::chrono::milliseconds delai)
{
    if (!_thread.joinable())
        return true;
    {
        std::unique_lock<std::mutex> verrou(_fin->mutex);
        if (!_fin->venue.wait_for(verrou, delai, [this] { return _fin->atteinte; }))
            return false;
    }
    _thread.join();
    return true;
}

void Fil::oublier()
{
    if (_thread.joinable())
        _thread.detach();
}

void Veilleur::demarrer(std::function<Instant()> passe)
{
    const auto etat = std::make_shared<Etat>();
    _fil.lancer([etat, passe = std::move(passe)] {
        for (;;) {
            const Instant prochaine = passer(passe);
            std::unique_lock<std::mutex> verrou(etat->mutex);
            const auto appele = [&] { return etat->reveil || etat->arret; };
            if (prochaine == JAMAIS)
                etat->appel.wait(verrou, appele);
            else
                etat->appel.wait_until(verrou, prochaine, appele);
            if (etat->arret)
                return;
            etat->reveil = false;
        }
    });
    const std::lock_guard<std::mutex> verrou(_mutex);
    _etat = etat;
}

bool Veilleur::arreter(std::chrono::milliseconds delai)
{
    std::shared_ptr<Etat> etat;
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        etat.swap(_etat);
    }
    if (etat) {
        const std::lock_guard<std::mutex> verrou(etat->mutex);
        etat->arret = true;
        etat->appel.notify_all();
    }
    if (_fil.attendre(delai))
        return true;
    _fil.oublier();
    return false;
}

void Veilleur::reveiller()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (!_etat)
        return;
    const std::lock_guard<std::mutex> verrouEtat(_etat->mutex);
    _etat->reveil = true;
    _etat->appel.notify_all();
}

} // namespace orix
