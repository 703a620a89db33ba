#include "LienPostgresql.h"

#include "orix/Trace.h"

#include <poll.h>

#include <algorithm>

namespace serveur {

namespace {
constexpr std::chrono::milliseconds PAUSE_MIN{50};
constexpr std::chrono::milliseconds PAUSE_MAX{2000};
} // namespace

ConnexionPostgresql& LienPostgresql::obtenir(bool sansFin)
{
    while (!_connexion) {
        if (_presse.estPresse())
            throw ArretDemande();
        if (_essayer())
            break;
        if (!sansFin && Instant::clock::now() - _perdueDepuis.value() >= ATTENTE_MAX)
            throw BaseAbsente("base absente : " + _pourquoi);
        patienter();
    }
    return *_connexion;
}

bool LienPostgresql::_essayer()
{
    try {
        _connexion.emplace(_adresse, _presse, _surAttente);
    } catch (const ArretDemande&) {
        throw;
    } catch (const std::runtime_error& erreur) {
        perdre(erreur.what());
        _pourquoi = erreur.what();
        return false;
    }
    if (_perdueDepuis) {
        --_suivi.perdus;
        ++_suivi.reconnexions;
        const auto duree =
            std::chrono::duration_cast<std::chrono::milliseconds>(Instant::clock::now() - *_perdueDepuis);
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LienPostgresql", "obtenir",
                              "Connexion à PostgreSQL rétablie (" << _nom << ") après " << duree.count()
                                                                  << " ms");
    }
    _perdueDepuis.reset();
    _pause = std::chrono::milliseconds(0);
    return true;
}

void LienPostgresql::perdre(const char* pourquoi) noexcept
{
    if (!_perdueDepuis) {
        ++_suivi.perdus;
        _perdueDepuis = Instant::clock::now();
        ORIX_TRACE_SANS_ECHEC(orix::NTO_NOTABLE, "LienPostgresql", "perdre",
                              "Connexion à PostgreSQL perdue (" << _nom << ") : " << pourquoi);
    }
    _connexion.reset();
}

void LienPostgresql::patienter()
{
    _pause = std::clamp(_pause * 2, PAUSE_MIN, PAUSE_MAX);
    pollfd prise{_presse.descripteur(), POLLIN, 0};
    poll(&prise, 1, static_cast<int>(_pause.count()));
    _surAttente();
}

void LienPostgresql::entretenir() noexcept
{
    try {
        if (_connexion)
            _connexion->verifier();
        else
            _essayer();
    } catch (const std::exception& exception) {
        perdre(exception.what());
    }
}

} // namespace serveur
