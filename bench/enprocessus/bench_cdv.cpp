// Costs inside one process, each with its time and its allocations: record, conversions, accessors, dump,
// deferred calls, traces, executor. Options of Google Benchmark: --benchmark_filter=REGEX,
// --benchmark_out=FILE...
#include "../pairs/VolApplication.h"
#include "../pairs/VolCorba.h"
#include "Allocations.h"

#include "OXcdvCliCBfoncteur.h"
#include "VolRecu.h"
#include "VueVolComplet.h"
#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/Processus.h"
#include "orix/Trace.h"
#include "orix/interne/ExecuteurCB.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>

// What the deferred calls run.
void OXcdvCliCB::activeCB(orix::OXstatut, const char*, const char*) {}
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::cree_vol_completCB(int, OXvol_completData* vol, int) { benchmark::DoNotOptimize(vol); }
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int resultat, int) { benchmark::DoNotOptimize(resultat); }
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) {}
void OXcdvCliCB::fin_liste_vol_completCB(int, int) {}

namespace {

using benchmark::State;

constexpr int LOT =
    64; // operations between two pauses of the clock: a pause costs about as much as one of them

void noter(State& state, long allocations)
{
    state.counters["allocs"] =
        benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
}

template <class Operation>
void mesurer(State& state, Operation operation)
{
    const long avant = bench::allocations();
    for (auto _ : state)
        operation();
    noter(state, bench::allocations() - avant);
}

/// For what cannot be done twice to the same object: preparer() makes one, untimed, and operation() is given
/// it.
template <class Preparer, class Operation>
void mesurerParLots(State& state, Preparer preparer, Operation operation)
{
    long allocations = 0;
    std::vector<decltype(preparer())> lot;
    while (state.KeepRunningBatch(LOT)) {
        state.PauseTiming();
        lot.clear();
        for (int i = 0; i < LOT; ++i)
            lot.push_back(preparer());
        const long avant = bench::allocations();
        state.ResumeTiming();
        for (auto& objet : lot)
            operation(objet);
        allocations += bench::allocations() - avant;
    }
    noter(state, allocations);
}

/// The flight of the variant: texts set, and their length.
bench::Contenu contenu(const State& state)
{
    return {static_cast<int>(state.range(0)), static_cast<std::size_t>(state.range(1))};
}

using Vol = std::unique_ptr<OXvol_completData>;

Vol vol(const bench::Contenu& contenu)
{
    auto vol = std::make_unique<OXvol_completData>();
    bench::remplir(*vol, contenu);
    return vol;
}

const bench::Contenu ORDINAIRE(30, 8);

void variantes(benchmark::internal::Benchmark* mesure)
{
    mesure->ArgNames({"champs", "longueur"});
    for (const int champs : {0, 30, 55})
        mesure->Args({champs, 8});
    for (const int longueur : {64, 1024, 8192, 65536})
        mesure->Args({30, longueur});
}

// ---- Record

void versLeFil(State& state)
{
    const Vol source = vol(contenu(state));
    mesurer(state, [&] { benchmark::DoNotOptimize(source->construireObjetSpecifique_v3_0_0()); });
}
BENCHMARK(versLeFil)->Apply(variantes);

/// What a request sends: the same, with the record's texts lent.
void vuePourEnvoi(State& state)
{
    const Vol source = vol(contenu(state));
    mesurer(state, [&] {
        const VueVolComplet vue(*source);
        benchmark::DoNotOptimize(&vue);
    });
}
BENCHMARK(vuePourEnvoi)->Apply(variantes);

void depuisLeFil(State& state)
{
    const OXvol_completData_v3_0_0 source = bench::structure(contenu(state));
    mesurerParLots(
        state, [] { return Vol(); }, [&](Vol& vol) { vol = std::make_unique<OXvol_completData>(source); });
}
BENCHMARK(depuisLeFil)->Apply(variantes);

void copie(State& state)
{
    const Vol source = vol(contenu(state));
    mesurerParLots(
        state, [] { return Vol(); }, [&](Vol& vol) { vol = std::make_unique<OXvol_completData>(*source); });
}
BENCHMARK(copie)->Apply(variantes);

void destruction(State& state)
{
    const bench::Contenu source = contenu(state);
    const Vol modele = vol(source);
    mesurerParLots(
        state, [&] { return std::make_unique<OXvol_completData>(*modele); }, [](Vol& vol) { vol.reset(); });
}
BENCHMARK(destruction)->Apply(variantes);

void vidage(State& state)
{
    struct : std::streambuf
    {
        int overflow(int caractere) override { return caractere; }
        std::streamsize xsputn(const char*, std::streamsize taille) override { return taille; }
    } puits;
    std::ostream flux(&puits);
    const Vol source = vol(contenu(state));
    mesurer(state, [&] { flux << *source; });
}
BENCHMARK(vidage)->Apply(variantes);

/// What the texts of a record take: their bytes, each with its end.
struct Textes
{
    std::size_t octets = 0;

