#include "Options.h"

#include "Aide.h"
#include "Statut.h"
#include "Suggestion.h"
#include "Terminal.h"

#include "orix/Enumerer.h"
#include "orix/Trace.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <map>

namespace outils {

namespace {

template <class T>
CLI::Validator choix(const std::map<std::string, T>& valeurs)
{
    const std::string noms = orix::enumerer(valeurs, [](const auto& valeur) { return valeur.first; });
    return CLI::Validator(
        [valeurs, noms](std::string& texte) {
            return valeurs.count(texte) != 0 ? std::string()
                                             : "« " + texte + " » n'est pas l'un de : " + noms;
        },
        "");
}

CLI::Validator entier(long long minimum, long long maximum)
{
    return CLI::Validator(
        [=](std::string& texte) {
            long long valeur = 0;
            return CLI::detail::lexical_cast(texte, valeur) && valeur >= minimum && valeur <= maximum
                       ? std::string()
                       : "« " + texte + " » n'est pas un nombre de " + std::to_string(minimum) + " à " +
                             std::to_string(maximum);
        },
        "");
}

const std::map<std::string, Format> FORMATS{
    {"tableau", Format::tableau}, {"json", Format::json}, {"csv", Format::csv}, {"dump", Format::dump}};
const std::map<std::string, int> NIVEAUX{{"0", orix::NTO_AUCUN},
                                         {"100", orix::NTO_NOTABLE},
                                         {"300", orix::NTO_REFUS},
                                         {"700", orix::NTO_PROGRES},
                                         {"900", orix::NTO_DETAIL}};
const std::map<std::string, Existants> EXISTANTS{
    {"rejeter", Existants::refuser}, {"modifier", Existants::modifier}, {"ignorer", Existants::ignorer}};

const std::map<std::string, Verbe> VERBES{
    {"creer", Verbe::creer}, {"modifier", Verbe::modifier}, {"supprimer", Verbe::supprimer}};

constexpr long long UNE_HEURE = 3600000;
constexpr long long UN_MILLIARD = 1000000000;

/// The parser, which knows where the words go.
class Analyseur
{
  public:
    explicit Analyseur(Options& options) : _options(options), _application(aide::PRESENTATION, "cdv")
    {
        _application.footer(aide::COMPLEMENT);
        _application.fallthrough();
        _francais(_application);
        _application.require_subcommand(0, 1);
        // In the order of the help.
        _decrireGeneralites();
        _decrireVol();
        _decrireListe();
        _decrireFichiers();
        _decrireServeurs();
    }

    std::optional<int> lire(int argc, const char* const* argv)
    {
        try {
            _application.parse(argc, argv);
        } catch (const CLI::CallForHelp&) {
            if (const auto restes = _application.remaining(true); !restes.empty())
                return _refuser(_enTrop(restes.front())); // the help of what does not exist
            std::cout << _application.help();
            return FAIT;
        } catch (const CLI::CallForVersion& version) {
            std::cout << version.what() << '\n';
            return FAIT;
        } catch (const CLI::ParseError& erreur) {
            return _refuser(_expliquer(erreur));
        }
        _convertir();
        const auto choisies = _application.get_subcommands();
        if (!choisies.empty())
            _choisir(choisies.front()->get_name());
        else if (!_options.champs)
            return _refuser("il faut une commande");
        if (_options.urls.size() > 2)
            return _refuser("--url : deux serveurs au plus");
        for (std::string& url : _options.urls) {
            url = urlNoyau(url);
            if (url.empty())
                return _refuser("--url : il faut HOTE:PORT, ou une URL corbaloc:, corbaname:, IOR:");
        }
        const bool sansFichier = _options.fichier.empty();
        if (sansFichier && (_options.commande == "importer" || _options.commande == "exporter"))
            return _refuser("il faut un fichier, ou « - »");
        return std::nullopt;
    }

