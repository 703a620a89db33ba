#ifndef BENCH_MESURE_H
#define BENCH_MESURE_H

#include <CLI/CLI.hpp>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// What the clients and servers of the comparison share: one command line, one way to measure.
///
/// A server says PRET once it listens, and RECU with the time when it holds the last record of the warm-up,
/// then of the measure; it ends when its standard input does. A client sends the warm-up, says CHAUD, waits
/// for a line, sends, says ENVOYE, waits for a line, and gives its figures, one JSON object. The driver
/// answers each of these words when the other side has come as far, so that no transport needs a protocol for
/// it; all clocks are the machine's one monotonic clock. By hand, with no standard input, nothing is waited
/// for.
namespace bench {

struct Options
{
    unsigned port = 0;
    std::string variante;    ///< of the transport: each has its own
    bool rappel = false;     ///< the server sends each record back to the client
    bool construire = false; ///< what is sent is built for each request, instead of once
    int nombre = 10000;      ///< records of the measure
    int chauffe = 500;       ///< records before it
    int champs = 30;         ///< texts set, of 55
    std::size_t longueur = 8;
    int enVol = 64;      ///< with rappel: requests not called back yet
    int fils = 1;        ///< application threads that send
    int occupation = 0;  ///< us that the server spends on each record
    std::string dossier; ///< where files may be written
};

inline std::int64_t maintenant() ///< ns
{
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

inline void dire(const std::string& ligne) { std::cout << ligne << std::endl; }

inline void attendreSuite()
{
    std::string ligne;
    std::getline(std::cin, ligne);
}

/// Processor time of the whole process so far, in us.
inline double tempsProcesseur()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto us = [](const timeval& t) { return 1e6 * t.tv_sec + t.tv_usec; };
    return us(usage.ru_utime) + us(usage.ru_stime);
}

inline long memoire() ///< KiB now resident
{
    long total = 0, residente = 0;
    std::ifstream("/proc/self/statm") >> total >> residente;
    return residente * (sysconf(_SC_PAGESIZE) / 1024);
}

inline long memoireMax() ///< KiB; the kernel brings the two counters up to date at different times
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return std::max(usage.ru_maxrss, memoire());
}

// ---- Client

/// Durations, by classes of at most 0.4 %: whatever their number, the same memory.
class Durees
{
  public:
    void ajouter(std::int64_t ns)
    {
        ++_classes[classe(static_cast<std::uint64_t>(std::max<std::int64_t>(ns, 0)))];
        ++_nombre;
    }
    void effacer() { *this = Durees(); }

    /// The duration, in us, that this proportion of all does not exceed.
    double centile(double proportion) const
    {
        const double rang = proportion * static_cast<double>(_nombre);
        std::size_t classe = 0;
        for (std::uint64_t cumul = _classes[0]; static_cast<double>(cumul) < rang; cumul += _classes[classe])
            ++classe;
        return static_cast<double>(borne(classe)) / 1000;
    }

  private:
    static constexpr unsigned BITS = 8; ///< of a duration that tell its class, after the first
    static constexpr std::uint64_t PAS = 1u << BITS;

    static std::size_t classe(std::uint64_t ns)
    {
        if (ns < PAS)
            return ns;
        const unsigned decalage = 63u - static_cast<unsigned>(__builtin_clzll(ns)) - BITS;
        return decalage * PAS + (ns >> decalage);
    }
    static std::uint64_t borne(std::size_t classe)
    {
        if (classe < 2 * PAS)
            return classe;
        const std::size_t decalage = classe / PAS - 1;
        return (classe - decalage * PAS) << decalage;
    }

    std::vector<std::uint32_t> _classes = std::vector<std::uint32_t>((64 - BITS + 1) * PAS);
    std::uint64_t _nombre = 0;
};

/// The requests that the server has not called back yet: bounded, and each timed up to its callback.
/// Callbacks are taken in the order of the requests.
class EnVol
{
  public:
    explicit EnVol(std::size_t places) : _departs(places) {}

