// The server as its clients and its operator see it.
#include "ClientBrut.h"
#include "DossierTemporaire.h"
#include "ServeurReel.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>

using namespace essais;
using testing::HasSubstr;

namespace {

std::string departDe(const ClientBrut& client)
{
    return "Client " + std::to_string(client.numero()) + " parti";
}

class TestServeur : public testing::Test
{
  protected:
    void SetUp() override
    {
        int argc = 0;
        std::string message;
        ASSERT_EQ(orix::OXS_OK, orix::initialiser(argc, nullptr, orix::Configuration(), &message)) << message;
    }
    void TearDown() override { EXPECT_EQ(orix::OXS_OK, orix::terminer()); }

    DossierTemporaire _dossier;
    std::string _base = _dossier.fichier("vols.db");
};

} // namespace

TEST(ProgrammeServeur, UnRefusTientEnUneLigneEtLeStatut2)
{
    const DossierTemporaire dossier;
    const std::string base = dossier.fichier("vols.db");
    const std::string abimee = dossier.fichier("abimee.db");
    std::ofstream(abimee) << std::string(8192, 'x');
    const std::string configuration = dossier.fichier("fausse.toml");
    std::ofstream(configuration) << "[orb]\ndelai_appel_ms = \"longtemps\"\n";
    const ServeurReel occupant(base);

    const struct
    {
        std::vector<std::string> arguments;
        std::string dit;
    } cas[] = {
        {{"--base", base, "--inconnue"}, "--inconnue"},
        {{}, "--base"},
        {{"--base", base, "--port", "70000"}, "70000"},
        {{"--base", base, "--port", std::to_string(occupant.port())}, std::to_string(occupant.port())},
        {{"--base", abimee, "--port", "0"}, "ce n'est pas une base de vols"},
        {{"--base", dossier.fichier("absent/vols.db"), "--port", "0"}, "absent/vols.db"},
        {{"--base", base, "--port", "0", "--configuration", configuration}, "delai_appel_ms"},
    };
    for (const auto& [arguments, dit] : cas) {
        Programme programme(cheminServeur(), arguments);
        EXPECT_EQ(2, programme.attendreFin()) << dit;
        const std::string erreurs = programme.erreurs();
        EXPECT_THAT(erreurs, HasSubstr(dit));
        EXPECT_EQ(erreurs.size() - 1, erreurs.find('\n')) << erreurs;
        EXPECT_EQ("", programme.sortie());
    }

    Programme aide(cheminServeur(), {"--help"});
    EXPECT_EQ(0, aide.attendreFin());
    EXPECT_THAT(aide.sortie(), HasSubstr("--periode-ping"));
    EXPECT_THAT(aide.sortie(), HasSubstr("4  échec de la base"));
    EXPECT_EQ("", aide.erreurs());
}

TEST_F(TestServeur, UneActivationImpossibleEstRefuseeAvecSonStatut)
{
    const ServeurReel serveur(_base, {"--nom", "premier", "--machine", "tour"});
    ClientBrut client(serveur.url());
    const auto verifier = [](const Activation& a, orix::OXstatut statut) {
        EXPECT_EQ(statut, a.statut);
        EXPECT_EQ(0, a.numero);
        EXPECT_STREQ("premier", a.serveur);
        EXPECT_TRUE(CORBA::is_nil(a.niveau->reference));
    };
    verifier(client.demander("vdc", 3, true), orix::OXS_SERVEUR_INEXISTANT);
    verifier(client.demander("cdv", 2, true), orix::OXS_PROTOCOLE_INCOMPATIBLE);
    verifier(client.demander("cdv", 3, false), orix::OXS_PARAMETRE_INVALIDE);

    const Activation a = client.demander("cdv", 3, true);
    EXPECT_EQ(orix::OXS_OK, a.statut);
    EXPECT_LT(0, a.numero);
    EXPECT_STREQ("premier", a.serveur);
    EXPECT_STREQ("tour", a.machine);
    EXPECT_EQ(3, a.niveau->majeur);
}

