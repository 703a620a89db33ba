#include "orix/Configuration.h"

#include "BornesTOML.h"
#include "orix/Enumerer.h"
#include "orix/interne/Perpetuel.h"

#include <toml++/toml.h>

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <variant>

namespace orix {

namespace {

using Duree = Configuration::Duree;
using Liste = Configuration::Liste;
using Routage = Configuration::Routage;

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

using Valeur = std::variant<std::string, Liste, Duree, int, bool, Routage>;

/// One key: its place in the file, its default, and the values that make sense.
struct Descripteur
{
    template <class T>
    Descripteur(Cle<T> cle, const char* tableDe, const char* nomDe, std::enable_if_t<true, T> d,
                long long minimum = 0, long long maximum = 0, Controle c = {})
        : numero(cle.numero),
          table(tableDe),
          nom(nomDe),
          defaut(std::move(d)),
          min(minimum),
          max(maximum),
          controle(c)
    {}
    template <class T>
    Descripteur(Cle<T> cle, const char* tableDe, const char* nomDe, std::enable_if_t<true, T> d, Controle c)
        : Descripteur(cle, tableDe, nomDe, std::move(d), 0, 0, c)
    {}

    int numero;
    const char* table;
    const char* nom; // null: whichever
    Valeur defaut;
    long long min; // of a number; of the elements of a list
    long long max;
    Controle controle; // of a text, or of each of a list
};

std::string nomHote()
{
    char nom[256] = {};
    return ::gethostname(nom, sizeof nom - 1) == 0 && nom[0] != '\0' ? nom : "localhost";
}

constexpr std::size_t SERVEURS_MAX = 2;

const std::vector<Descripteur>& descripteurs()
{
    constexpr long long UNE_HEURE = 3600000; // ms
    const Liste TOUS{"*"};
    using namespace std::chrono_literals;
    static const Perpetuel<std::vector<Descripteur>> table(std::vector<Descripteur>{
        {cle::nomMachineHote, "processus", "machine", nomHote(), NON_VIDE},
        {cle::nomProcessus, "processus", "nom", ""},
        {cle::pointsAcces, "orb", "points_acces", {"127.0.0.1:0"}, 1, 0, POINT_ACCES},
        {cle::delaiConnexion, "orb", "delai_connexion_ms", 2s, 1, UNE_HEURE},
        {cle::delaiAppel, "orb", "delai_appel_ms", 5s, 1, UNE_HEURE},
        {cle::tailleMessageMax, "orb", "taille_message_max", 2097152, 8192, INT_MAX},
        {cle::grouperEnvois, "orb", "grouper_envois", true},
        {cle::delaiActivation, "noyau", "delai_activation_ms", 10s, 1, UNE_HEURE},
        {cle::periodePing, "surveillance", "periode_ms", 1s, 1, UNE_HEURE},
        {cle::delaiPing, "surveillance", "delai_ms", 1s, 1, UNE_HEURE},
        {cle::pingsManques, "surveillance", "pings_manques", 2, 1, 1000},
        {cle::capaciteFileCB, "executeur", "capacite", 10000, 1, 100000000},
        {cle::guetFileCB, "executeur", "guet_us", 0, 0, 10000},
        {cle::niveauTrace, "trace", "niveau", 0, 0, 1000},
        {cle::fichierTrace, "trace", "fichier", ""},
        {cle::capaciteTrace, "trace", "capacite", 8192, 0, 10000000},
        {cle::certificatAutorite, "tls", "certificat_autorite", "", LISIBLE},
        {cle::certificat, "tls", "certificat", "", LISIBLE},
        {cle::motDePasse, "tls", "mot_de_passe", ""},
        {cle::exigerCertificat, "tls", "exiger_certificat", true},
        {cle::nomsServeurs, "tls", "noms_serveurs", {}, NON_VIDE},
        {cle::listeRevocation, "tls", "liste_revocation", "", LISIBLE},
        {cle::accesLecture, "acces", "lecture", TOUS, NON_VIDE},
        {cle::accesEcriture, "acces", "ecriture", TOUS, NON_VIDE},
        {cle::accesActivation, "acces", "activation", TOUS, NON_VIDE},
        {cle::routage, "routage", nullptr, {}},
    });
    return *table;
}

std::string entreGuillemets(const std::string& texte) { return '"' + texte + '"'; }

std::string nomComplet(const std::string& table, const std::string& cle) { return "[" + table + "] " + cle; }

// ---- Checks of values

void controlerNombre(const Endroit& endroit, const Descripteur& cle, long long nombre)
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

void controler(const Endroit& endroit, const Descripteur& cle, const std::string& texte)
{
    controlerTexte(endroit, cle.controle, texte);
}
void controler(const Endroit& endroit, const Descripteur& cle, const Liste& liste)
{
    if (!liste.empty() || cle.min != 0)
        controlerListe(endroit, cle.controle, liste, std::numeric_limits<std::size_t>::max(),
                       Motif::auMoinsUn);
}
void controler(const Endroit& endroit, const Descripteur& cle, const Configuration::Duree& duree)
{
    controlerNombre(endroit, cle, duree.count());
}
void controler(const Endroit& endroit, const Descripteur& cle, int nombre)
{
    controlerNombre(endroit, cle, nombre);
}
void controler(const Endroit&, const Descripteur&, bool) {}

void controlerUrls(const Endroit& endroit, const Liste& urls)
{
    controlerListe(endroit, URL, urls, SERVEURS_MAX, Motif::nombreUrls);
}
void controler(const Endroit& endroit, const Descripteur& cle, const Routage& routage)
{
    for (const auto& [service, urls] : routage)
        controlerUrls({endroit.fichier, 0, nomComplet(cle.table, service)}, urls);
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

} // namespace

struct Configuration::Valeurs
{
    std::vector<Valeur> parNumero;