    void compter(const char* texte)
    {
        if (texte != nullptr)
            octets += std::strlen(texte) + 1;
    }
    void compter(const OXcode_statData* code)
    {
        if (code == nullptr)
            return;
        for (const char* texte : {code->m_gcode, code->m_glibelle, code->m_gheure_chgt})
            compter(texte);
    }
    void compter(const OXcci_rub_chgtData* rubrique)
    {
        for (const char* texte :
             {rubrique->m_grubrique, rubrique->m_gancienne_valeur, rubrique->m_gnouvelle_valeur})
            compter(texte);
    }
};

Textes textes(const OXvol_completData& vol)
{
    Textes textes;
    pourChaqueChamp([&textes](const char*, const auto* champ) { textes.compter(champ); }, vol);
    for (int i = 0; i < vol.nombre_rub_chgt(); ++i)
        textes.compter(vol.lire_rub_chgt(i));
    for (int i = 0; i < vol.nombre_point(); ++i)
        textes.compter(vol.lire_point(i));
    return textes;
}

/// Memory of a record at rest, a copy as those that are received, as the allocator counts it: all of it,
/// beyond the bytes of its texts, beyond their blocks; the time is not the point.
void memoireAuRepos(State& state)
{
    const Vol modele = vol(contenu(state));
    std::vector<Vol> vols;
    vols.reserve(LOT);
    double octets = 0;
    for (auto _ : state) {
        state.PauseTiming();
        vols.clear();
        const auto avant = mallinfo2();
        state.ResumeTiming();
        for (int i = 0; i < LOT; ++i)
            vols.push_back(std::make_unique<OXvol_completData>(*modele));
        state.PauseTiming();
        const auto apres = mallinfo2();
        octets = static_cast<double>(apres.uordblks + apres.hblkhd - avant.uordblks - avant.hblkhd) / LOT;
        state.ResumeTiming();
    }
    const Textes siens = textes(*vols.back());
    state.counters["octets"] = octets;
    state.counters["hors_textes"] = octets - static_cast<double>(siens.octets);
    state.counters["sizeof"] = sizeof(OXvol_completData);
}
BENCHMARK(memoireAuRepos)->Apply(variantes)->Iterations(20);

// ---- Accessors

/// Reads a field of a record that the compiler knows nothing of.
template <class Lecture>
void mesurerLecture(State& state, Lecture lire)
{
    const Vol source = vol(ORDINAIRE);
    const OXvol_completData* lu = source.get();
    mesurer(state, [&] {
        benchmark::DoNotOptimize(lu);
        benchmark::DoNotOptimize(lire(*lu));
    });
}

void lectureMembre(State& state)
{
    mesurerLecture(state, [](const OXvol_completData& vol) { return vol.m_grealisation; });
}
BENCHMARK(lectureMembre);

void lectureAccesseur(State& state)
{
    mesurerLecture(state, [](const OXvol_completData& vol) { return vol.lire_grealisation(); });
}
BENCHMARK(lectureAccesseur);

void lectureAccesseurStatut(State& state)
{
    mesurerLecture(state, [](const OXvol_completData& vol) {
        orix::OXstatut statut = orix::OXS_NOK;
        const char* const lu = vol.lire_grealisation(statut);
        benchmark::DoNotOptimize(statut);
        return lu;
    });
}
BENCHMARK(lectureAccesseurStatut);

void lecturePoint(State& state)
{
    mesurerLecture(state, [](const OXvol_completData& vol) { return vol.lire_point(2); });
}
BENCHMARK(lecturePoint);

void ecriture(State& state)
{
    const Vol cible = vol(bench::Contenu(0, 8));
    char texte[] = "AF1234";
    mesurer(state, [&] {
        cible->ecrire_gindicatif(texte);
        benchmark::DoNotOptimize(cible->m_gindicatif);
        cible->m_gindicatif = nullptr; // the text is not the record's to release
    });
}
BENCHMARK(ecriture);

void ajoutPoint(State& state)
{
    char point[] = "BUBLI";
    mesurerParLots(
        state, [] { return std::make_unique<OXvol_completData>(); },
        [&](Vol& vol) { benchmark::DoNotOptimize(vol->ajouter_point(point)); });
}
BENCHMARK(ajoutPoint);

// ---- Wire

void emballage(State& state)
{
    const OXvol_completData_v3_0_0 source = bench::structure(contenu(state));
    cdrMemoryStream flux;
    source >>= flux; // the buffer has grown to its size
    mesurer(state, [&] {
        flux.rewindPtrs();
        source >>= flux;
    });
}
BENCHMARK(emballage)->Apply(variantes);

void deballage(State& state)
{
    cdrMemoryStream flux;
    bench::structure(contenu(state)) >>= flux;
    mesurer(state, [&] {
        flux.rewindInputPtr();
        OXvol_completData_v3_0_0 lu;
        lu <<= flux;
        benchmark::DoNotOptimize(lu);
    });
}
BENCHMARK(deballage)->Apply(variantes);

/// What a notification is read by: made and released, as deballage.
void reception(State& state)
{
    cdrMemoryStream flux;
    bench::structure(contenu(state)) >>= flux;
    mesurer(state, [&] {
        flux.rewindInputPtr();
        orix::orb::LecteurRequete lecteur(flux);
        VolRecu recu;
        recu.lire(lecteur);
        benchmark::DoNotOptimize(Vol(recu.faire()));
    });
}
BENCHMARK(reception)->Apply(variantes);

// ---- Deferred calls

void appelDiffere(State& state)
{
    mesurer(state, [] {
        const std::unique_ptr<orix::IExecutable> appel(orix::creerOXcdvCliCB_supprime_vol_complet(0, 1));
        appel->executer();
    });
}
BENCHMARK(appelDiffere);

/// Made, run and destroyed; the record in it is made and destroyed apart.
void appelDiffereAvecVol(State& state)
{
    mesurerParLots(
        state, [] { return std::make_pair(new OXvol_completData, std::unique_ptr<orix::IExecutable>()); },
        [](auto& paire) {
            paire.second.reset(orix::creerOXcdvCliCB_cree_vol_complet(0, paire.first, 1));
            paire.second->executer();
        });
}
BENCHMARK(appelDiffereAvecVol);

class Compteur : public orix::IExecutable
{
  public:
    explicit Compteur(std::atomic<long>& executes) : _executes(executes) {}
    void executer() override { _executes.fetch_add(1, std::memory_order_release); }

