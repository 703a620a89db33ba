#include "Demarrage.h"
#include "DossierTemporaire.h"
#include "Transcription.h"
#include "orix/Configuration.h"

using orix::Configuration;
using orix::ErreurConfiguration;
using std::chrono::milliseconds;

namespace {

/// Why it is refused, in the library's language; in French too.
std::pair<std::string, std::string> erreur(const std::string& texte)
{
    try {
        Configuration::analyser(texte, "essai.toml");
    } catch (const ErreurConfiguration& e) {
        return {e.what(), e.enFrancais()};
    }
    return {"accepted", ""};
}

} // namespace

TEST(Configuration, UneErreurTientEnUneLigneQuiDitOuEtQuoi)
{
    essais::rejouer("unit/refus.txt", [](auto&, auto& toml) {
        const auto [dit, enFrancais] = erreur(toml);
        return dit + "\n" + enFrancais + "\n";
    });
    const std::string malforme = erreur("[orb]\ndelai_appel_ms = \n").first;
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
        EXPECT_EQ(erreur(texte).first, "essai.toml:" + std::to_string(ligne) + ": " + tropProfond) << debut;
    }
    EXPECT_EQ(erreur(std::string(1 << 20, '\n') + "\n").first, "essai.toml:1: " + tropProfond);
    EXPECT_EQ(erreur("[processus] # " + points + "\nmachine = '" + points + "'\n").first, "accepted");
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
    EXPECT_EQ(essais::demarrer(configuration), "OXS_MAUVAISE_CONF: configuration: [surveillance] delai_ms: "
                                               "got 0, expected an integer from 1 to 3600000");
}

TEST(Configuration, LeFichierEstLuOuRefuse)
{
    const essais::DossierTemporaire dossier;
    const std::string fichier = dossier.fichier("orix.toml");
    std::ofstream(fichier) << "[surveillance]\nperiode_ms = 0\n";
    EXPECT_EQ(essais::demarrer(fichier),
              "OXS_MAUVAISE_CONF: " + fichier +
                  ":2: [surveillance] periode_ms: got 0, expected an integer from 1 to 3600000");

    for (const std::string& illisible : {dossier.fichier("absent.toml"), dossier.fichier("")})
        EXPECT_EQ(essais::demarrer(illisible), "OXS_ABSENCE_CONF: " + illisible +
                                                   ": got a file that cannot be read, expected a TOML file");

    std::ofstream(fichier, std::ios::trunc).flush();
    EXPECT_EQ(essais::demarrer(fichier), "");
    EXPECT_EQ(orix::configuration()->lire(orix::cle::delaiActivation), milliseconds(10000));
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
}
