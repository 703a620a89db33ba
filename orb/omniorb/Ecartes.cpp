#include "Ecartes.h"

#include <algorithm>

namespace orix::orb {

namespace {

using std::chrono::milliseconds;

constexpr unsigned TOLEREES = 10; // wrong messages that have no consequence but the end of their connection
constexpr unsigned DOUBLEMENTS = 10;
constexpr milliseconds PREMIER_DELAI{50}; // doubled each time: 51 s at most
constexpr milliseconds OUBLI{600000};     // without another one
constexpr std::size_t ADRESSES_MAX = 1000;

} // namespace

void Ecartes::noter(const std::string& adresse, Instant maintenant)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_fautes.size() >= ADRESSES_MAX && _fautes.count(adresse) == 0)
        _faireDeLaPlace();
    Fautes& fautes = _fautes[adresse];
    if (maintenant - fautes.fin > OUBLI)
        fautes.nombre = 0;
    ++fautes.nombre;
    const unsigned doublements = std::min(fautes.nombre - std::min(fautes.nombre, TOLEREES), DOUBLEMENTS);
    fautes.fin = doublements == 0 ? maintenant : maintenant + PREMIER_DELAI * (1u << doublements);
}

bool Ecartes::estEcartee(const std::string& adresse, Instant maintenant) const
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    const auto fautes = _fautes.find(adresse);
    return fautes != _fautes.end() && maintenant < fautes->second.fin;
}

void Ecartes::oublier()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _fautes.clear();
}

/// The one whose time ends first goes.
void Ecartes::_faireDeLaPlace()
{
    _fautes.erase(std::min_element(_fautes.begin(), _fautes.end(),
                                   [](const auto& a, const auto& b) { return a.second.fin < b.second.fin; }));
}

} // namespace orix::orb
