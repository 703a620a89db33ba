#include "orix/Configuration.h"

#include "FichierIllisible.h"

#include <toml++/toml.h>

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <type_traits>
#include <variant>

namespace orix {

namespace {

using Liste = std::vector<std::string>;

/// A check of a text; gives what was expected when the text is wrong, else null.
using Controle = const char* (*)(const std::string&);

const char* nonVide(const std::string& texte) { return texte.empty() ? "a text that is not empty" : nullptr; }

const char* fichierLisible(const std::string& texte)
{
    return texte.empty() || ::access(texte.c_str(), R_OK) == 0 ? nullptr : "the name of a readable file";
}

const char* pointAcces(const std::string& texte)
{
    static constexpr const char* ATTENDU = "\"HOST:PORT\" with a port from 0 to 65535";
    const std::size_t separateur = texte.rfind(':');
    if (separateur == std::string::npos || separateur == 0)
        return ATTENDU;
    const std::string port = texte.substr(separateur + 1);
    const bool chiffres = !port.empty() && port.size() <= 5 &&
                          std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
    return chiffres && std::stoi(port) <= 65535 ? nullptr : ATTENDU;
}

const char* url(const std::string& texte)
{
    for (const char* debut : {"corbaloc:", "corbaname:", "IOR:"})
        if (texte.compare(0, std::strlen(debut), debut) == 0)
            return nullptr;
    return "the URL of a kernel (\"corbaloc:...\")";
}

/// Where a key's value lives.
template <class T>
using Membre = T Configuration::*;
template <class T>
using MembreTLS = T ConfigurationTLS::*;
using Destination =
    std::variant<Membre<std::string>, Membre<Liste>, Membre<Configuration::Duree>, Membre<std::size_t>,
                 Membre<int>, Membre<bool>, MembreTLS<std::string>, MembreTLS<bool>>;

/// One key of the file: its place, its member, and the values that make sense.
struct Cle
{
    const char* table;
    const char* nom;
    Destination destination;
    long long min = 0; // of a number
    long long max = 0;
    Controle controle = nullptr; // of a text, or of each of a list
};

constexpr long long UNE_HEURE = 3600000; // ms
constexpr const char* ROUTAGE = "routage";
constexpr std::size_t SERVEURS_MAX = 2;

const Cle CLES[] = {
    {"processus", "machine", &Configuration::nomMachineHote, 0, 0, nonVide},
    {"orb", "points_acces", &Configuration::pointsAcces, 0, 0, pointAcces},
    {"orb", "delai_connexion_ms", &Configuration::delaiConnexion, 1, UNE_HEURE},
    {"orb", "delai_appel_ms", &Configuration::delaiAppel, 1, UNE_HEURE},
    {"orb", "taille_message_max", &Configuration::tailleMessageMax, 8192, INT_MAX},
    {"orb", "grouper_envois", &Configuration::grouperEnvois},
    {"noyau", "delai_activation_ms", &Configuration::delaiActivation, 1, UNE_HEURE},
    {"surveillance", "periode_ms", &Configuration::periodePing, 1, UNE_HEURE},
    {"surveillance", "delai_ms", &Configuration::delaiPing, 1, UNE_HEURE},
    {"surveillance", "pings_manques", &Configuration::pingsManques, 1, 1000},
    {"executeur", "capacite", &Configuration::capaciteFileCB, 1, 100000000},
    {"executeur", "guet_us", &Configuration::guetFileCB, 0, 10000},
    {"trace", "niveau", &Configuration::niveauTrace, 0, 1000},
    {"trace", "fichier", &Configuration::fichierTrace},
    {"trace", "capacite", &Configuration::capaciteTrace, 0, 10000000},
    {"tls", "certificat_autorite", &ConfigurationTLS::certificatAutorite, 0, 0, fichierLisible},
    {"tls", "certificat", &ConfigurationTLS::certificat, 0, 0, fichierLisible},
    {"tls", "mot_de_passe", &ConfigurationTLS::motDePasse},
    {"tls", "exiger_certificat", &ConfigurationTLS::exigerCertificat},
};

template <class T>
T& acceder(Configuration& configuration, Membre<T> membre)
{
    return configuration.*membre;
}
template <class T>
T& acceder(Configuration& configuration, MembreTLS<T> membre)
{
    return configuration.tls.*membre;
}

std::string entreGuillemets(const std::string& texte) { return '"' + texte + '"'; }

std::string nomComplet(const std::string& table, const std::string& cle) { return "[" + table + "] " + cle; }

/// One line, whatever the file holds.
[[noreturn]] void echouer(const std::string& texte)
{
    static constexpr const char* CHIFFRES = "0123456789ABCDEF";
    std::string ligne;
    for (const char c : texte) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet >= 0x20 && octet != 0x7F)
            ligne += c;
        else
            ligne += {'\\', 'x', CHIFFRES[octet / 16], CHIFFRES[octet % 16]};
    }
    throw ErreurConfiguration(ligne);
}