  private:
    void _decrireGeneralites()
    {
        _application.add_option("--config", _options.configuration, "fichier TOML de configuration")
            ->type_name("FICHIER");
        _application
            .add_option("--url", _options.urls,
                        "serveur, HOTE:PORT ou corbaloc:… ; deux fois pour deux serveurs")
            ->type_name("URL")
            ->type_size(1)
            ->allow_extra_args(false);
        _application.add_option("--format", _format, "tableau, json, csv ou dump")
            ->type_name("FORMAT")
            ->check(choix(FORMATS));
        _application.add_option("--delai", _delai, "attente d'une réponse, en ms ; 0 : sans fin (10000)")
            ->type_name("MS")
            ->check(entier(0, UNE_HEURE));
        _application
            .add_option("--trace", _trace,
                        "niveau des traces, sur la sortie d'erreur : 0, 100, 300, 700 ou 900 (0)")
            ->type_name("NIVEAU")
            ->check(choix(NIVEAUX));
        _application.add_flag("--champs", _options.champs, "dit ce que contient chaque champ, et finit");
        _application.set_version_flag("--version", "cdv " CDV_VERSION, "donne la version, et finit");
    }

    void _decrireVol()
    {
        CLI::App& creer = _commande("creer", "crée un vol", aide::EXPLICATION_EFFACER);
        CLI::App& modifier =
            _commande("modifier", "modifie un vol, ou plusieurs", aide::EXPLICATION_MODIFIER);
        for (CLI::App* const ecriture : {&creer, &modifier}) {
            _champs(*ecriture, "identifiant et champs");
            ecriture->add_option("--point", _options.points, "point de route ; 10 au plus")
                ->type_name("POINT")
                ->allow_extra_args(false);
            ecriture
                ->add_option("--changement", _options.changements,
                             "rubrique changée, RUBRIQUE[:ANCIENNE[:NOUVELLE]] ou un objet JSON ; 6 au plus")
                ->type_name("CHANGEMENT")
                ->allow_extra_args(false);
            ecriture->add_option("--effacer", _options.effaces, "retire un champ de ce qui est envoyé")
                ->type_name("CHAMP")
                ->allow_extra_args(false);
            ecriture
                ->add_option("--json", _options.json,
                             "part du vol que décrit ce fichier JSON ; « - » : l'entrée standard")
                ->type_name("FICHIER");
        }
        _champs(_commande("supprimer", "supprime un vol, ou plusieurs", aide::EXPLICATION_PLUSIEURS),
                "identifiant ; « - » : ceux de l'entrée standard");
        _champs(_commande("consulter", "montre un vol en entier", ""), "identifiant");
    }

    void _decrireListe()
    {
        CLI::App& lister = _commande("lister", "montre les vols, un par ligne", aide::EXPLICATION_EXEMPLE);
        _champs(lister, "champs que les vols doivent avoir");
        lister.add_flag("--nombre", _options.nombre, "ne donne que leur nombre");
        _sortie(lister);
    }

    void _decrireFichiers()
    {
        CLI::App& importer = _commande("importer", "crée les vols d'un fichier", aide::EXPLICATION_IMPORT);
        _fichier(importer, "CSV, ou JSON par lignes ; « - » : l'entrée standard");
        Importation::Reglages& importation = _options.importation;
        _depuis(importer, "commence à cette ligne du fichier");
        importer.add_option("--rejets", _options.rejets, "fichier où vont les lignes rejetées")
            ->type_name("FICHIER");
        importer
            .add_option("--existants", _existants,
                        "que faire d'un vol qui existe déjà : rejeter, modifier ou ignorer (rejeter)")
            ->type_name("QUOI")
            ->check(choix(EXISTANTS));
        importer
            .add_option("--demande", _demande,
                        "que demander pour chaque vol : creer, modifier ou supprimer (creer)")
            ->type_name("QUOI")
            ->check(choix(VERBES));
        importer
            .add_option("--en-cours", importation.envois.fenetre, "demandes sans réponse à la fois (1000)")
            ->type_name("N")
            ->check(entier(1, 10000));
        _patience(importer);
        importer.add_flag("--stop", importation.arretAuRejet, "s'arrête à la première ligne rejetée");

        CLI::App& exporter =
            _commande("exporter", "écrit les vols dans un fichier", aide::EXPLICATION_EXPORT);
        _fichier(exporter, "CSV, ou JSON par lignes ; « - » : la sortie standard");
        _champs(exporter, "champs que les vols doivent avoir");
        _depuis(exporter, "reprend au N-ième vol, à la suite de FICHIER.partiel");
        _sortie(exporter);
    }

