#include "DossierTemporaire.h"
#include "Transcription.h"
#include "orix/Configuration.h"
#include "orix/Processus.h"

using orix::Configuration;
using orix::ErreurConfiguration;
using std::chrono::milliseconds;

namespace {

std::string erreur(const std::string& texte)
{
    try {
        Configuration::analyser(texte, "essai.toml");
    } catch (const ErreurConfiguration& e) {
        return e.what();
    }
    return "accepted";
}

} // namespace

TEST(Configuration, UneErreurTientEnUneLigneQuiDitOuEtQuoi)
{
    essais::rejouer("unit/refus.txt", [](auto&, auto& toml) { return erreur(toml) + "\n"; });
    const std::string malforme = erreur("[orb]\ndelai_appel_ms = \n");
    EXPECT_EQ(malforme.find("essai.toml:2: malformed TOML: "), 0u) << malforme;
    EXPECT_EQ(malforme.find('\n'), std::string::npos) << malforme;
    // What would take the parser's whole stack. A string is no nesting, whatever it holds.
    std::string points;
    for (int i = 0; i < 100000; ++i)
        points += "a.";
    const std::string tropProfond =
        "got a longer or deeper text, expected at most 1048576 bytes and 64 nested levels";
    for (const std::string debut : {"", "[", "[[", "x = [\"\"\"\n]\"\"\"\"\", {", "x = ['\\', # ]'\"\n"}) {
        const std::string texte = "[orb]\n" + debut + points + "b = 1\n";
        const auto ligne = 2 + std::count(debut.begin(), debut.end(), '\n');
        EXPECT_EQ(erreur(texte), "essai.toml:" + std::to_string(ligne) + ": " + tropProfond) << debut;
    }
    EXPECT_EQ(erreur(std::string(1 << 20, '\n') + "\n"), "essai.toml:1: " + tropProfond);
    EXPECT_EQ(erreur("[processus] # " + points + "\nmachine = '" + points + "'\n"), "accepted");
}

TEST(Configuration, UneErreurDonneSesPartiesEtSeDitEnFrancais)
{
    try {
        Configuration::analyser("[orb]\ndelai_appel_ms = -7\n", "essai.toml");
        FAIL() << "accepted";
    } catch (const ErreurConfiguration& e) {
        EXPECT_EQ(e.motif(), ErreurConfiguration::Motif::entierEntre);
        EXPECT_EQ(e.endroit().fichier, "essai.toml");
        EXPECT_EQ(e.endroit().ligne, 2u);
        EXPECT_EQ(e.endroit().cle, "[orb] delai_appel_ms");
        EXPECT_EQ(e.sujets(), (std::vector<std::string>{"-7", "1", "3600000"}));
        EXPECT_EQ(e.enFrancais(),
                  "essai.toml:2 : [orb] delai_appel_ms : -7 ; attendu : un entier de 1 à 3600000");
    }
}

TEST(Configuration, UneValeurDuProgrammeEstVerifieeAussi)
{
    Configuration sansTLS[5];
    sansTLS[0][orix::cle::exigerCertificat] = false; // of what TLS?
    sansTLS[1][orix::cle::nomsServeurs] = {"serveur"};
    sansTLS[2][orix::cle::listeRevocation] = "/dev/null";
    sansTLS[3][orix::cle::accesActivation] = {"client"};
    sansTLS[4][orix::cle::accesEcriture] = {};
    for (const Configuration& c : sansTLS)
        EXPECT_THROW(c.verifier("essai"), ErreurConfiguration) << &c - sansTLS;
    Configuration configuration;
    configuration[orix::cle::delaiPing] = milliseconds(0);
    int argc = 0;
    std::string message;
    EXPECT_EQ(orix::initialiser(argc, nullptr, configuration, &message), orix::OXS_MAUVAISE_CONF);
    EXPECT_EQ(message,
              "configuration: [surveillance] delai_ms: got 0, expected an integer from 1 to 3600000");
}

TEST(Configuration, LeFichierEstLuOuRefuse)
{
    const essais::DossierTemporaire dossier;
    const std::string fichier = dossier.fichier("orix.toml");
    std::ofstream(fichier) << "[surveillance]\nperiode_ms = 0\n";
    int argc = 0;
    std::string message;
    EXPECT_EQ(orix::initialiser(argc, nullptr, fichier, &message), orix::OXS_MAUVAISE_CONF);
    EXPECT_EQ(message,
              fichier + ":2: [surveillance] periode_ms: got 0, expected an integer from 1 to 3600000");

    for (const std::string& illisible : {dossier.fichier("absent.toml"), dossier.fichier("")}) {
        EXPECT_EQ(orix::initialiser(argc, nullptr, illisible, &message), orix::OXS_ABSENCE_CONF) << illisible;
        EXPECT_EQ(message, illisible + ": got a file that cannot be read, expected a TOML file");
    }

    std::ofstream(fichier, std::ios::trunc).flush();
    EXPECT_EQ(orix::initialiser(argc, nullptr, fichier, &message), orix::OXS_OK) << message;
    EXPECT_EQ(orix::configuration()->lire(orix::cle::delaiActivation), milliseconds(10000));
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
}