/// lieu: "FILE" or "FILE:LINE".
[[noreturn]] void refuser(const std::string& lieu, const std::string& quoi, const std::string& obtenu,
                          const std::string& attendu)
{
    echouer(lieu + ": " + quoi + ": got " + obtenu + ", expected " + attendu);
}

std::string enumerer(const Liste& textes)
{
    std::string liste;
    for (const std::string& texte : textes)
        liste += (liste.empty() ? "" : ", ") + texte;
    return liste;
}

// ----------------------------------------------------------------------------------------------- checks of
// values

void controlerNombre(const std::string& lieu, const Cle& cle, long long nombre)
{
    if (nombre < cle.min || nombre > cle.max)
        refuser(lieu, nomComplet(cle.table, cle.nom), std::to_string(nombre),
                "an integer from " + std::to_string(cle.min) + " to " + std::to_string(cle.max));
}

void controlerTexte(const std::string& lieu, const std::string& quoi, Controle controle,
                    const std::string& texte)
{
    if (controle == nullptr)
        return;
    if (const char* attendu = controle(texte))
        refuser(lieu, quoi, entreGuillemets(texte), attendu);
}

void controlerListe(const std::string& lieu, const std::string& quoi, Controle controle, const Liste& liste,
                    std::size_t max, const char* attendu)
{
    if (liste.empty() || liste.size() > max)
        refuser(lieu, quoi, std::to_string(liste.size()) + " of them", attendu);
    for (const std::string& texte : liste)
        controlerTexte(lieu, quoi, controle, texte);
}

void controler(const std::string& lieu, const Cle& cle, const std::string& texte)
{
    controlerTexte(lieu, nomComplet(cle.table, cle.nom), cle.controle, texte);
}
void controler(const std::string& lieu, const Cle& cle, const Liste& liste)
{
    controlerListe(lieu, nomComplet(cle.table, cle.nom), cle.controle, liste,
                   std::numeric_limits<std::size_t>::max(), "at least one");
}
void controler(const std::string& lieu, const Cle& cle, const Configuration::Duree& duree)
{
    controlerNombre(lieu, cle, duree.count());
}
void controler(const std::string& lieu, const Cle& cle, std::size_t nombre)
{
    controlerNombre(lieu, cle, nombre > LLONG_MAX ? LLONG_MAX : static_cast<long long>(nombre));
}
void controler(const std::string& lieu, const Cle& cle, int nombre) { controlerNombre(lieu, cle, nombre); }
void controler(const std::string&, const Cle&, bool) {}

void controlerRoutage(const std::string& lieu, const std::string& service, const Liste& urls)
{
    controlerListe(lieu, nomComplet(ROUTAGE, service), url, urls, SERVEURS_MAX, "one or two URLs");
}

// ------------------------------------------------------------------------------------------------- reading
// of TOML

std::string decrire(const toml::node& noeud)
{
    std::ostringstream texte;
    switch (noeud.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::string:
        return entreGuillemets(noeud.as_string()->get());
    default:
        noeud.visit([&](const auto& valeur) {
            if constexpr (toml::is_value<decltype(valeur)>)
                texte << valeur.get();
        });
        return noeud.is_boolean() ? (noeud.as_boolean()->get() ? "true" : "false") : texte.str();
    }
}

/// Reads one document.
class Lecture
{
  public:
    Lecture(Configuration& configuration, std::string nom)
        : _configuration(configuration), _nom(std::move(nom))
    {}

    void lire(const toml::table& document)
    {
        for (const auto& [nom, noeud] : document) {
            const std::string texte(nom.str());
            const bool connue =
                texte == ROUTAGE ||
                std::any_of(std::begin(CLES), std::end(CLES), [&](const Cle& c) { return texte == c.table; });
            if (!connue)
                refuser(_lieu(nom.source()), noeud.is_table() ? "[" + texte + "]" : texte, "an unknown name",
                        "one of the tables " + _tables());
            if (!noeud.is_table())
                refuser(_lieu(nom.source()), "[" + texte + "]", decrire(noeud), "a table");
            _lireTable(texte, *noeud.as_table());
        }
    }

  private:
    void _lireTable(const std::string& table, const toml::table& valeurs)
    {
        for (const auto& [nom, noeud] : valeurs) {
            const std::string cle(nom.str());
            const std::string lieu = _lieu(nom.source());
            if (table == ROUTAGE) {
                Liste& urls = _configuration.routage[cle];
                urls = _listeTextes(noeud, lieu, nomComplet(table, cle), "an array of one or two URLs");
                controlerRoutage(lieu, cle, urls);
            } else {
                _lireCle(table, cle, noeud, lieu);
            }
        }
    }