  private:
    std::atomic<long>& _executes;
};

void posterAppels(State& state, bool unALaFois)
{
    std::atomic<long> executes{0};
    long postes = 0;
    const auto attendre = [&] {
        while (executes.load(std::memory_order_acquire) < postes)
            std::this_thread::yield();
    };
    mesurer(state, [&] {
        orix::objetCB()->posterExecutable(1, "cdv", new Compteur(executes));
        ++postes;
        if (unALaFois)
            attendre();
    });
    attendre();
}

/// A stream of calls: the executor is busy, and its queue holds the poster back.
void executeurOccupe(State& state) { posterAppels(state, false); }
BENCHMARK(executeurOccupe)->UseRealTime();

/// One call at a time, awaited: the executor has nothing else to do.
void executeurAuRepos(State& state) { posterAppels(state, true); }
BENCHMARK(executeurAuRepos)->UseRealTime();

// ---- Traces

void tracer() { ORIX_TRACE(orix::NTO_NOTABLE, "bench_cdv", "tracer", "Envoi d'un message en version " << 3); }

void traceInactive(State& state)
{
    mesurer(state, [] {
        ORIX_TRACE(orix::NTO_DETAIL, "bench_cdv", "tracer", "Valeur = " << 3);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(traceInactive);

void traceRecue(State& state)
{
    orix::trace()->definirRecepteur(
        [](const orix::LigneTrace& ligne) { benchmark::DoNotOptimize(ligne.ligne); });
    mesurer(state, tracer);
    orix::trace()->definirRecepteur({});
}
BENCHMARK(traceRecue);

void traceFichier(State& state) { mesurer(state, tracer); }
BENCHMARK(traceFichier)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;

    const auto fichier =
        std::filesystem::temp_directory_path() / ("bench_cdv-" + std::to_string(getpid()) + ".log");
    orix::Configuration configuration;
    configuration[orix::cle::niveauTrace] = orix::NTO_NOTABLE;
    configuration[orix::cle::fichierTrace] = fichier.string();
    std::string message;
    if (orix::initialiser(argc, argv, configuration, &message) != orix::OXS_OK) {
        std::cerr << "bench_cdv: " << message << std::endl;
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    orix::terminer();
    std::error_code sansSuite;
    std::filesystem::remove(fichier, sansSuite);
    return EXIT_SUCCESS;
}