    void _decrireServeurs()
    {
        CLI::App& surveiller =
            _commande("surveiller", "montre l'état de la connexion et le temps de réponse, jusqu'à Ctrl-C",
                      "Statut de sortie : 0 connecté à la fin, 3 jamais connecté, 4 connexion perdue.");
        surveiller.add_option("--periode", _periode, "entre deux mesures, en ms (1000)")
            ->type_name("MS")
            ->check(entier(1, UNE_HEURE));
        surveiller.add_flag("--statistiques", _options.statistiques,
                            "montre aussi les chiffres de la session, à chaque période");
        surveiller.add_option("--nombre", _mesures, "s'arrête après tant de mesures")
            ->type_name("N")
            ->check(entier(1, UN_MILLIARD));
        _commande("etat", "montre chaque serveur : noyau, version, temps de réponse", aide::EXPLICATION_ETAT)
            .add_flag("--tous", _options.tous, "échoue dès qu'un serveur n'est pas actif");
        _commande("versions", "donne les versions de la commande et de l'interface", "");
    }

    static void _francais(CLI::App& application)
    {
        application.set_help_flag("-h,--help", "affiche cette aide");
        const auto formateur = std::make_shared<CLI::Formatter>();
        formateur->label("Usage", "Usage");
        formateur->label("OPTIONS", "OPTIONS");
        formateur->label("Positionals", "Arguments");
        formateur->label("SUBCOMMAND", "COMMANDE");
        formateur->column_width(28);
        application.formatter(formateur);
    }

    CLI::App& _commande(const char* nom, const char* description, const char* complement)
    {
        CLI::App& app = *_application.add_subcommand(nom, description);
        app.group("Commandes");
        app.footer(complement);
        _francais(app);
        return app;
    }
    void _champs(CLI::App& app, const char* description)
    {
        app.add_option("champs", _options.mots, description)->type_name("CHAMP=VALEUR");
    }
    void _fichier(CLI::App& app, const char* description)
    {
        app.add_option("fichier", _options.fichier, description)->type_name("FICHIER");
    }
    void _depuis(CLI::App& app, const char* description)
    {
        app.add_option("--depuis", _options.importation.depuis, description)
            ->type_name("N")
            ->check(entier(1, UN_MILLIARD));
    }

    void _patience(CLI::App& app)
    {
        app.add_option("--patience", _secondes,
                       "quand les serveurs sont perdus, en attend un si longtemps, en s (60) ; 0 : s'arrête")
            ->type_name("S")
            ->check(entier(0, UNE_HEURE / 1000));
    }

    /// What lister and exporter have in common.
    void _sortie(CLI::App& app)
    {
        app.add_option("--limite", _limite, "s'arrête après tant de vols")
            ->type_name("N")
            ->check(entier(1, UN_MILLIARD));
        app.add_option("--champs-affiches", _options.affiches,
                       "ces champs seulement, séparés par des virgules")
            ->type_name("CHAMPS")
            ->delimiter(',')
            ->type_size(1)
            ->allow_extra_args(false);
        _patience(app);
        app.add_flag("--tableur", _options.tableur,
                     "CSV pour un tableur : « ' » devant ce qu'il prendrait pour une formule");
    }

    /// "modifier -" and the like are an import.
    void _choisir(const std::string& commande)
    {
        _options.commande = commande;
        const auto verbe = VERBES.find(commande);
        const bool seul = _options.mots == std::vector<std::string>{"-"} && _options.json.empty() &&
                          _options.effaces.empty() && _options.points.empty() && _options.changements.empty();
        if (!seul || verbe == VERBES.end())
            return;
        _options.commande = "importer";
        _options.fichier = "-";
        _options.importation.verbe = verbe->second;
    }

    void _convertir()
    {
        if (!_format.empty())
            _options.format = FORMATS.at(_format);
        if (!_existants.empty())
            _options.importation.envois.existants = EXISTANTS.at(_existants);
        if (!_demande.empty())
            _options.importation.verbe = VERBES.at(_demande);
        if (!_trace.empty())
            _options.trace = NIVEAUX.at(_trace);
        if (_delai)
            _options.delai = cdv::Duree(*_delai);
        if (_secondes)
            _options.importation.envois.patience = std::chrono::seconds(*_secondes);
        if (_periode)
            _options.periode = cdv::Duree(*_periode);
        _options.limite = _limite;
        _options.mesures = _mesures;
    }

