// What client and server share must stay what the existing servers know: names, inheritance, bounds.
#include "OXcdvClientVersServeurC.h"
#include "OXcdvServeurVersClientC.h"

#include <gtest/gtest.h>

namespace {

/// Whether an object that claims to be nothing but the named interface is accepted under the other name.
template <class Interface>
bool accepte(Interface* squelette, const char* identifiant)
{
    return squelette->_is_a(identifiant);
}

/// Skeletons can be asked _is_a without being activated; their operations are never called here.
class ServeurMuet : public POA_orix_corba::OXcdv_v3_0_0_ClientVersServeur
{
    void testerConnexionClient(const char*, const char*, const char*, CORBA::Long) override {}
    void testerConnexionServeur(CORBA::Long) override {}
    void desactiveCB(CORBA::Long) override {}
    void deconnexionCB(CORBA::Long) override {}
    void cree_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
    void modifie_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
    void supprime_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
    void consulte_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
    void liste_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long, CORBA::Long) override {}
};

class ClientMuet : public POA_orix_corba::OXcdv_v3_0_0_ServeurVersClient
{
    void cree_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void modifie_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void supprime_vol_complet(CORBA::Long, CORBA::Long) override {}
    void consulte_vol_complet(CORBA::Long, const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void liste_vol_complet(const OXvol_completData_v3_0_0&, CORBA::Long) override {}
    void fin_liste_vol_complet(CORBA::Long, CORBA::Long) override {}
};

constexpr const char* SERVEUR = "IDL:orix_corba/OXcdv_v3_0_0_ClientVersServeur:1.0";
constexpr const char* NOTIFICATIONS = "IDL:orix_corba/OXcdv_v3_0_0_ServeurVersClient:1.0";

} // namespace

TEST(Contrat, ChaqueInterfaceAccepteSesAncetresEtEuxSeuls)
{
    ServeurMuet serveur;
    for (const char* identifiant : {SERVEUR, "IDL:orix_corba/Serveur:1.0", "IDL:orix_corba/InterfacePing:1.0",
                                    "IDL:omg.org/CORBA/Object:1.0"})
        EXPECT_TRUE(accepte(&serveur, identifiant)) << identifiant;
    EXPECT_FALSE(accepte(&serveur, NOTIFICATIONS));

    ClientMuet client;
    EXPECT_TRUE(accepte(&client, NOTIFICATIONS));
    EXPECT_TRUE(accepte(&client, "IDL:omg.org/CORBA/Object:1.0"));
    EXPECT_FALSE(accepte(&client, "IDL:orix_corba/InterfacePing:1.0"));
}

TEST(Contrat, IdentifiantsDeDepot)
{
    EXPECT_STREQ(orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_PD_repoId,
                 "IDL:orix_corba/AMI_OXcdv_v3_0_0_ClientVersServeurHandler:1.0");
    EXPECT_STREQ(orix_corba::AMI_OXcdv_v3_0_0_ServeurVersClientHandler::_PD_repoId,
                 "IDL:orix_corba/AMI_OXcdv_v3_0_0_ServeurVersClientHandler:1.0");
    EXPECT_STREQ(orix_corba::AMI_ServeurHandler::_PD_repoId, "IDL:orix_corba/AMI_ServeurHandler:1.0");
    EXPECT_STREQ(orix_corba::AMI_InterfacePingHandler::_PD_repoId,
                 "IDL:orix_corba/AMI_InterfacePingHandler:1.0");
    EXPECT_STREQ(orix_corba::ClientDeconnecte::_PD_repoId, "IDL:orix_corba/ClientDeconnecte:1.0");
    EXPECT_STREQ(orix_corba::ServeurDeconnecte::_PD_repoId, "IDL:orix_corba/ServeurDeconnecte:1.0");
}
