#include "orix/Configuration.h"

#include "BornesTOML.h"
#include "orix/Enumerer.h"

#include <toml++/toml.h>

#include <unistd.h>

#include <algorithm>
#include <climits>
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

using Motif = ErreurConfiguration::Motif;
using Endroit = ErreurConfiguration::Endroit;

/// A check of a text, and what is wrong with one that it does not accept.
struct Controle
{
    bool (*accepte)(const std::string&) = nullptr; ///< null: any text
    Motif motif = Motif::chaine;
};

bool estPointAcces(const std::string& texte)
{
    const std::size_t separateur = texte.rfind(':');
    if (separateur == std::string::npos || separateur == 0)
        return false;
    const std::string port = texte.substr(separateur + 1);
    const bool chiffres = !port.empty() && port.size() <= 5 &&
                          std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
    return chiffres && std::stoi(port) <= 65535;
}

bool estUrl(const std::string& texte)
{
    constexpr const char* DEBUTS[] = {"corbaloc:", "corbaname:", "IOR:"};
    return std::any_of(std::begin(DEBUTS), std::end(DEBUTS),
                       [&](const char* debut) { return texte.rfind(debut, 0) == 0; });
}

constexpr Controle NON_VIDE{[](const std::string& texte) { return !texte.empty(); }, Motif::nonVide};
constexpr Controle LISIBLE{
    [](const std::string& texte) { return texte.empty() || ::access(texte.c_str(), R_OK) == 0; },
    Motif::fichierLisible};
constexpr Controle POINT_ACCES{&estPointAcces, Motif::pointAcces};
constexpr Controle URL{&estUrl, Motif::url};

/// Where a key's value lives.
template <class T>
using Membre = T Configuration::*;
template <class T>
using MembreTLS = T ConfigurationTLS::*;
using Destination =
    std::variant<Membre<std::string>, Membre<Liste>, Membre<Configuration::Duree>, Membre<std::size_t>,
                 Membre<int>, Membre<bool>, MembreTLS<std::string>, MembreTLS<Liste>, MembreTLS<bool>>;

/// One key of the file: its place, its member, and the values that make sense.
struct Cle
{
    const char* table;
    const char* nom;
    Destination destination;
    long long min = 0; // of a number; of the elements of a list
    long long max = 0;
    Controle controle = {}; // of a text, or of each of a list
};

constexpr long long UNE_HEURE = 3600000; // ms
constexpr const char* ROUTAGE = "routage";
constexpr std::size_t SERVEURS_MAX = 2;

