#include "Options.h"

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

constexpr const char* PRESENTATION =
    "Commande du service cdv : crée, lit, modifie et surveille des vols complets.";

constexpr const char* COMPLEMENT = R"(Champs :
  champ=valeur   nom du champ avec ou sans « m_g » : parking=B12, m_gparking=B12 ; les codes
                 de statut : code_stat_depart.code=OUV. « cdv --champs » les donne tous.
  champ=         la chaîne vide, qui est une valeur comme une autre
  un mot seul    l'identifiant : « cdv consulter X » vaut « cdv consulter identifiant=X »

Statuts de sortie :
  0    fait
  1    le serveur a refusé, ou des lignes ont été rejetées
  2    mauvais usage : ligne de commande, configuration, fichier
  3    pas de connexion
  4    connexion ou réponse perdue pendant le travail
  5    etat : un serveur sur deux est actif
  130  interrompu (Ctrl-C)

Exemples :
  cdv etat
  cdv creer 20261121DAFR012-000 indicatif=AFR012 aerod_dep=LFBO aerod_dest=LFPG --point AGEN
  cdv modifier 20261121DAFR012-000 parking=B12
  cdv lister 'indicatif=AFR*'
  cdv exporter vols.csv
  cdv importer vols.csv --rejets rejets.csv --url serveur1:2809 --url serveur2:2809

Sans --config ni --url, la commande lit le fichier que nomme la variable CDV_CONFIG, sinon
s'adresse au serveur local, 127.0.0.1:2809. Chaque commande a son aide : cdv importer --help.)";

constexpr const char* EXPLICATION_EFFACER = R"(Valeur vide et champ absent :
  parking=            envoie la chaîne vide ; le champ vaut alors « »
  --effacer parking   retire le champ de ce qui est envoyé : il n'est pas renseigné
Un vol créé n'a pas les champs retirés.)";

constexpr const char* EXPLICATION_MODIFIER =
    R"(Le serveur remplace les champs envoyés, et les listes qui ne sont pas vides ; il laisse tout
le reste comme il est.

Valeur vide et champ absent :
  parking=            donne au champ la chaîne vide
  --effacer parking   retire le champ de ce qui est envoyé (il venait de --json) : le serveur
                      le laisse comme il est
Le service n'a pas de demande qui rende un champ à nouveau absent : une modification ne peut
pas le faire. Pour cela : cdv supprimer, puis cdv creer --json avec --effacer.)";

constexpr const char* EXPLICATION_EXEMPLE =
    R"(Seuls les vols qui répondent à tous les critères sont rendus :
  champ=valeur        égal ; « * » est n'importe quelle suite : indicatif=AFR*, parking=*2
  champ!=valeur       autre, ou absent
  champ>n champ<=n    un nombre, une date ou une heure : 'heure_prev_mvt>=0800' ; un champ qui
                      n'en contient pas n'est pas rendu
« \* » est l'étoile elle-même. Le service cherche les valeurs entières et les débuts ; le reste est
regardé ici, dans ce qu'il rend.)";

constexpr const char* EXPLICATION_ETAT =
    R"(Statut de sortie : 0 chaque serveur est actif, 5 un sur deux (service dégradé), 3 aucun ; avec
--tous, 3 dès qu'un serveur n'est pas actif.)";

constexpr const char* EXPLICATION_IMPORT =
    R"(CSV : UTF-8, RFC 4180, avec un en-tête ; colonnes au choix parmi les champs, « points » et
« changements » (en JSON). Une cellule vide est un champ absent, "" est la chaîne vide.
JSON : un objet par ligne, comme « cdv lister --format json » les écrit.
Une ligne fautive est dite avec son numéro et la raison, et l'importation continue. De même quand un
serveur est perdu : ce qui est resté sans réponse est redemandé à l'autre, ou au même s'il revient ;
une création dont nul ne sait si elle est faite est relue et comparée. Les lignes
rejetées vont telles quelles dans le fichier de rejets, qui peut être corrigé et importé.
Ctrl-C attend les réponses en cours, puis dit avec quelles options reprendre ; un second Ctrl-C
abandonne.

Exemples :
  cdv importer vols.csv --rejets rejets.csv
  cdv importer vols.csv --depuis 1042 --existants ignorer
  zcat vols.json.gz | cdv importer -)";

constexpr const char* EXPLICATION_EXPORT =
    R"(Le format est celui de --format, sinon celui du nom (.json, .jsonl), sinon CSV. Le fichier n'est
remplacé qu'une fois complet : d'ici là, les vols sont dans FICHIER.partiel.
Quand un serveur est perdu, la liste est redemandée à l'autre, ou au même s'il revient ; chaque vol
est écrit une fois.

Exemples :
  cdv exporter vols.csv
  cdv exporter - 'indicatif=AFR*' --format json | gzip > afr.json.gz
  cdv exporter vols.csv --depuis 120001      (après une interruption))";

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

constexpr long long UNE_HEURE = 3600000;
constexpr long long UN_MILLIARD = 1000000000;

/// The parser, which knows where the words go.
class Analyseur
{
  public:
    explicit Analyseur(Options& options) : _options(options), _application(PRESENTATION, "cdv")
    {
        _application.footer(COMPLEMENT);
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
            _options.commande = choisies.front()->get_name();
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
        CLI::App& creer = _commande("creer", "crée un vol", EXPLICATION_EFFACER);
        CLI::App& modifier = _commande("modifier", "modifie un vol", EXPLICATION_MODIFIER);
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
        _champs(_commande("supprimer", "supprime un vol", ""), "identifiant");
        _champs(_commande("consulter", "montre un vol en entier", ""), "identifiant");
    }

    void _decrireListe()
    {
        CLI::App& lister = _commande("lister", "montre les vols, un par ligne", EXPLICATION_EXEMPLE);
        _champs(lister, "champs que les vols doivent avoir");
        lister.add_flag("--nombre", _options.nombre, "ne donne que leur nombre");
        _sortie(lister);
    }

    void _decrireFichiers()
    {
        CLI::App& importer = _commande("importer", "crée les vols d'un fichier", EXPLICATION_IMPORT);
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
            .add_option("--en-cours", importation.envois.fenetre, "demandes sans réponse à la fois (1000)")
            ->type_name("N")
            ->check(entier(1, 10000));
        _patience(importer);
        importer.add_flag("--stop", importation.arretAuRejet, "s'arrête à la première ligne rejetée");

        CLI::App& exporter = _commande("exporter", "écrit les vols dans un fichier", EXPLICATION_EXPORT);
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
        _commande("etat", "montre chaque serveur : noyau, version, temps de réponse", EXPLICATION_ETAT)
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

    void _convertir()
    {
        if (!_format.empty())
            _options.format = FORMATS.at(_format);
        if (!_existants.empty())
            _options.importation.envois.existants = EXISTANTS.at(_existants);
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
