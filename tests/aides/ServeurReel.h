#ifndef SERVEURREEL_H
#define SERVEURREEL_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace essais {

/// A program that runs beside the test, with what it writes. Killed at the end if it still runs.
class Programme
{
  public:
    using Duree = std::chrono::milliseconds;
    /// A loaded machine takes its time; less than a test may last.
    static constexpr std::chrono::seconds PATIENCE{100};

    /// arguments: without the program's own name.
    Programme(const std::string& chemin, const std::vector<std::string>& arguments);
    ~Programme();
    Programme(const Programme&) = delete;
    Programme& operator=(const Programme&) = delete;

    pid_t pid() const { return _pid; }
    void signaler(int signal); ///< does nothing once it has ended
    /// Stops it (SIGSTOP), and waits until every thread of it stands still. SIGCONT lets it go on.
    void figer();
    /// Waits for the end: its exit status, or 128 + the signal that ended it. May be asked again.
    int attendreFin();

    std::string sortie();  ///< of the standard output, so far; all of it after attendreFin()
    std::string erreurs(); ///< of the standard error, likewise
    /// Waits until the text is there; false when the program ended or the delay passed without it.
    bool attendreSortie(const std::string& texte, Duree delai = PATIENCE);
    bool attendreErreurs(const std::string& texte, Duree delai = PATIENCE);

  private:
    struct Flux
    {
        std::string texte;
        bool fini = false;
        std::thread lecture;
    };
    void _lire(Flux& flux, int descripteur);
    std::string _texte(Flux& flux);
    bool _attendre(Flux& flux, const std::string& texte, Duree delai);

    pid_t _pid = -1;
    bool _termine = false;
    int _statut = 0;
    std::mutex _mutex;
    std::condition_variable _arrivee;
    Flux _sortie;
    Flux _erreurs;
};

/// A port of the loopback that was free a moment ago, and that no outgoing connection takes while the server
/// that listens there is being restarted: it is below those that the system gives out.
int portReserve();

/// The path of cdv-serveur.
std::string cheminServeur();

/// A real cdv-serveur on the loopback. The constructor returns when it is ready, and throws
/// std::runtime_error with what it wrote when it does not become so.
class ServeurReel : public Programme
{
  public:
    /// port 0: a free one. options: further options of the program.
    explicit ServeurReel(const std::string& base, const std::vector<std::string>& options = {}, int port = 0);

    int port() const { return _port; }
    const std::string& url() const { return _url; } ///< of its kernel, "corbaloc:..."

  private:
    int _port = 0;
    std::string _url;
};

} // namespace essais

#endif