    void _lireCle(const std::string& table, const std::string& nom, const toml::node& noeud,
                  const std::string& lieu)
    {
        const auto cle = std::find_if(std::begin(CLES), std::end(CLES),
                                      [&](const Cle& c) { return table == c.table && nom == c.nom; });
        if (cle == std::end(CLES))
            refuser(lieu, nomComplet(table, nom), "an unknown key", "one of " + _cles(table));
        std::visit([&](auto membre) { _affecter(acceder(_configuration, membre), *cle, noeud, lieu); },
                   cle->destination);
    }

    template <class T>
    void _affecter(T& valeur, const Cle& cle, const toml::node& noeud, const std::string& lieu)
    {
        const std::string quoi = nomComplet(cle.table, cle.nom);
        if constexpr (std::is_same_v<T, std::string>) {
            valeur = _scalaire<std::string>(noeud, lieu, quoi, "a string");
        } else if constexpr (std::is_same_v<T, bool>) {
            valeur = _scalaire<bool>(noeud, lieu, quoi, "true or false");
        } else if constexpr (std::is_same_v<T, Liste>) {
            valeur = _listeTextes(noeud, lieu, quoi, "an array of strings");
        } else {
            const auto nombre = _scalaire<std::int64_t>(noeud, lieu, quoi, "an integer");
            controlerNombre(lieu, cle, nombre);
            valeur = T(nombre);
        }
        controler(lieu, cle, valeur);
    }

    template <class T>
    static T _scalaire(const toml::node& noeud, const std::string& lieu, const std::string& quoi,
                       const char* attendu)
    {
        const std::optional<T> valeur = noeud.value_exact<T>();
        if (!valeur)
            refuser(lieu, quoi, decrire(noeud), attendu);
        return *valeur;
    }

    static Liste _listeTextes(const toml::node& noeud, const std::string& lieu, const std::string& quoi,
                              const char* attendu)
    {
        if (!noeud.is_array())
            refuser(lieu, quoi, decrire(noeud), attendu);
        Liste liste;
        for (const toml::node& element : *noeud.as_array())
            liste.push_back(_scalaire<std::string>(element, lieu, quoi, attendu));
        return liste;
    }

    std::string _lieu(const toml::source_region& region) const
    {
        return _nom + ":" + std::to_string(region.begin.line);
    }

    static std::string _cles(const std::string& table)
    {
        Liste noms;
        for (const Cle& cle : CLES)
            if (table == cle.table)
                noms.push_back(cle.nom);
        return enumerer(noms);
    }
    static std::string _tables()
    {
        Liste noms;
        for (const Cle& cle : CLES)
            if (noms.empty() || noms.back() != "[" + std::string(cle.table) + "]")
                noms.push_back("[" + std::string(cle.table) + "]");
        noms.push_back("[" + std::string(ROUTAGE) + "]");
        return enumerer(noms);
    }

    Configuration& _configuration;
    const std::string _nom;
};

std::string nomHote()
{
    char nom[256] = {};
    return ::gethostname(nom, sizeof nom - 1) == 0 && nom[0] != '\0' ? nom : "localhost";
}

} // namespace

Configuration::Configuration() : nomMachineHote(nomHote()), pointsAcces{"127.0.0.1:0"} {}

Configuration Configuration::lire(const std::string& fichier)
{
    std::ifstream flux(fichier, std::ios::binary);
    std::ostringstream texte;
    if (flux && flux.peek() != std::ifstream::traits_type::eof()) // an empty file is one that can be read
        texte << flux.rdbuf();
    if (!flux.is_open() || flux.bad() || !texte)
        throw FichierIllisible(fichier + ": got a file that cannot be read, expected a TOML file");
    return analyser(texte.str(), fichier);
}

Configuration Configuration::analyser(const std::string& texte, const std::string& nom)
{
    Configuration configuration;
    try {
        Lecture(configuration, nom).lire(toml::parse(texte));
    } catch (const toml::parse_error& erreur) {
        echouer(nom + ":" + std::to_string(erreur.source().begin.line) +
                ": malformed TOML: " + std::string(erreur.description()));
    }
    configuration.verifier(nom);
    return configuration;
}

void Configuration::verifier(const std::string& nom) const
{
    for (const Cle& cle : CLES)
        std::visit(
            [&](auto membre) { controler(nom, cle, acceder(const_cast<Configuration&>(*this), membre)); },
            cle.destination);
    for (const auto& [service, urls] : routage)
        controlerRoutage(nom, service, urls);
    if (!tls.estActive() && !tls.certificat.empty())
        refuser(nom, nomComplet("tls", "certificat_autorite"), entreGuillemets({}),
                "the authority's certificate beside certificat");
    if (tls.estActive() && tls.certificat.empty())
        refuser(nom, nomComplet("tls", "certificat"), entreGuillemets({}),
                "this process's certificate beside certificat_autorite");
}

} // namespace orix
