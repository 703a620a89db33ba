// docs/configuration.md against the configuration as it is: every key, its default, its range.
#include "OXcdvCliCode.h"
#include "Transcription.h"
#include "orix/Configuration.h"

#include <regex>

using orix::Configuration;
using orix::ErreurConfiguration;

namespace {

struct Rang
{
    std::string defaut;
    std::string etendue;
};

std::string lireDocument(const std::string& nom) { return essais::lireFichier(OXCDV_SOURCES "/" + nom); }

/// The rows of the table, by "[table] key".
std::map<std::string, Rang> cles()
{
    static const std::regex RANG(R"(\| `(\[\w+\] \w+)` \| ([^|]+) \| ([^|]+) \| [^|]+ \|)");
    std::map<std::string, Rang> resultat;
    std::istringstream document(lireDocument("docs/configuration.md"));
    for (std::string ligne; std::getline(document, ligne);)
        if (std::smatch m; std::regex_match(ligne, m, RANG))
            resultat[m[1]] = {m[2], m[3]};
    return resultat;
}

/// The names that the refusal of an unknown one offers.
std::set<std::string> offerts(const std::string& toml)
{
    std::set<std::string> noms;
    try {
        Configuration::analyser(toml, "essai");
    } catch (const ErreurConfiguration& erreur) {
        static const std::regex NOM(R"(\[?\w+\]?)");
        const std::string& liste = erreur.sujets().at(0);
        for (std::sregex_iterator i(liste.begin(), liste.end(), NOM), fin; i != fin; ++i)
            noms.insert(i->str());
    }
    return noms;
}

/// The value of each key.
std::map<std::string, std::string> valeurs(const Configuration& c)
{
    const auto nombre = [](auto valeur) { return std::to_string(valeur); };
    return {
        {"[processus] machine", c[orix::cle::nomMachineHote]},
        {"[processus] nom", c[orix::cle::nomProcessus]},
        {"[orb] points_acces", c[orix::cle::pointsAcces].at(0)},
        {"[orb] delai_connexion_ms", nombre(c[orix::cle::delaiConnexion].count())},
        {"[orb] delai_appel_ms", nombre(c[orix::cle::delaiAppel].count())},
        {"[orb] taille_message_max", nombre(c[orix::cle::tailleMessageMax])},
        {"[orb] grouper_envois", c[orix::cle::grouperEnvois] ? "true" : "false"},
        {"[noyau] delai_activation_ms", nombre(c[orix::cle::delaiActivation].count())},
        {"[surveillance] periode_ms", nombre(c[orix::cle::periodePing].count())},
        {"[surveillance] delai_ms", nombre(c[orix::cle::delaiPing].count())},
        {"[surveillance] pings_manques", nombre(c[orix::cle::pingsManques])},
        {"[executeur] capacite", nombre(c[orix::cle::capaciteFileCB])},
        {"[executeur] guet_us", nombre(c[orix::cle::guetFileCB])},
        {"[trace] niveau", nombre(c[orix::cle::niveauTrace])},
        {"[trace] fichier", c[orix::cle::fichierTrace]},
        {"[trace] capacite", nombre(c[orix::cle::capaciteTrace])},
        {"[tls] certificat_autorite", c[orix::cle::certificatAutorite]},
        {"[tls] certificat", c[orix::cle::certificat]},
        {"[tls] mot_de_passe", c[orix::cle::motDePasse]},
        {"[tls] exiger_certificat", c[orix::cle::exigerCertificat] ? "true" : "false"},
        {"[tls] noms_serveurs", c[orix::cle::nomsServeurs].empty() ? "" : c[orix::cle::nomsServeurs].front()},
        {"[tls] liste_revocation", c[orix::cle::listeRevocation]},
        {"[acces] lecture", c[orix::cle::accesLecture].at(0)},
        {"[acces] ecriture", c[orix::cle::accesEcriture].at(0)},
        {"[acces] activation", c[orix::cle::accesActivation].at(0)}};
}

/// What comes of the key given that value, in TOML; nothing when it is refused.
std::optional<Configuration> affecter(const std::string& cle, const std::string& valeur)
{
    const std::size_t fin = cle.find(' ');
    try {
        return Configuration::analyser(
            cle.substr(0, fin) + "\n" + cle.substr(fin + 1) + " = " + valeur + "\n", "essai");
    } catch (const ErreurConfiguration&) {
        return std::nullopt;
    }
}

} // namespace

