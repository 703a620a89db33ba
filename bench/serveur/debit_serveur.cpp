// What one client gets out of cdv-serveur: durable creations and listed records a second, and what they cost
// the server in memory. The client is an application like another, behind the facade.
#include "../comparer/Processus.h"
#include "../mesure.h"
#include "../pairs/VolApplication.h"
#include "ServeurMesure.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "orix/EnvoisGroupes.h"
#include "orix/Processus.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <future>
#include <optional>

namespace {

using nlohmann::json;
constexpr std::chrono::seconds PATIENCE{300};
constexpr int CHAMPS = 30;
constexpr std::size_t LONGUEUR = 8; // as in the comparison
constexpr double CREATIONS_VOULUES = 20000, LISTES_VOULUS = 100000;

struct Options
{
    int nombre = 200000;
    int enVol = 2000;
    std::string serveur = OXCDV_CDV_SERVEUR;
    std::string base;
    std::string dossier = std::filesystem::temp_directory_path().string();
    std::string jsonl;
};

using bench::exiger;
void exigerOK(orix::OXstatut statut, const std::string& quoi)
{
    exiger(statut == orix::OXS_OK, quoi + ": " + orix::texteStatut(statut));
}

/// One thing measured, from its first request to its last notification.
class Mesure
{
  public:
    Mesure(std::string nom, int nombre, double voulu, const bench::Usage& usage)
        : _nom(std::move(nom)), _nombre(nombre), _voulu(voulu), _usage(usage)
    {
        _usage.oublierMaximum();
        _avant = _usage.residente();
        _processeur = _usage.processeur();
        _debut = bench::maintenant();
    }

    /// One record came back; on the thread of the callbacks.
    void compter()
    {
        if (++_recus == _nombre / 10)
            _dixieme = _usage.residente();
    }
    /// The last one has come, or none comes any more. Throws when they are not as many as they should.
    void finir()
    {
        _secondes = static_cast<double>(bench::maintenant() - _debut) / 1e9;
        _processeur = _usage.processeur() - _processeur;
        _fin = _usage.residente();
        _maximum = _usage.maximum();
        exiger(_recus == _nombre,
               _nom + ": " + std::to_string(_recus) + " records instead of " + std::to_string(_nombre));
    }

    json ligne() const
    {
        return {{"mesure", _nom},
                {"nombre", _nombre},
                {"debit", _nombre / _secondes},
                {"voulu", _voulu},
                {"cpu_us", _processeur / _nombre}, // of the server
                {"memoire_avant_ko", _avant},
                {"memoire_dixieme_ko", _dixieme},
                {"memoire_fin_ko", _fin},
                {"memoire_max_ko", _maximum}};
    }

