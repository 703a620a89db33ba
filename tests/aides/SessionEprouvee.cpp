#include "SessionEprouvee.h"

#include <iostream>

namespace essais {

void SessionEprouvee::repeter(const char* nom, std::size_t fois, const Action& panne, const Action& retour)
{
    Ressources reference;
    std::string actif = activerQuelquePart();
    for (std::size_t tour = 0; tour < fois; ++tour) {
        panne(actif);
        const std::string autre = activer();
        EXPECT_NE(autre, actif);
        creer("apres-" + std::to_string(tour));
        EXPECT_EQ(compterPerdus(), 0);
        retour(actif);
        if (tour == 0)
            reference = Ressources::attendreStables();
        actif = autre;
    }
    EXPECT_EQ(_callbacks.nombre(), 0u);
    // A dead connection stays until the ORB next looks over its idle ones. A leak would be one each time.
    const Ressources fin = Ressources::attendreStables();
    EXPECT_LT(fin.fils, reference.fils + fois);
    EXPECT_LT(fin.descripteurs, reference.descripteurs + fois);
    std::cout << nom << ": " << reference << " after the first, " << fin << " after the last" << std::endl;
}

void SessionEprouvee::creer(const std::string& identifiant)
{
    const Appel creation = demander(&OXcdvCliItf::cree_vol_complet, *vol(identifiant));
    EXPECT_EQ(creation.nom, "cree_vol_completCB");
    EXPECT_EQ(creation.statut, 0);
    EXPECT_EQ(_callbacks.nombre(), 0u);
    _crees.insert(identifiant);
}

void SessionEprouvee::attendrePerte(const std::function<void()>& emettre)
{
    for (;;) {
        if (emettre)
            emettre();
        const Appel appel =
            emettre ? _callbacks.attendre(std::chrono::milliseconds(20)) : _callbacks.attendre();
        if (appel.nom == "cree_vol_completCB") {
            EXPECT_EQ(appel.statut, 0);
            _crees.insert(appel.identifiant.value_or("?"));
        } else if (!emettre || appel.nom != "rien") {
            EXPECT_EQ(appel.nom, "deconnexionCB");
            EXPECT_EQ(appel.statut, orix::OXS_ECHEC_PING);
            return;
        }
    }
}

int SessionEprouvee::compterPerdus()
{
    const std::vector<std::string> liste = lister(*vol("*"));
    const std::set<std::string> presents(liste.begin(), liste.end());
    return static_cast<int>(std::count_if(_crees.begin(), _crees.end(),
                                          [&](const auto& cree) { return presents.count(cree) == 0; }));
}

} // namespace essais