TEST(Documentation, ChaqueCleEstDecriteEtArriveASaPlace)
{
    const std::map<std::string, std::string> defauts = valeurs(Configuration());
    std::set<std::string> connues;
    for (const std::string& table : offerts("[inconnue]\n"))
        if (table != "[routage]")
            for (const std::string& cle : offerts(table + "\ncle_inconnue = 1\n"))
                connues.insert(table + " " + cle);
    const auto verifierPlace = [&](const std::string& cle, const std::string& toml,
                                   const std::string& valeur) {
        const auto configuration = affecter(cle, toml);
        ASSERT_TRUE(configuration) << cle << " = " << toml;
        auto attendu = defauts;
        attendu[cle] = valeur;
        EXPECT_EQ(valeurs(*configuration), attendu) << cle << " = " << toml;
    };
    static const std::regex ETENDUE(R"((\d+) to (\d+))");
    int nombres = 0;
    for (const auto& [cle, rang] : cles()) {
        EXPECT_EQ(connues.erase(cle), 1u) << cle;
        if (rang.defaut.front() == '`') {
            EXPECT_EQ(rang.defaut, "`" + defauts.at(cle) + "`") << cle;
        }
        if (std::smatch m; std::regex_match(rang.etendue, m, ETENDUE)) {
            ++nombres;
            for (const int bord : {1, 2})
                verifierPlace(cle, m[bord], m[bord]);
            EXPECT_FALSE(affecter(cle, std::to_string(std::stoll(m[1]) - 1))) << cle;
            EXPECT_FALSE(affecter(cle, std::to_string(std::stoll(m[2]) + 1))) << cle;
            continue;
        }
        EXPECT_FALSE(affecter(cle, "-1")) << cle << " takes a number, whose range is not given";
        if (cle.find("[tls]") == 0 || cle.find("[acces]") == 0)
            continue; // those want files, and each other
        if (cle == "[orb] points_acces")
            verifierPlace(cle, "[\"[::1]:7\"]", "[::1]:7");
        else if (const std::string defaut = defauts.at(cle); defaut == "true" || defaut == "false")
            verifierPlace(cle, defaut == "true" ? "false" : "true", defaut == "true" ? "false" : "true");
        else
            verifierPlace(cle, "\"essai\"", "essai");
    }
    EXPECT_EQ(connues, std::set<std::string>()) << "not in the document";
    EXPECT_GE(nombres, 10);
}

TEST(Documentation, LesCodesDuServiceSontTousDecritsEtLesSeuls)
{
    static const std::regex RANG(R"(\| (\d+) \| [^|]+ \|)");
    std::set<int> decrits;
    std::istringstream document(lireDocument("docs/guide.md"));
    for (std::string ligne; std::getline(document, ligne);)
        if (std::smatch m; std::regex_match(ligne, m, RANG))
            decrits.insert(std::stoi(m[1]));
    std::set<int> connus;
    for (int code = -1; code < 100; ++code)
        if (cdv::code::texte(code) != nullptr)
            connus.insert(code);
    EXPECT_EQ(decrits, connus);
}

TEST(Documentation, LesFichiersDExempleSontAcceptes)
{
    static const std::regex EXEMPLE("```toml\n([^`]*)```");
    int exemples = 0;
    for (const char* nom : {"README.md", "docs/configuration.md", "docs/exploitation.md"}) {
        const std::string document = lireDocument(nom);
        for (std::sregex_iterator i(document.begin(), document.end(), EXEMPLE), fin; i != fin;
             ++i, ++exemples)
            EXPECT_NO_THROW(Configuration::analyser((*i)[1], nom)) << (*i)[1];
    }
    EXPECT_GE(exemples, 2);
    EXPECT_NO_THROW(
        Configuration::lire(std::string(OXCDV_SOURCES) + "/paquets/racine/serveur/etc/cdv/serveur.toml"));
}
