// What client and server share must stay what the existing servers know: names, inheritance, bounds.
#include "OXcdvServeurVersClientImplementation.h"
#include "ServeurEssai.h"

namespace {

constexpr const char* NOTIFICATIONS = "IDL:orix_corba/OXcdv_v3_0_0_ServeurVersClient:1.0";

} // namespace

TEST(Contrat, ChaqueInterfaceAccepteSesAncetresEtEuxSeuls)
{
    essais::ServiceEssai serveur; // may be asked without being activated
    for (const char* identifiant :
         {"IDL:orix_corba/OXcdv_v3_0_0_ClientVersServeur:1.0", "IDL:orix_corba/Serveur:1.0",
          "IDL:orix_corba/InterfacePing:1.0", "IDL:omg.org/CORBA/Object:1.0"})
        EXPECT_TRUE(serveur._is_a(identifiant)) << identifiant;
    EXPECT_FALSE(serveur._is_a(NOTIFICATIONS));

    POA_OXcdv_v3_0_0_ServeurVersClientImplementation client;
    EXPECT_TRUE(client._is_a(NOTIFICATIONS));
    EXPECT_TRUE(client._is_a("IDL:omg.org/CORBA/Object:1.0"));
    EXPECT_FALSE(client._is_a("IDL:orix_corba/InterfacePing:1.0"));
}

TEST(Contrat, IdentifiantsDesExceptions)
{
    EXPECT_STREQ(orix_corba::ClientDeconnecte::_PD_repoId, "IDL:orix_corba/ClientDeconnecte:1.0");
    EXPECT_STREQ(orix_corba::ServeurDeconnecte::_PD_repoId, "IDL:orix_corba/ServeurDeconnecte:1.0");
}