const Cle CLES[] = {
    {"processus", "machine", &Configuration::nomMachineHote, 0, 0, NON_VIDE},
    {"orb", "points_acces", &Configuration::pointsAcces, 1, 0, POINT_ACCES},
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
    {"tls", "certificat_autorite", &ConfigurationTLS::certificatAutorite, 0, 0, LISIBLE},
    {"tls", "certificat", &ConfigurationTLS::certificat, 0, 0, LISIBLE},
    {"tls", "mot_de_passe", &ConfigurationTLS::motDePasse},
    {"tls", "exiger_certificat", &ConfigurationTLS::exigerCertificat},
    {"tls", "noms_serveurs", &ConfigurationTLS::nomsServeurs, 0, 0, NON_VIDE},
    {"tls", "liste_revocation", &ConfigurationTLS::listeRevocation, 0, 0, LISIBLE},
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

// ---- Checks of values

void controlerNombre(const Endroit& endroit, const Cle& cle, long long nombre)
{
    if (nombre < cle.min || nombre > cle.max)
        throw ErreurConfiguration(Motif::entierEntre, endroit,
                                  {std::to_string(nombre), std::to_string(cle.min), std::to_string(cle.max)});
}

void controlerTexte(const Endroit& endroit, const Controle& controle, const std::string& texte)
{
    if (controle.accepte != nullptr && !controle.accepte(texte))
        throw ErreurConfiguration(controle.motif, endroit, {entreGuillemets(texte)});
}

void controlerListe(const Endroit& endroit, const Controle& controle, const Liste& liste, std::size_t max,
                    Motif nombre)
{
    if (liste.empty() || liste.size() > max)
        throw ErreurConfiguration(nombre, endroit, {std::to_string(liste.size())});
    for (const std::string& texte : liste)
        controlerTexte(endroit, controle, texte);
}

void controler(const Endroit& endroit, const Cle& cle, const std::string& texte)
{
    controlerTexte(endroit, cle.controle, texte);
}
void controler(const Endroit& endroit, const Cle& cle, const Liste& liste)
{
    if (!liste.empty() || cle.min != 0)
        controlerListe(endroit, cle.controle, liste, std::numeric_limits<std::size_t>::max(),
                       Motif::auMoinsUn);
}
void controler(const Endroit& endroit, const Cle& cle, const Configuration::Duree& duree)
{
    controlerNombre(endroit, cle, duree.count());
}
void controler(const Endroit& endroit, const Cle& cle, std::size_t nombre)
{
    controlerNombre(endroit, cle, nombre > LLONG_MAX ? LLONG_MAX : static_cast<long long>(nombre));
}
void controler(const Endroit& endroit, const Cle& cle, int nombre) { controlerNombre(endroit, cle, nombre); }
void controler(const Endroit&, const Cle&, bool) {}

void controlerUrls(const Endroit& endroit, const Liste& urls)
{
    controlerListe(endroit, URL, urls, SERVEURS_MAX, Motif::nombreUrls);
}

// ---- Reading of TOML

std::string decrire(const toml::node& noeud)
{
    std::ostringstream texte;
    switch (noeud.type()) {
    case toml::node_type::table:
        return "{...}";
    case toml::node_type::array:
        return "[...]";
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
                throw ErreurConfiguration(Motif::tableInconnue,
                                          _endroit(nom, noeud.is_table() ? "[" + texte + "]" : texte),
                                          {_tables()});
            if (!noeud.is_table())
                throw ErreurConfiguration(Motif::table, _endroit(nom, "[" + texte + "]"), {decrire(noeud)});
            _lireTable(texte, *noeud.as_table());
        }
    }

  private:
    void _lireTable(const std::string& table, const toml::table& valeurs)
    {
        for (const auto& [nom, noeud] : valeurs) {
            const std::string cle(nom.str());
            const Endroit endroit = _endroit(nom, nomComplet(table, cle));
            if (table == ROUTAGE) {
                Liste& urls = _configuration.routage[cle];
                urls = _listeTextes(noeud, endroit, Motif::urls);
                controlerUrls(endroit, urls);
            } else {
                _lireCle(table, cle, noeud, endroit);
            }
        }
    }

    void _lireCle(const std::string& table, const std::string& nom, const toml::node& noeud,
                  const Endroit& endroit)
    {
        const auto cle = std::find_if(std::begin(CLES), std::end(CLES),
                                      [&](const Cle& c) { return table == c.table && nom == c.nom; });
        if (cle == std::end(CLES))
            throw ErreurConfiguration(Motif::cleInconnue, endroit, {_cles(table)});
        std::visit([&](auto membre) { _affecter(acceder(_configuration, membre), *cle, noeud, endroit); },
                   cle->destination);
    }

    template <class T>
    void _affecter(T& valeur, const Cle& cle, const toml::node& noeud, const Endroit& endroit)
    {
        if constexpr (std::is_same_v<T, std::string>) {
            valeur = _scalaire<std::string>(noeud, endroit, Motif::chaine);
        } else if constexpr (std::is_same_v<T, bool>) {
            valeur = _scalaire<bool>(noeud, endroit, Motif::booleen);
        } else if constexpr (std::is_same_v<T, Liste>) {
            valeur = _listeTextes(noeud, endroit, Motif::chaines);
        } else {
            const auto nombre = _scalaire<std::int64_t>(noeud, endroit, Motif::entier);
            controlerNombre(endroit, cle, nombre);
            valeur = T(nombre);
        }
        controler(endroit, cle, valeur);
    }

    template <class T>
    static T _scalaire(const toml::node& noeud, const Endroit& endroit, Motif motif)
    {
        const std::optional<T> valeur = noeud.value_exact<T>();
        if (!valeur)
            throw ErreurConfiguration(motif, endroit, {decrire(noeud)});
        return *valeur;
    }

    static Liste _listeTextes(const toml::node& noeud, const Endroit& endroit, Motif motif)
    {
        if (!noeud.is_array())
            throw ErreurConfiguration(motif, endroit, {decrire(noeud)});
        Liste liste;
        for (const toml::node& element : *noeud.as_array())
            liste.push_back(_scalaire<std::string>(element, endroit, motif));
        return liste;
    }

    Endroit _endroit(const toml::key& nom, const std::string& cle) const
    {
        return {_nom, nom.source().begin.line, cle};
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
    std::string texte(TAILLE_TOML_MAX + 1, '\0'); // one byte more tells that there are too many
    flux.read(&texte[0], static_cast<std::streamsize>(texte.size()));
    if (!flux.is_open() || flux.bad())
        throw ErreurConfiguration(Motif::fichierIllisible, {fichier});
    texte.resize(static_cast<std::size_t>(flux.gcount()));
    return analyser(texte, fichier);
}

Configuration Configuration::analyser(const std::string& texte, const std::string& nom)
{
    verifierBornesTOML(texte, nom);
    Configuration configuration;
    try {
        const toml::table document = toml::parse(texte);
        Lecture(configuration, nom).lire(document);
        // Whoever writes the table wants TLS: without an authority all would go in plain text.
        if (const auto tls = document.find("tls"); tls != document.end() && !configuration.tls.estActive())
            throw ErreurConfiguration(
                Motif::autorite,
                {nom, tls->first.source().begin.line, nomComplet("tls", "certificat_autorite")},
                {entreGuillemets({})});
    } catch (const toml::parse_error& erreur) {
        throw ErreurConfiguration(Motif::syntaxe, {nom, erreur.source().begin.line},
                                  {std::string(erreur.description())});
    }
    configuration.verifier(nom);
    return configuration;
}

void Configuration::verifier(const std::string& nom) const
{
    for (const Cle& cle : CLES)
        std::visit(
            [&](auto membre) {
                controler({nom, 0, nomComplet(cle.table, cle.nom)}, cle,
                          acceder(const_cast<Configuration&>(*this), membre));
            },
            cle.destination);
    for (const auto& [service, urls] : routage)
        controlerUrls({nom, 0, nomComplet(ROUTAGE, service)}, urls);
    if (!tls.estActive() && (!tls.certificat.empty() || !tls.motDePasse.empty() || !tls.exigerCertificat))
        throw ErreurConfiguration(Motif::autorite, {nom, 0, nomComplet("tls", "certificat_autorite")},
                                  {entreGuillemets({})});
    if (tls.estActive() && tls.certificat.empty())
        throw ErreurConfiguration(Motif::certificat, {nom, 0, nomComplet("tls", "certificat")},
                                  {entreGuillemets({})});
}

} // namespace orix
