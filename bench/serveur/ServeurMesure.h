#ifndef BENCH_SERVEURMESURE_H
#define BENCH_SERVEURMESURE_H

#include "../comparer/Processus.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

inline void exiger(bool condition, const std::string& message)
{
    if (!condition)
        throw std::runtime_error(message);
}

/// A folder for the database, removed with it.
class DossierBase
{
  public:
    explicit DossierBase(const std::string& parent)
        : _chemin(std::filesystem::path(parent) / ("cdv-bench-" + std::to_string(getpid())))
    {
        std::filesystem::create_directory(_chemin);
    }
    ~DossierBase()
    {
        std::error_code sansSuite;
        std::filesystem::remove_all(_chemin, sansSuite);
    }
    DossierBase(const DossierBase&) = delete;
    DossierBase& operator=(const DossierBase&) = delete;
    std::string base() const { return (_chemin / "vols.db").string(); }

  private:
    std::filesystem::path _chemin;
};

/// What another process uses.
class Usage
{
  public:
    explicit Usage(pid_t pid) : _dossier("/proc/" + std::to_string(pid) + "/") {}

    /// Forgets the peak so far; where the kernel does not allow it, the peak is that since the start.
    void oublierMaximum() const { std::ofstream(_dossier + "clear_refs") << 5; }
    long residente() const { return lire("VmRSS:"); } ///< KiB
    long maximum() const { return lire("VmHWM:"); }   ///< KiB
    long fils() const { return lire("Threads:"); }
    double processeur() const ///< us so far, of all its threads
    {
        std::ifstream etat(_dossier + "stat");
        std::string mot;
        for (int champ = 1; champ <= 13; ++champ) // its name, the second, is one word
            etat >> mot;
        long utilisateur = 0, systeme = 0;
        etat >> utilisateur >> systeme;
        return 1e6 * static_cast<double>(utilisateur + systeme) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }

  private:
    long lire(const std::string& ligne) const
    {
        std::ifstream statut(_dossier + "status");
        for (std::string mot; statut >> mot;)
            if (mot == ligne) {
                long valeur = 0;
                statut >> valeur;
                return valeur;
            }
        throw std::runtime_error("the server is gone");
    }
    std::string _dossier;
};

/// A real cdv-serveur over that base, on a free port; ready when this is made.
class Serveur
{
  public:
    static constexpr std::chrono::seconds PATIENCE{60};

    Serveur(const std::string& programme, const std::string& base)
        : _processus({programme, "--base", base, "--port", "0", "--trace", "0"})
    {
        const std::string pret = _processus.lire(PATIENCE);
        const std::size_t noyau = pret.find("corbaloc:");
        exiger(noyau != std::string::npos, "the server said '" + pret + "'");
        _noyau = pret.substr(noyau, pret.find(',', noyau) - noyau);
    }

    const std::string& noyau() const { return _noyau; } ///< its URL
    const Usage& usage() const { return _usage; }

  private:
    Processus _processus;
    std::string _noyau;
    Usage _usage{_processus.pid()};
};

} // namespace bench

#endif
