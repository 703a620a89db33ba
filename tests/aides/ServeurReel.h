#ifndef SERVEURREEL_H
#define SERVEURREEL_H

#include "Essais.h"
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace essais {

/// The two ends of a pipe, closed in the children that are not given one.
struct Tube
{
    Tube()
    {
        if (pipe2(bouts, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    int bouts[2] = {};
};

/// A program that runs beside the test, with what it writes. Killed at the end if it still runs.
class Programme
{
  public:
    using Duree = std::chrono::milliseconds;
    /// A loaded machine takes its time; less than a test may last.
    static constexpr std::chrono::seconds PATIENCE{100};

    /// arguments: without the program's own name.
    Programme(const std::string& chemin, const std::vector<std::string>& arguments)
    {
        std::vector<std::string> mots{chemin};
        mots.insert(mots.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (std::string& mot : mots)
            argv.push_back(mot.data());
        argv.push_back(nullptr);

        const Tube sortie;
        const Tube erreurs;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, sortie.bouts[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, erreurs.bouts[1], STDERR_FILENO);
        const int echec = posix_spawn(&_pid, chemin.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(sortie.bouts[1]);
        close(erreurs.bouts[1]);
        if (echec != 0) {
            close(sortie.bouts[0]);
            close(erreurs.bouts[0]);
            throw std::runtime_error("cannot start " + chemin);
        }
        _sortie.lecture = std::thread([this, d = sortie.bouts[0]] { _lire(_sortie, d); });
        _erreurs.lecture = std::thread([this, d = erreurs.bouts[0]] { _lire(_erreurs, d); });
    }
    ~Programme()
    {
        signaler(SIGKILL);
        attendreFin();
    }

    pid_t pid() const { return _pid; }
    /// does nothing once it has ended
    void signaler(int signal)
    {
        if (!_termine)
            kill(_pid, signal);
    }
    /// Stops it (SIGSTOP), and waits until every thread of it stands still. SIGCONT lets it go on.
    void figer()
    {
        signaler(SIGSTOP);
        int etat = 0;
        while (!_termine && waitpid(_pid, &etat, WUNTRACED) < 0 && errno == EINTR) {
        }
    }
    /// Waits for the end: its exit status, or 128 + the signal that ended it. May be asked again.
    int attendreFin()
    {
        if (_termine)
            return _statut;
        int etat = 0;
        while (waitpid(_pid, &etat, 0) < 0 && errno == EINTR) {
        }
        _termine = true;
        _statut = WIFEXITED(etat) ? WEXITSTATUS(etat) : 128 + WTERMSIG(etat);
        _sortie.lecture.join();
        _erreurs.lecture.join();
        return _statut;
    }

    /// of the standard output, so far; all of it after attendreFin()
    std::string sortie() { return _texte(_sortie); }
    /// of the standard error, likewise
    std::string erreurs() { return _texte(_erreurs); }
    /// Waits until the text is there; false when the program ended or the delay passed without it.
    bool attendreSortie(const std::string& texte, Duree delai = PATIENCE)
    {
        return _attendre(_sortie, texte, delai);
    }
    bool attendreErreurs(const std::string& texte, Duree delai = PATIENCE)
    {
        return _attendre(_erreurs, texte, delai);
    }

  private:
    struct Flux
    {
        std::string texte;
        bool fini = false;
        std::thread lecture;
    };
    void _lire(Flux& flux, int descripteur)
    {
        char tampon[4096];
        for (;;) {
            const ssize_t lus = read(descripteur, tampon, sizeof tampon);
            if (lus < 0 && errno == EINTR)
                continue;
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (lus > 0)
                flux.texte.append(tampon, static_cast<std::size_t>(lus));
            else
                flux.fini = true;
            _arrivee.notify_all();
            if (flux.fini)
                break;
        }
        close(descripteur);
    }
    std::string _texte(Flux& flux)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return flux.texte;
    }
    bool _attendre(Flux& flux, const std::string& texte, Duree delai)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        const auto present = [&] { return flux.texte.find(texte) != std::string::npos; };
        _arrivee.wait_for(verrou, delai, [&] { return flux.fini || present(); });
        return present();
    }

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
inline int portReserve()
{
    static std::minstd_rand hasard(std::random_device{}());
    for (;;) {
        const int port = std::uniform_int_distribution<int>(20000, 32000)(hasard);
        const int prise = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in adresse{};
        adresse.sin_family = AF_INET;
        adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        adresse.sin_port = htons(static_cast<std::uint16_t>(port));
        const bool libre = bind(prise, reinterpret_cast<sockaddr*>(&adresse), sizeof(adresse)) == 0;
        close(prise);
        if (libre)
            return port;
    }
}

/// The path of cdv-serveur.
inline std::string cheminServeur() { return OXCDV_CDV_SERVEUR; }

/// A real cdv-serveur on the loopback. The constructor returns when it is ready, and throws
/// std::runtime_error with what it wrote when it does not become so.
class ServeurReel : public Programme
{
  public:
    /// port 0: a free one. options: further options of the program.
    explicit ServeurReel(const std::string& base, const std::vector<std::string>& options = {}, int port = 0)
        : Programme(cheminServeur(), _arguments(base, options, port))
    {
        if (!attendreSortie("\n"))
            throw std::runtime_error("cdv-serveur is not ready: " + erreurs());
        const std::string ligne = sortie();
        const std::size_t debut = ligne.find("corbaloc:");
        _url = ligne.substr(debut, ligne.find(',', debut) - debut);
        _port = std::stoi(_url.substr(_url.rfind(':') + 1));
    }

    int port() const { return _port; }
    const std::string& url() const { return _url; } ///< of its kernel, "corbaloc:..."

  private:
    static std::vector<std::string> _arguments(const std::string& base,
                                               const std::vector<std::string>& options, int port)
    {
        std::vector<std::string> arguments{"--base", base, "--port", std::to_string(port)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }

    int _port = 0;
    std::string _url;
};

} // namespace essais

#endif
