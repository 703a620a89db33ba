#ifndef ETATPROCESSUS_H
#define ETATPROCESSUS_H

#include "Essais.h"
#include <malloc.h>

namespace essais {

/// Whether memory can be measured: a sanitizer keeps what is freed.
constexpr bool MEMOIRE_MESURABLE =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    false;
#else
    true;
#endif

/// Threads and descriptors of a process: this one, or that of the given number.
struct Ressources
{
    std::size_t fils = 0;
    std::size_t descripteurs = 0;

    static Ressources lire(const std::string& processus = "self")
    {
        const auto compter = [&](const char* dossier) {
            return static_cast<std::size_t>(
                std::distance(std::filesystem::directory_iterator("/proc/" + processus + dossier),
                              std::filesystem::directory_iterator()));
        };
        return {compter("/task"), compter("/fd")};
    }
    /// Waits until neither is above what is given, at most for the delay: idle threads and connections end in
    /// their own time. Returns the last look.
    static Ressources attendre(const Ressources& limite, std::chrono::seconds delai,
                               const std::string& processus = "self")
    {
        const auto fin = std::chrono::steady_clock::now() + delai;
        for (;;) {
            const Ressources etat = lire(processus);
            if ((etat.fils <= limite.fils && etat.descripteurs <= limite.descripteurs) ||
                std::chrono::steady_clock::now() >= fin)
                return etat;
            // Nothing tells of the end of a thread that belongs to the ORB.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    /// Waits until nothing has come or gone for a second, at most for the delay; returns the last look. What
    /// belongs to an activation, the pings' connections first of all, does not come at once.
    static Ressources attendreStables(std::chrono::seconds delai = std::chrono::seconds(10))
    {
        const auto fin = std::chrono::steady_clock::now() + delai;
        Ressources etat = lire();
        auto depuis = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() < std::min(fin, depuis + std::chrono::seconds(1))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            const Ressources nouvel = lire();
            if (!(nouvel == etat))
                depuis = std::chrono::steady_clock::now();
            etat = nouvel;
        }
        return etat;
    }
    bool operator==(const Ressources& r) const { return fils == r.fils && descripteurs == r.descripteurs; }
};

inline std::ostream& operator<<(std::ostream& flux, const Ressources& r)
{
    return flux << r.fils << " threads, " << r.descripteurs << " descriptors";
}

/// Resident memory of a process, in kilobytes.
namespace memoire {

inline long lire(const std::string& champ, const std::string& processus = "self")
{
    std::ifstream etat("/proc/" + processus + "/status");
    for (std::string ligne; std::getline(etat, ligne);)
        if (ligne.compare(0, champ.size(), champ) == 0)
            return std::stol(ligne.substr(champ.size() + 1));
    return -1;
}

/// Now, without what the allocator keeps for later.
inline long residente()
{
    malloc_trim(0);
    return lire("VmRSS");
}
/// The most since the last oublierPic().
inline long pic() { return lire("VmHWM"); }
inline void oublierPic() { std::ofstream("/proc/self/clear_refs") << 5; }

} // namespace memoire

/// What a process has when it is at rest: a thread of the ORB that has nothing to do waits for a while, a
/// descriptor may be a file being read.
class Repos
{
  public:
    explicit Repos(std::string processus) : _processus(std::move(processus)) {}

    /// Waits until it has no more threads and descriptors than that, and says what has grown since the
    /// construction, or since the last call.
    void verifier(const std::string& quoi, long croissanceMax)
    {
        const Ressources apres = Ressources::attendre(_limite, std::chrono::seconds(40), _processus);
        EXPECT_LE(apres.fils, _limite.fils) << quoi;
        EXPECT_LE(apres.descripteurs, _limite.descripteurs) << quoi;
        const long memoire = memoire::lire("VmRSS", _processus);
        EXPECT_TRUE(!MEMOIRE_MESURABLE || memoire - _memoire < croissanceMax) << quoi;
        std::cout << quoi << ", process " << _processus << ": " << apres << ", limit " << _limite << ", "
                  << memoire - _memoire << " kB more" << std::endl;
        _memoire = memoire;
    }

  private:
    static constexpr std::size_t MARGE = 4;

    const std::string _processus;
    const Ressources _limite{Ressources::lire(_processus).fils + MARGE,
                             Ressources::lire(_processus).descripteurs + MARGE};
    long _memoire = memoire::lire("VmRSS", _processus);
};

} // namespace essais

#endif
