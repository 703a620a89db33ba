// Who is not the server speaks to the client, knowing its keys, and says what a server would.
#include "CapteurTraces.h"
#include "OXnoyau.h"
#include "SessionEspionnee.h"
#include "orix/interne/Interlocuteurs.h"
#include "orix/interne/RepondeurNoyau.h"

#include <numeric>

using essais::Etranger;

using SessionAbordee = essais::SessionEspionnee;

TEST_F(SessionAbordee, LeServeurSeulParleAuClient)
{
    const std::string ping = client().requete("testerConnexionClient", "cdv", "cdv1", "tour", numeroClient());
    const std::string cas[] = {notification(), notifications().requete("operation_inconnue"), ping,
                               client().requete("deconnexionCB", CORBA::Long(23)),
                               client().requete("_is_a", "IDL:orix_corba__Client:1.0")};
    essais::CapteurTraces traces(orix::NTO_REFUS);
    for (const std::string& requete : cas)
        EXPECT_EQ(client().demander(requete, AILLEURS), "NO_PERMISSION") << (&requete - cas);
    EXPECT_THAT(traces.prendreTextes(), // and no line for the rest
                testing::ElementsAre("100 Refusé à 127.0.0.2, qui n'est pas le serveur : cree_vol_complet"));
    EXPECT_EQ(orix::Interlocuteurs::lireRefus(), std::size(cas));
    EXPECT_EQ(client().demander(ping), ""); // from where the server is
}

// The answer to an activation comes over the connection that asked for it, and over no other.
TEST_F(SessionAbordee, NulNeRepondAUneActivationALaPlaceDuServeur)
{
    orix::ORBthread* const acces = orix::oxNoyau()->lirePointAcces();
    const PortableServer::Servant_var<orix::RepondeurNoyau> repondeur =
        new orix::RepondeurNoyau(acces->lireORB(), acces->lirePOA_ORIX());
    orix::OXnoyau::TransactionCreerReference<POA_orix_corba::AMI_NoyauHandler> enAttente(repondeur.in(),
                                                                                         nullptr);
    const orix_corba::AMI_NoyauHandler_var reference = enAttente.prendreReference();
    const Cible cible{_portClient, essais::giop::cle(reference)};
    const std::string pirate = cible.requete("activerService", CORBA::Long(0), "PIRATE", "ailleurs",
                                             orix_corba::NiveauReference(), numeroClient());
    for (const char* source : {ICI, AILLEURS})
        EXPECT_EQ(cible.demander(pirate, source), "OBJECT_NOT_EXIST");
}

// Else any number of keys of a kind would tell the next.
TEST_F(SessionAbordee, LesClesNeSeDevinentPas)
{
    std::vector<std::string> cles{service().cle};
    for (int tour = 0; tour < 3; ++tour) {
        for (const auto& cible : {client(), notifications()})
            cles.push_back(cible.cle);
        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
        activer();
    }
    constexpr std::size_t ALEA = 16;
    for (auto a = cles.begin(); a != cles.end(); ++a) {
        ASSERT_GT(a->size(), ALEA);
        for (auto b = cles.begin(); b != a; ++b) // by chance they have one octet in common, rarely two
            EXPECT_LE(std::inner_product(a->end() - ALEA, a->end(), b->end() - ALEA, 0, std::plus<>(),
                                         std::equal_to<>()),
                      6);
    }
}

// Only what the server itself sends proves it alive.
TEST_F(SessionAbordee, UnServeurFigeEstPerduQuoiQueDiseUnAutre)
{
    _premier->figer();
    std::atomic<bool> perdu{false};
    std::thread bavard([&, requete = notification()] {
        Etranger etranger(_portClient, AILLEURS);
        while (!perdu)
            etranger.demander(requete);
    });
    EXPECT_EQ(_callbacks.attendre("deconnexionCB").statut, orix::OXS_ECHEC_PING);
    perdu = true;
    bavard.join();
    _premier->signaler(SIGCONT);
}