    Valeurs() : parNumero(descripteurs().size())
    {
        for (const Descripteur& cle : descripteurs())
            de(cle) = cle.defaut;
    }
    Valeur& de(const Descripteur& cle) { return parNumero.at(static_cast<std::size_t>(cle.numero)); }
};

/// Reads one document.
class Configuration::Lecture
{
  public:
    Lecture(Valeurs& valeurs, std::string nom) : _valeurs(valeurs), _nom(std::move(nom)) {}

    void lire(const toml::table& document)
    {
        for (const auto& [nom, noeud] : document) {
            const std::string table(nom.str());
            if (_chercher([&](const Descripteur& c) { return table == c.table; }) == nullptr)
                throw ErreurConfiguration(Motif::tableInconnue,
                                          _endroit(nom, noeud.is_table() ? "[" + table + "]" : table),
                                          {_tables()});
            if (!noeud.is_table())
                throw ErreurConfiguration(Motif::table, _endroit(nom, "[" + table + "]"), {decrire(noeud)});
            for (const auto& [cle, valeur] : *noeud.as_table())
                _lireCle(table, std::string(cle.str()), valeur,
                         _endroit(cle, nomComplet(table, std::string(cle.str()))));
        }
    }

  private:
    template <class Predicat>
    static const Descripteur* _chercher(Predicat predicat)
    {
        const auto& cles = descripteurs();
        const auto cle = std::find_if(cles.begin(), cles.end(), predicat);
        return cle != cles.end() ? &*cle : nullptr;
    }

    void _lireCle(const std::string& table, const std::string& nom, const toml::node& noeud,
                  const Endroit& endroit)
    {
        const Descripteur* const cle = _chercher(
            [&](const Descripteur& c) { return table == c.table && (c.nom == nullptr || nom == c.nom); });
        if (cle == nullptr)
            throw ErreurConfiguration(Motif::cleInconnue, endroit, {_cles(table)});
        std::visit([&](auto& valeur) { _affecter(valeur, *cle, nom, noeud, endroit); }, _valeurs.de(*cle));
    }

