#include "Clients.h"

#include "orix/interne/Echec.h"

#include <gtest/gtest.h>

namespace {

class Clients : public testing::Test
{
  protected:
    ~Clients() override
    {
        for (const auto& client : _clients.tous())
            _clients.abandonner(client->identite().numero, "essai");
    }

    /// The number; 0 when it is refused.
    int ajouter(const char* appelant, bool repond = false)
    {
        try {
            const int numero = _clients.ajouter("nom", "machine", appelant,
                                                orix_corba::OXcdv_v3_0_0_ServeurVersClient::_nil(),
                                                orix_corba__Client::_nil());
            if (repond)
                _clients.trouver(numero)->confirmer();
            return numero;
        } catch (const orix::Echec& echec) {
            EXPECT_EQ(echec.lireCode(), orix::OXS_NOK);
            return 0;
        }
    }
    bool estLa(int numero) { return _clients.trouver(numero) != nullptr; }

    static serveur::Clients::Reglages reglages()
    {
        serveur::Clients::Reglages r;
        r.parAdresse = 2;
        r.nombreMax = 4;
        return r;
    }
    serveur::Clients _clients{reglages()};
};

} // namespace

// Whoever reaches the kernel may activate itself: places are bounded, and for those who answer.
TEST_F(Clients, LesPlacesSontACeuxQuiRepondent)
{
    const int muet = ajouter("ici/alpha");
    const int present = ajouter("ici/beta", true);
    EXPECT_NE(muet, present);

    // Of one address, whatever the certificates: the one that has not answered makes place.
    const int autre = ajouter("ici/gamma", true);
    EXPECT_FALSE(estLa(muet));
    EXPECT_TRUE(estLa(present) && estLa(autre));
    EXPECT_EQ(ajouter("ici/delta"), 0);
    EXPECT_NE(ajouter("icietla", true), 0);

    // Of all addresses: the oldest such one does.
    const int ancien = ajouter("la");
    const int nouveau = ajouter("ailleurs", true);
    EXPECT_FALSE(estLa(ancien));
    EXPECT_TRUE(estLa(nouveau));
    EXPECT_EQ(ajouter("la"), 0);

    _clients.abandonner(present, "essai");
    EXPECT_NE(ajouter("la"), 0);
    EXPECT_EQ(_clients.tous().size(), 4u);
}