TEST_F(TestServeur, LesNotificationsSuiventLOrdreDesDemandesJusquALArret)
{
    ServeurReel serveur(_base);
    ClientBrut client(serveur.url());
    ClientBrut autre(serveur.url());
    client.activer();
    autre.activer();

    constexpr int NOMBRE = 2000;
    std::vector<Recu> attendus;
    for (int i = 1; i <= NOMBRE; ++i) {
        const std::string identifiant = std::to_string(100000 + i);
        client.creer(identifiant, i);
        attendus.push_back({"cree", 0, identifiant, i});
    }
    const auto envoyer = [&](const char* nom, auto sendc, const char* operation,
                             const std::string& identifiant, int resultat) {
        const int idOp = static_cast<int>(attendus.size()) + 1;
        client.envoyer(sendc, operation, vol(identifiant), idOp);
        attendus.push_back({nom, resultat, std::string(nom) == "supprime" ? "" : identifiant, idOp});
    };
    envoyer("cree", &Service::sendc_cree_vol_complet, "cree_vol_complet", "100001", 1);
    envoyer("modifie", &Service::sendc_modifie_vol_complet, "modifie_vol_complet", "100001", 0);
    envoyer("consulte", &Service::sendc_consulte_vol_complet, "consulte_vol_complet", "absent", 2);
    envoyer("consulte", &Service::sendc_consulte_vol_complet, "consulte_vol_complet", "", 3);
    client.lister(7);
    for (int i = 1; i <= NOMBRE; ++i)
        attendus.push_back({"liste", 0, std::to_string(100000 + i), 7});
    attendus.push_back({"fin_liste", 0, "", 7});
    envoyer("supprime", &Service::sendc_supprime_vol_complet, "supprime_vol_complet", "100001", 0);
    envoyer("supprime", &Service::sendc_supprime_vol_complet, "supprime_vol_complet", "100001", 2);

    // Told to stop, it ends what it has been asked, and tells its clients.
    ASSERT_TRUE(client.estConnu()); // answered behind them: the server has them all
    serveur.signaler(SIGTERM);
    attendus.push_back({"deconnexion", orix::OXS_SERVICE_NON_ACTIVE, "", 0});
    EXPECT_EQ(attendus, client.attendre(attendus.size()));
    EXPECT_EQ(autre.attendre(), attendus.back());
    EXPECT_EQ(0, serveur.attendreFin());
}

TEST_F(TestServeur, UnClientDefaillantOuQuiRenieEstAbandonneSansGenerLesAutres)
{
    ServeurReel serveur(_base, {"--periode-ping", "50", "--delai-ping", "50"});
    ClientBrut present(serveur.url());
    ClientBrut defaillant(serveur.url());
    ClientBrut renie(serveur.url());
    for (ClientBrut* client : {&present, &defaillant, &renie})
        client->activer();
    EXPECT_TRUE(renie.estConnu()); // a sign of life: it holds the server as its own
    defaillant.face().reponse = Face::DEFAILLANT;
    renie.face().reponse = Face::RENIE;
    EXPECT_TRUE(serveur.attendreErreurs(departDe(defaillant))) << serveur.erreurs();
    EXPECT_TRUE(serveur.attendreErreurs(departDe(renie))) << serveur.erreurs();
    EXPECT_FALSE(defaillant.estConnu());
    EXPECT_FALSE(renie.estConnu());

    EXPECT_TRUE(present.estConnu());
    present.creer("AF1", 1);
    EXPECT_EQ(present.attendre(), Recu("cree", 0, "AF1", 1));
}

/// Nor one that is alive and takes nothing: more than its connection and the server's queue hold together.
TEST_F(TestServeur, UnClientQuiNePrendRienEstAbandonne)
{
    constexpr int BEAUCOUP = 20000;
    ServeurReel serveur(_base, {"--periode-ping", "3600000"});
    ClientBrut fige(serveur.url());
    fige.activer();
    for (int i = 0; i < BEAUCOUP; ++i)
        fige.creer(std::to_string(i), i);
    ASSERT_NE(fige.attendre(BEAUCOUP).back(), Recu("rien", 0, "", 0));
    fige.porte().fermerApres(0);
    fige.lister(1);

    EXPECT_TRUE(serveur.attendreErreurs(departDe(fige))) << serveur.erreurs();
    fige.porte().ouvrir(); // the others are in this process, and have their messages behind it
    ClientBrut autre(serveur.url());
    autre.activer().creer("AF", 1);
    EXPECT_EQ(autre.attendre(), Recu("cree", 0, "AF", 1));
    serveur.signaler(SIGTERM);
    EXPECT_EQ(0, serveur.attendreFin());
}