    /// Before a request: waits for a place, and calls avantAttente before it does.
    template <class AvantAttente>
    void partir(AvantAttente avantAttente)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        const auto place = [this] { return _partis - _revenus < _departs.size(); };
        if (!place()) {
            verrou.unlock();
            avantAttente();
            verrou.lock();
        }
        attendre(verrou, place);
        _departs[_partis++ % _departs.size()] = maintenant();
    }
    /// In the callback of the application.
    void revenir()
    {
        const std::int64_t ici = maintenant();
        const std::lock_guard<std::mutex> verrou(_mutex);
        _durees.ajouter(ici - _departs[_revenus++ % _departs.size()]);
        _dernierRetour = ici;
        if (_attendu > 0)
            _nouvelle.notify_one();
    }
    void attendreTous()
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        attendre(verrou, [this] { return _revenus == _partis; });
    }

    // Once all are back:
    Durees& durees() { return _durees; }
    std::int64_t dernierRetour() const { return _dernierRetour; }

  private:
    template <class Condition>
    void attendre(std::unique_lock<std::mutex>& verrou, Condition condition)
    {
        if (condition())
            return;
        ++_attendu;
        const bool venu = _nouvelle.wait_for(verrou, std::chrono::seconds(30), condition);
        --_attendu;
        if (!venu)
            throw std::runtime_error("the server does not call back");
        if (_attendu > 0)
            _nouvelle.notify_one(); // the place may do for another thread too
    }

    std::mutex _mutex;
    std::condition_variable _nouvelle;
    std::size_t _partis = 0, _revenus = 0;
    int _attendu = 0;
    std::int64_t _dernierRetour = 0;
    std::vector<std::int64_t> _departs; // of those in flight
    Durees _durees;
};

/// The sending side of one transport, connected.
class Envoyeur
{
  public:
    virtual ~Envoyeur() = default;
    /// Sends one record; called by options.fils threads. dernier: none follows for now, nothing may stay in a
    /// buffer.
    virtual void envoyer(int numero, bool dernier) = 0;
    /// The thread that sends is going to wait for a callback.
    virtual void avantAttente() {}
};

/// Connects; with options.rappel each callback must end in EnVol::revenir().
using FabriqueEnvoyeur = std::function<std::unique_ptr<Envoyeur>(const Options&, EnVol&)>;

// ---- Server

class Reception
{
  public:
    explicit Reception(const Options& options) : _options(options) {}

    /// Once for each record, when it has been read whole and before it is sent back.
    void recevoir()
    {
        for (const std::int64_t fin = maintenant() + 1000LL * _options.occupation; maintenant() < fin;)
            ;
        const int rang = ++_recus;
        if (rang == _options.chauffe || rang == _options.chauffe + _options.nombre)
            dire("RECU " + std::to_string(maintenant()));
    }

  private:
    const Options& _options;
    std::atomic<int> _recus{0};
};

/// Listens; what it gives back serves as long as it lives.
using FabriqueServeur = std::function<std::shared_ptr<void>(const Options&, Reception&)>;

// ---- Programs

