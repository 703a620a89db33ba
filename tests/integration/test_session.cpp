// A client session through the facade, against real servers.
#include "SessionReelle.h"
#include "VolsEssai.h"

#include <sstream>

using essais::vol;

using Session = essais::SessionReelle;

TEST_F(Session, VieCompleteDUnVol)
{
    EXPECT_EQ(OXcdvCliItf::lireVersion(), orix::VERSION_NULLE);
    EXPECT_EQ(activer(), "cdv1");
    EXPECT_EQ(OXcdvCliItf::lireVersion(), orix::OXversion(3, 0, 0, 0));
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_SERVICE_DEJA_ACTIVE);

    // What the application sent is what it reads back, whatever the bytes.
    const auto complet = essais::volComplet();
    std::string octets;
    for (int octet = 1; octet < 256; ++octet)
        octets += static_cast<char>(octet);
    complet->ecrire_gtrtspec(OXdupliqueChaine(octets.c_str()));
    complet->ecrire_gacoustique(OXdupliqueChaine(""));
    complet->ecrire_gpiste(nullptr);
    std::ostringstream envoye;
    envoye << *complet;
    _callbacks.dumps = true;
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *complet).dump, envoye.str());
    EXPECT_EQ(demander(&OXcdvCliItf::consulte_vol_complet, *complet).dump, envoye.str());
    _callbacks.dumps = false;

    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *complet).statut, 1); // already there
    EXPECT_EQ(lister(*vol("gident*")), std::vector<std::string>{"gidentifiant"});
    EXPECT_EQ(demander(&OXcdvCliItf::supprime_vol_complet, *complet).statut, 0);
    EXPECT_EQ(demander(&OXcdvCliItf::consulte_vol_complet, *complet).statut, 2); // not there
    EXPECT_EQ(demander(&OXcdvCliItf::modifie_vol_complet, *vol("autre")).statut, 2);
    EXPECT_TRUE(lister(*vol("*")).empty());

    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_SERVICE_NON_ACTIVE);
    int idOp = -7;
    EXPECT_EQ(OXcdvCliItf::cree_vol_complet(complet.get(), idOp), orix::OXS_SERVICE_NON_ACTIVE);
    EXPECT_EQ(idOp, -7);
    EXPECT_EQ(activer(), "cdv1"); // a voluntary end changes no server
}
