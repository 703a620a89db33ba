#include "Clients.h"

#include "orix/interne/Echec.h"

#include <gtest/gtest.h>

// Whoever reaches the kernel may activate itself: their number is bounded, and places become free again.
TEST(Clients, PasPlusQueLeNombreMax)
{
    serveur::Clients::Reglages reglages;
    reglages.nombreMax = 2;
    serveur::Clients clients(reglages);
    const auto ajouter = [&] {
        return clients.ajouter("nom", "machine", "local", orix_corba::OXcdv_v3_0_0_ServeurVersClient::_nil(),
                               orix_corba__Client::_nil());
    };
    const int premier = ajouter();
    EXPECT_NE(premier, ajouter());
    try {
        ajouter();
        FAIL() << "a third was accepted";
    } catch (const orix::Echec& echec) {
        EXPECT_EQ(echec.lireCode(), orix::OXS_NOK);
    }
    clients.abandonner(premier, "essai");
    EXPECT_EQ(clients.trouver(premier), nullptr);
    EXPECT_NE(ajouter(), premier);
    EXPECT_EQ(clients.tous().size(), 2u);
    for (const auto& client : clients.tous())
        clients.abandonner(client->identite().numero, "essai");
}