    template <class T>
    static void _affecter(T& valeur, const Descripteur& cle, const std::string& nom, const toml::node& noeud,
                          const Endroit& endroit)
    {
        if constexpr (std::is_same_v<T, Routage>) {
            Liste& urls = valeur[nom] = _listeTextes(noeud, endroit, Motif::urls);
            return controlerUrls(endroit, urls);
        } else if constexpr (std::is_same_v<T, std::string>) {
            valeur = _scalaire<std::string>(noeud, endroit, Motif::chaine);
        } else if constexpr (std::is_same_v<T, bool>) {
            valeur = _scalaire<bool>(noeud, endroit, Motif::booleen);
        } else if constexpr (std::is_same_v<T, Liste>) {
            valeur = _listeTextes(noeud, endroit, Motif::chaines);
        } else {
            const auto nombre = _scalaire<std::int64_t>(noeud, endroit, Motif::entier);
            controlerNombre(endroit, cle, nombre);
            valeur = static_cast<T>(nombre);
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
        for (const Descripteur& cle : descripteurs())
            if (table == cle.table)
                noms.emplace_back(cle.nom);
        return enumerer(noms);
    }
    static std::string _tables()
    {
        Liste noms;
        for (const Descripteur& cle : descripteurs())
            if (const std::string table = "[" + std::string(cle.table) + "]";
                noms.empty() || noms.back() != table)
                noms.push_back(table);
        return enumerer(noms);
    }

    Valeurs& _valeurs;
    const std::string _nom;
};

Configuration::Configuration() : _valeurs(std::make_unique<Valeurs>()) {}
Configuration::Configuration(const Configuration& autre)
    : _valeurs(std::make_unique<Valeurs>(*autre._valeurs))
{}
Configuration::Configuration(Configuration&& autre) noexcept = default;
Configuration& Configuration::operator=(const Configuration& autre) { return *this = Configuration(autre); }
Configuration& Configuration::operator=(Configuration&& autre) noexcept = default;
Configuration::~Configuration() = default;

template <class T>
const T& Configuration::lire(Cle<T> cle) const
{
    return std::get<T>(_valeurs->parNumero[static_cast<std::size_t>(cle.numero)]);
}
template const std::string& Configuration::lire(Cle<std::string>) const;
template const Liste& Configuration::lire(Cle<Liste>) const;
template const Duree& Configuration::lire(Cle<Duree>) const;
template const int& Configuration::lire(Cle<int>) const;
template const bool& Configuration::lire(Cle<bool>) const;
template const Routage& Configuration::lire(Cle<Routage>) const;

const std::string& Configuration::lireNomMachineHote() const { return lire(cle::nomMachineHote); }

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
        Lecture(*configuration._valeurs, nom).lire(document);
        // Whoever writes the table wants TLS: without an authority all would go in plain text.
        if (const auto tls = document.find("tls");
            tls != document.end() && configuration[cle::certificatAutorite].empty())
            throw ErreurConfiguration(
                Motif::autorite,
                {nom, tls->first.source().begin.line, nomComplet("tls", "certificat_autorite")},
                {entreGuillemets({})});
        if (const auto acces = document.find("acces");
            acces != document.end() && configuration[cle::certificatAutorite].empty())
            throw ErreurConfiguration(Motif::tls, {nom, acces->first.source().begin.line, "[acces]"});
    } catch (const toml::parse_error& erreur) {
        throw ErreurConfiguration(Motif::syntaxe, {nom, erreur.source().begin.line},
                                  {std::string(erreur.description())});
    }
    configuration.verifier(nom);
    return configuration;
}

void Configuration::verifier(const std::string& nom) const
{
    for (const Descripteur& cle : descripteurs())
        std::visit(
            [&](const auto& valeur) {
                controler({nom, 0, nomComplet(cle.table, cle.nom != nullptr ? cle.nom : "")}, cle, valeur);
            },
            _valeurs->de(cle));
    const bool autorite = !lire(cle::certificatAutorite).empty();
    const bool certificat = !lire(cle::certificat).empty();
    const bool autres = !lire(cle::motDePasse).empty() || !lire(cle::exigerCertificat) ||
                        !lire(cle::nomsServeurs).empty() || !lire(cle::listeRevocation).empty();
    if (!autorite && (certificat || autres))
        throw ErreurConfiguration(Motif::autorite, {nom, 0, nomComplet("tls", "certificat_autorite")},
                                  {entreGuillemets({})});
    for (const Descripteur& cle : descripteurs())
        if (!autorite && std::string_view(cle.table) == "acces" && _valeurs->de(cle) != cle.defaut)
            throw ErreurConfiguration(Motif::tls, {nom, 0, nomComplet(cle.table, cle.nom)});
    if (autorite && !certificat)
        throw ErreurConfiguration(Motif::certificat, {nom, 0, nomComplet("tls", "certificat")},
                                  {entreGuillemets({})});
}

} // namespace orix