  private:
    std::string _nom;
    int _nombre;
    double _voulu; // a second, at least
    const bench::Usage& _usage;
    int _recus = 0; // written by the callbacks, read when the last is over
    std::int64_t _debut = 0;
    double _secondes = 0, _processeur = 0;
    long _avant = 0, _dixieme = 0, _fin = 0, _maximum = 0;
};

// The callbacks are static functions: what they reach is, too.
std::promise<orix::OXstatut> s_activation;
Mesure* s_mesure = nullptr;
bench::EnVol* s_enVol = nullptr;
std::promise<int> s_finListe;
std::atomic<int> s_refusees{0};

template <class T>
T attendre(std::promise<T>& promesse, const std::string& quoi)
{
    auto futur = promesse.get_future();
    exiger(futur.wait_for(PATIENCE) == std::future_status::ready, quoi + " is not answered");
    return futur.get();
}

/// The middleware and the activated service, as long as it lives.
class Session
{
  public:
    explicit Session(const std::string& noyau)
    {
        orix::Configuration configuration;
        configuration[orix::cle::routage]["cdv"] = {noyau};
        int argc = 0;
        std::string message;
        exigerOK(orix::initialiser(argc, nullptr, configuration, &message), "initialiser, " + message);
        char service[] = "cdv";
        exigerOK(OXcdvCliItf::active(service), "active");
        exigerOK(attendre(s_activation, "the activation"), "activeCB");
    }
    ~Session()
    {
        OXcdvCliItf::desactive();
        orix::detruireOXcdvCliItfAdaptateur();
        orix::terminer();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
};

json mesurerCreations(const Options& options, const bench::Usage& usage)
{
    OXvol_completData vol;
    bench::remplir(vol, bench::Contenu(CHAMPS, LONGUEUR));
    bench::EnVol enVol(static_cast<std::size_t>(options.enVol));
    Mesure mesure("creation", options.nombre, CREATIONS_VOULUES, usage);
    s_enVol = &enVol;
    s_mesure = &mesure;
    std::optional<orix::EnvoisGroupes> groupe(std::in_place);
    for (int numero = 0; numero < options.nombre; ++numero) {
        char identifiant[LONGUEUR + 3];
        // Not in the order of the keys, as flights are not.
        std::snprintf(identifiant, sizeof identifiant, "V%08x", static_cast<unsigned>(numero) * 2654435761u);
        vol.ecrire_gidentifiant(OXdupliqueChaine(identifiant));
        enVol.partir(&orix::EnvoisGroupes::envoyer);
        int idOp = 0;
        exigerOK(OXcdvCliItf::cree_vol_complet(&vol, idOp), "cree_vol_complet");
    }
    groupe.reset();
    enVol.attendreTous();
    mesure.finir();
    exiger(s_refusees == 0, std::to_string(s_refusees) + " creations refused");
    return mesure.ligne();
}

json mesurerListe(const std::string& nom, const Options& options, const bench::Usage& usage)
{
    OXvol_completData tous;
    s_finListe = {};
    Mesure mesure(nom, options.nombre, LISTES_VOULUS, usage);
    s_mesure = &mesure;
    int idOp = 0;
    exigerOK(OXcdvCliItf::liste_vol_complet(&tous, idOp), "liste_vol_complet");
    exiger(attendre(s_finListe, "the listing") == 0, "the listing failed");
    mesure.finir();
    return mesure.ligne();
}

void ecrireTable(const std::vector<json>& lignes, const Options& options)
{
    std::printf("### The reference server, one client\n\n"
                "%d records, at most %d creations in flight; each is on the disk before its notification.\n\n"
                "| Measure | k records/s | wanted | server CPU, us/record | server, MiB: before | after a "
                "tenth | at the end | peak |\n"
                "| --- | --- | --- | --- | --- | --- | --- | --- |\n",
                options.nombre, options.enVol);
    for (const json& ligne : lignes) {
        std::printf("| %s | %.1f | >= %.0f | %.1f |", ligne["mesure"].get<std::string>().c_str(),
                    ligne["debit"].get<double>() / 1000, ligne["voulu"].get<double>() / 1000,
                    ligne["cpu_us"].get<double>());
        for (const char* quand :
             {"memoire_avant_ko", "memoire_dixieme_ko", "memoire_fin_ko", "memoire_max_ko"})
            std::printf(" %.1f |", ligne[quand].get<double>() / 1024);
        std::printf("\n");
    }
}

void mesurer(const Options& options)
{
    std::ofstream jsonl;
    if (!options.jsonl.empty()) {
        jsonl.open(options.jsonl);
        exiger(jsonl.good(), options.jsonl + " cannot be written");
    }
    const bench::DossierBase dossier(options.dossier);
    const bench::Serveur serveur(options.serveur, options.base.empty() ? dossier.base() : options.base);
    const bench::Usage& usage = serveur.usage();
    const Session session(serveur.noyau());

    std::vector<json> lignes;
    lignes.push_back(mesurerCreations(options, usage));
    for (const char* nom : {"listing", "second listing"})
        lignes.push_back(mesurerListe(nom, options, usage));
    for (const json& ligne : lignes)
        jsonl << ligne << std::endl;
    ecrireTable(lignes, options);
}

} // namespace

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char*, const char*) { s_activation.set_value(statut); }
void OXcdvCliCB::cree_vol_completCB(int resultat, OXvol_completData*, int)
{
    if (resultat == 0)
        s_mesure->compter();
    else
        ++s_refusees;
    s_enVol->revenir();
}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) { s_mesure->compter(); }
void OXcdvCliCB::fin_liste_vol_completCB(int resultat, int) { s_finListe.set_value(resultat); }
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int, int) {}
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int) {}

int main(int argc, char** argv)
{
    Options options;
    CLI::App application("Measures cdv-serveur with one client: creations, then listings of all of them.");
    application.add_option("--nombre", options.nombre, "records (200000)")->check(CLI::Range(10, 100000000));
    application.add_option("--en-vol", options.enVol, "creations in flight (2000)")
        ->check(CLI::PositiveNumber);
    application.add_option("--serveur", options.serveur, "the program to measure (the one of this build)");
    application.add_option(
        "--base", options.base,
        "an empty database of PostgreSQL, postgresql://... (a file of SQLite's in --dossier)");
    application.add_option("--dossier", options.dossier,
                           "where the database is made and removed: on a disk, not in memory (the system's "
                           "temporary folder)");
    application.add_option("--jsonl", options.jsonl, "file for the figures, one JSON object a line");
    CLI11_PARSE(application, argc, argv);
    signal(SIGPIPE, SIG_IGN); // a server that dies is seen by what it no longer says
    try {
        mesurer(options);
        return EXIT_SUCCESS;
    } catch (const std::exception& erreur) {
        std::cerr << "debit_serveur: " << erreur.what() << std::endl;
    }
    return EXIT_FAILURE;
}
