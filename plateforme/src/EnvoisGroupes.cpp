#include "orix/EnvoisGroupes.h"

#include "LiaisonORB.h"

namespace orix {

EnvoisGroupes::EnvoisGroupes() noexcept { orb::ouvrirGroupe(); }
EnvoisGroupes::~EnvoisGroupes() { orb::fermerGroupe(); }

void EnvoisGroupes::envoyer() noexcept { orb::envoyerGroupe(); }

} // namespace orix
