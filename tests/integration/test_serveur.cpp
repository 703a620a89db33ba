// The server as its clients and its operator see it.
#include "ClientBrut.h"
#include "DossierTemporaire.h"
#include "Etranger.h"
#include "ServeurReel.h"

#include <sqlite3.h>

using namespace essais;
using testing::AllOf;
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
    std::deque<Etranger> voisins; // so many that the connections behind theirs have no thread of their own
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(voisins.emplace_back(serveur.port()).demander(giop::requete("Noyau", "_non_existent")), "");
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

TEST_F(TestServeur, UneBaseQuiNEstPlusASaPlaceNePerdRienEtLeServeurSArrete)
{
    namespace fs = std::filesystem;
    struct Lieux
    {
        fs::path dossier, base, survivante;
    };
    const struct
    {
        const char* nom;
        bool lien; // the file has another name
        void (*atteindre)(const Lieux&);
    } atteintes[] = {
        {"effacee", true, [](const Lieux& l) { fs::remove(l.base); }},
        {"renommee", false, [](const Lieux& l) { fs::rename(l.base, l.survivante); }},
        {"remplacee", true,
         [](const Lieux& l) {
             std::ofstream(l.dossier / "autre.db") << "autre";
             fs::rename(l.dossier / "autre.db", l.base);
         }},
        {"journal", true, [](const Lieux& l) { fs::remove(l.base.string() + "-wal"); }},
        {"dossier", true, [](const Lieux& l) { fs::remove_all(l.dossier); }},
    };
    constexpr int AVANT = 300;
    constexpr int EN_TOUT = 3000;
    for (const auto& [nom, lien, atteindre] : atteintes) {
        const fs::path dossier = _dossier.fichier(nom);
        const Lieux lieux{dossier, dossier / "vols.db", dossier.string() + ".db"};
        fs::create_directory(dossier);
        std::set<std::string> faits;
        {
            ServeurReel serveur(lieux.base);
            ClientBrut client(serveur.url());
            client.activer();
            for (int i = 0; i < EN_TOUT; ++i)
                client.creer(std::to_string(i), i);
            std::vector<Recu> recus = client.attendre(AVANT);
            if (lien)
                fs::create_hard_link(lieux.base, lieux.survivante);
            atteindre(lieux);
            client.creer("apres", EN_TOUT);
            while (std::get<0>(recus.back()) == "cree")
                recus.push_back(client.attendre());
            EXPECT_EQ(recus.back(), Recu("deconnexion", orix::OXS_SERVICE_NON_ACTIVE, "", 0)) << nom;
            recus.pop_back();
            for (const auto& [quoi, resultat, identifiant, idOp] : recus) {
                EXPECT_EQ(resultat, resultat == 0 ? 0 : 4) << nom;
                if (resultat == 0)
                    faits.insert(identifiant);
            }
            EXPECT_EQ(serveur.attendreFin(), 3) << nom;
            EXPECT_THAT(serveur.erreurs(), HasSubstr("La base n'est plus à sa place")) << nom;
        }
        EXPECT_GE(faits.size(), std::size_t{AVANT}) << nom;
        EXPECT_EQ(faits.count("apres"), 0u) << nom;

        const ServeurReel serveur(lieux.survivante);
        ClientBrut client(serveur.url());
        client.activer().lister(1);
        for (Recu recu = client.attendre(); std::get<0>(recu) == "liste"; recu = client.attendre())
            faits.erase(std::get<2>(recu));
        EXPECT_EQ(faits, std::set<std::string>()) << nom;
    }
}

TEST_F(TestServeur, CeQuIlEcritNEstPasLuParLesAutres)
{
    const std::string configuration = _dossier.fichier("serveur.toml");
    const std::string trace = _dossier.fichier("trace.log");
    std::ofstream(configuration) << "[trace]\nfichier = \"" << trace << "\"\n";
    const ServeurReel serveur(_base, {"--configuration", configuration, "--trace", "900"});
    ClientBrut(serveur.url()).activer().creer("AF1", 1);
    for (const std::string& fichier : {_base, _base + "-wal", _base + "-shm", trace}) {
        using std::filesystem::perms;
        const perms droits = std::filesystem::status(fichier).permissions();
        EXPECT_EQ(droits & (perms::others_all | perms::group_write), perms::none) << fichier;
        EXPECT_NE(droits & perms::owner_write, perms::none) << fichier;
    }
}

TEST_F(TestServeur, IlAttendUneBaseVerrouilleeEtRouvreSaTraceSurSIGHUP)
{
    const std::string configuration = _dossier.fichier("serveur.toml");
    const std::string trace = _dossier.fichier("trace.log");
    std::ofstream(configuration) << "[trace]\nfichier = \"" << trace << "\"\n";
    sqlite3* autre = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(_base.c_str(), &autre));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(autre, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    Programme serveur(cheminServeur(),
                      {"--base", _base, "--port", "0", "--configuration", configuration, "--trace", "100"});
    EXPECT_TRUE(serveur.attendreErreurs("base verrouillée par un autre programme")) << serveur.erreurs();
    serveur.signaler(SIGHUP); // no reason to give up
    sqlite3_close(autre);
    ASSERT_TRUE(serveur.attendreSortie("\n")) << serveur.erreurs();

    std::filesystem::rename(trace, trace + ".1"); // as who rotates it does
    serveur.signaler(SIGHUP);
    serveur.signaler(SIGTERM); // comes behind it
    EXPECT_EQ(0, serveur.attendreFin());
    std::ostringstream suite;
    suite << std::ifstream(trace).rdbuf();
    EXPECT_THAT(suite.str(), AllOf(HasSubstr("Droits relus"), HasSubstr("Arrêt demandé")));
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
    present.service()->desactiveCB(present.numero());
    EXPECT_FALSE(present.estConnu());
}

/// Nor one that is alive and takes nothing: more than its connection and the server's queue hold together.
// Longer than a call may take, and than what the connection holds.
TEST_F(TestServeur, QuiNePrendRienMaisRepondAuxPingsATout)
{
    constexpr int BEAUCOUP = 20000;
    constexpr int PINGS = 60;
    ServeurReel serveur(_base, {"--periode-ping", "100", "--delai-ping", "30000", "--memoire-max", "1"});
    ClientBrut fige(serveur.url());
    fige.activer();
    for (int i = 0; i < BEAUCOUP; ++i)
        fige.creer(std::to_string(BEAUCOUP + i), i);
    ASSERT_NE(fige.attendre(BEAUCOUP).back(), Recu("rien", 0, "", 0));
    fige.porte().fermerApres(0);
    fige.lister(1);
    for (int i = 0; i < PINGS; ++i)
        EXPECT_TRUE(fige.face().pings.prendre(false, PATIENCE));
    fige.porte().ouvrir();
    const std::vector<Recu> recus = fige.attendre(BEAUCOUP + 1);
    EXPECT_EQ(recus.front(), Recu("liste", 0, std::to_string(BEAUCOUP), 1));
    EXPECT_EQ(recus.back(), Recu("fin_liste", 0, "", 1));
    EXPECT_TRUE(std::is_sorted(recus.begin(), recus.end() - 1));

    fige.porte().fermerApres(0); // a stop does not wait for it
    fige.lister(2);
    ASSERT_TRUE(fige.estConnu());
    serveur.signaler(SIGTERM);
    EXPECT_EQ(0, serveur.attendreFin());
    fige.porte().ouvrir();
}
