// docs/configuration.md against the configuration as it is: every key, its default, its range.
#include "OXcdvCliCode.h"
#include "orix/Configuration.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>

using orix::Configuration;
using orix::ErreurConfiguration;

namespace {

struct Rang
{
    std::string defaut;
    std::string etendue;
};

std::string lireDocument(const std::string& nom)
{
    std::ifstream flux(std::string(OXCDV_SOURCES) + "/" + nom);
    std::ostringstream texte;
    texte << flux.rdbuf();
    EXPECT_FALSE(texte.str().empty()) << nom;
    return texte.str();
}

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

/// The key given that value, in TOML.
std::string affecter(const std::string& cle, const std::string& valeur)
{
    const std::size_t fin = cle.find(' ');
    return cle.substr(0, fin) + "\n" + cle.substr(fin + 1) + " = " + valeur + "\n";
}

bool accepte(const std::string& cle, const std::string& valeur)
{
    try {
        Configuration::analyser(affecter(cle, valeur), "essai");
        return true;
    } catch (const ErreurConfiguration&) {
        return false;
    }
}

/// The default of each key whose default is a value, as the document writes it.
std::map<std::string, std::string> defauts()
{
    const Configuration c;
    const auto nombre = [](auto valeur) { return std::to_string(valeur); };
    return {{"[orb] points_acces", c.pointsAcces.at(0)},
            {"[orb] delai_connexion_ms", nombre(c.delaiConnexion.count())},
            {"[orb] delai_appel_ms", nombre(c.delaiAppel.count())},
            {"[orb] taille_message_max", nombre(c.tailleMessageMax)},
            {"[orb] grouper_envois", c.grouperEnvois ? "true" : "false"},
            {"[noyau] delai_activation_ms", nombre(c.delaiActivation.count())},
            {"[surveillance] periode_ms", nombre(c.periodePing.count())},
            {"[surveillance] delai_ms", nombre(c.delaiPing.count())},
            {"[surveillance] pings_manques", nombre(c.pingsManques)},
            {"[executeur] capacite", nombre(c.capaciteFileCB)},
            {"[executeur] guet_us", nombre(c.guetFileCB)},
            {"[trace] niveau", nombre(c.niveauTrace)},
            {"[trace] capacite", nombre(c.capaciteTrace)},
            {"[tls] exiger_certificat", c.tls.exigerCertificat ? "true" : "false"}};
}

} // namespace

TEST(Documentation, LesClesDeLaConfigurationSontToutesDecritesEtLesSeules)
{
    std::set<std::string> decrites;
    for (const auto& [cle, rang] : cles())
        decrites.insert(cle);

    std::set<std::string> connues;
    for (const std::string& table : offerts("[inconnue]\n"))
        if (table != "[routage]")
            for (const std::string& cle : offerts(table + "\ncle_inconnue = 1\n"))
                connues.insert(table + " " + cle);
    EXPECT_GE(connues.size(), 17u);
    EXPECT_EQ(decrites, connues);
}

TEST(Documentation, LesValeursParDefautSontCellesDuCode)
{
    const std::map<std::string, std::string> attendus = defauts();
    std::map<std::string, std::string> ecrits;
    for (const auto& [cle, rang] : cles())
        if (rang.defaut.front() == '`')
            ecrits[cle] = rang.defaut.substr(1, rang.defaut.size() - 2);
    EXPECT_EQ(ecrits, attendus);
}

TEST(Documentation, LesEtenduesSontCellesDuCode)
{
    static const std::regex ETENDUE(R"((\d+) to (\d+))");
    int nombres = 0;
    for (const auto& [cle, rang] : cles()) {
        std::smatch m;
        if (!std::regex_match(rang.etendue, m, ETENDUE)) {
            EXPECT_FALSE(accepte(cle, "-1")) << cle << " takes a number, whose range is not given";
            continue;
        }
        ++nombres;
        const long long min = std::stoll(m[1]);
        const long long max = std::stoll(m[2]);
        EXPECT_TRUE(accepte(cle, std::to_string(min))) << cle;
        EXPECT_TRUE(accepte(cle, std::to_string(max))) << cle;
        EXPECT_FALSE(accepte(cle, std::to_string(min - 1))) << cle;
        EXPECT_FALSE(accepte(cle, std::to_string(max + 1))) << cle;
    }
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