    /// In French, what people get wrong; the parser's errors begin with "OPTION: ".
    std::string _expliquer(const CLI::ParseError& erreur) const
    {
        std::string texte = erreur.what();
        if (const auto restes = _application.remaining(true);
            dynamic_cast<const CLI::ExtrasError*>(&erreur) != nullptr && !restes.empty()) {
            return _enTrop(restes.front());
        }
        const std::size_t fin = texte.find(": ");
        if (fin == std::string::npos)
            return texte;
        const std::string option = texte.substr(0, fin) + " : ";
        if (dynamic_cast<const CLI::ArgumentMismatch*>(&erreur) == nullptr)
            return option + texte.substr(fin + 2);
        const bool manque = texte.find(" missing", fin) != std::string::npos;
        return option + (manque ? "il manque la valeur" : "donné plusieurs fois");
    }

    /// What nobody asked for: most often a word that was mistyped.
    std::string _enTrop(const std::string& mot) const
    {
        std::vector<const CLI::App*> applications{&_application};
        for (const CLI::App* const choisie : _application.get_subcommands())
            applications.push_back(choisie);
        std::vector<std::string> connus;
        if (mot.front() == '-' && mot.size() > 1) {
            for (const CLI::App* const application : applications)
                for (const CLI::Option* const option : application->get_options())
                    for (const std::string& nom : option->get_lnames())
                        connus.push_back("--" + nom);
            return "option inconnue : " + mot + suggestion(mot, {connus.begin(), connus.end()});
        }
        if (applications.size() > 1)
            return "argument en trop : " + mot;
        for (const CLI::App* const commande : _application.get_subcommands({}))
            connus.push_back(commande->get_name());
        return "commande inconnue : " + mot + suggestion(mot, {connus.begin(), connus.end()});
    }

    int _refuser(const std::string& pourquoi) const
    {
        const auto choisies = _application.get_subcommands();
        const std::string commande = choisies.empty() ? "" : choisies.front()->get_name() + " ";
        std::cerr << message("cdv : " + pourquoi + " (voir cdv " + commande + "--help)") << std::endl;
        return USAGE;
    }

    Options& _options;
    CLI::App _application;
    std::string _format;
    std::string _existants;
    std::string _demande;
    std::string _trace;
    std::optional<long long> _delai;
    std::optional<long long> _secondes; // of patience
    std::optional<long long> _periode;
    std::optional<std::size_t> _limite;
    std::optional<std::size_t> _mesures;
};

/// "HOST" or "HOST:PORT"; an IPv6 address has its brackets.
bool estPointAcces(std::string_view texte)
{
    constexpr auto RIEN = std::string_view::npos;
    const bool ipv6 = !texte.empty() && texte.front() == '[';
    const std::size_t fin = std::min(ipv6 ? texte.find(']') + 1 : texte.find(':'), texte.size());
    const std::string_view hote = texte.substr(0, fin);
    const std::string_view port = texte.substr(fin);
    const bool hoteValable =
        ipv6 ? hote.size() > 2 && hote.find_first_not_of("0123456789abcdefABCDEF:.", 1) == fin - 1
             : !hote.empty() && hote.size() < 256 && hote.find_first_of("[]/@,#") == RIEN;
    return hoteValable && (port.empty() || (port.front() == ':' && port.size() > 1 && port.size() <= 6 &&
                                            port.find_first_not_of("0123456789", 1) == RIEN));
}

} // namespace

std::optional<int> lireOptions(int argc, const char* const* argv, Options& options)
{
    return Analyseur(options).lire(argc, argv);
}

std::string urlNoyau(const std::string& texte)
{
    for (const char* const debut : {"corbaloc:", "corbaname:", "IOR:"})
        if (texte.rfind(debut, 0) == 0)
            return texte;
    return estPointAcces(texte) ? "corbaloc:iiop:" + texte + "/Noyau" : "";
}

} // namespace outils