namespace interne {

/// The command line of clients and servers. Throws CLI::Error.
inline Options lireOptions(int argc, char** argv)
{
    Options options;
    CLI::App application("A client or a server of the comparison; the driver starts both");
    application.add_option("--port", options.port, "where the server listens, on the loopback")->required();
    application.add_option("--variante", options.variante, "of the transport");
    application.add_flag("--rappel", options.rappel, "the server sends each record back");
    application.add_flag("--construire", options.construire, "build what is sent for each request");
    application.add_option("--nombre", options.nombre, "records")->check(CLI::PositiveNumber);
    application.add_option("--chauffe", options.chauffe, "records before the measure")
        ->check(CLI::PositiveNumber);
    application.add_option("--champs", options.champs, "texts set")->check(CLI::Range(0, 55));
    application.add_option("--longueur", options.longueur, "bytes of a text")->check(CLI::PositiveNumber);
    application.add_option("--en-vol", options.enVol, "with --rappel: requests in flight")
        ->check(CLI::PositiveNumber);
    application.add_option("--fils", options.fils, "threads that send")->check(CLI::PositiveNumber);
    application.add_option("--occupation", options.occupation, "us that the server spends on a record");
    application.add_option("--dossier", options.dossier, "where files may be written");
    application.parse(argc, argv);
    return options;
}

/// Runs the program and turns what it throws into an exit status and a line.
template <class Programme>
int executer(int argc, char** argv, Programme programme)
{
    try {
        programme(lireOptions(argc, argv));
        return EXIT_SUCCESS;
    } catch (const std::exception& erreur) {
        std::cerr << argv[0] << ": " << erreur.what() << std::endl;
    }
    return EXIT_FAILURE;
}

/// Sends nombre records from the threads asked for.
inline void envoyerTous(const Options& options, Envoyeur& envoyeur, EnVol& enVol, int nombre)
{
    std::mutex mutex;
    std::exception_ptr echec;
    const auto part = [&](int debut, int fin) {
        try {
            for (int numero = debut; numero < fin; ++numero) {
                if (options.rappel)
                    enVol.partir([&] { envoyeur.avantAttente(); });
                envoyeur.envoyer(numero, numero + 1 == fin);
            }
        } catch (...) {
            const std::lock_guard<std::mutex> verrou(mutex);
            echec = std::current_exception();
        }
    };
    const auto borne = [&](int rang) {
        return static_cast<int>(static_cast<std::int64_t>(nombre) * rang / options.fils);
    };
    std::vector<std::thread> fils;
    for (int rang = 1; rang < options.fils; ++rang)
        fils.emplace_back(part, borne(rang), borne(rang + 1));
    part(0, borne(1));
    for (std::thread& un : fils)
        un.join();
    if (echec)
        std::rethrow_exception(echec);
}

} // namespace interne

inline int client(int argc, char** argv, const FabriqueEnvoyeur& fabrique)
{
    return interne::executer(argc, argv, [&](const Options& options) {
        EnVol enVol(options.enVol);
        const std::unique_ptr<Envoyeur> envoyeur = fabrique(options, enVol);

        interne::envoyerTous(options, *envoyeur, enVol, options.chauffe);
        enVol.attendreTous();
        enVol.durees().effacer();
        dire("CHAUD");
        attendreSuite();

        const double processeur = tempsProcesseur();
        const std::int64_t debut = maintenant();
        const int dixieme = options.nombre / 10;
        interne::envoyerTous(options, *envoyeur, enVol, dixieme);
        const long memoireDixieme = memoire();
        interne::envoyerTous(options, *envoyeur, enVol, options.nombre - dixieme);
        enVol.attendreTous();
        dire("ENVOYE");
        attendreSuite(); // what a transport still had in its buffers is part of the cost
        const double cout = tempsProcesseur() - processeur;

        std::ostringstream resultat;
        resultat << R"({"debut_ns":)" << debut << R"(,"cpu_us":)" << cout / options.nombre
                 << R"(,"memoire_dixieme_ko":)" << memoireDixieme << R"(,"memoire_fin_ko":)" << memoire()
                 << R"(,"memoire_max_ko":)" << memoireMax();
        if (options.rappel)
            resultat << R"(,"fin_ns":)" << enVol.dernierRetour() << R"(,"p50_us":)"
                     << enVol.durees().centile(0.5) << R"(,"p99_us":)" << enVol.durees().centile(0.99);
        dire(resultat.str() + "}");
    });
}

inline int serveur(int argc, char** argv, const FabriqueServeur& fabrique)
{
    return interne::executer(argc, argv, [&](const Options& options) {
        Reception reception(options);
        const std::shared_ptr<void> service = fabrique(options, reception);
        dire("PRET");
        attendreSuite();
    });
}

} // namespace bench

#endif
