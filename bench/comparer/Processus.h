#ifndef BENCH_PROCESSUS_H
#define BENCH_PROCESSUS_H

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace bench {

/// A program that talks in lines over its standard input and output. Killed by the destructor, unless it has
/// ended.
class Processus
{
  public:
    explicit Processus(std::vector<std::string> commande) : _nom(commande.front())
    {
        int entree[2], sortie[2]; // its ends: entree[0], sortie[1]
        if (pipe2(entree, O_CLOEXEC) != 0 || pipe2(sortie, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe to be had");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, entree[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, sortie[1], STDOUT_FILENO);
        std::vector<char*> arguments;
        for (std::string& argument : commande)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        const int echec = posix_spawn(&_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(entree[0]);
        close(sortie[1]);
        _versLui = entree[1];
        _deLui = sortie[0];
        if (echec != 0) {
            fermerTubes();
            throw std::runtime_error(_nom + " does not start");
        }
    }
    ~Processus()
    {
        fermerTubes();
        if (_pid > 0) {
            kill(_pid, SIGKILL);
            waitpid(_pid, nullptr, 0);
        }
    }
    Processus(const Processus&) = delete;
    Processus& operator=(const Processus&) = delete;

    pid_t pid() const { return _pid; }

    void dire(const std::string& ligne) const
    {
        const std::string texte = ligne + "\n";
        if (write(_versLui, texte.data(), texte.size()) != static_cast<ssize_t>(texte.size()))
            throw std::runtime_error(_nom + " is gone");
    }

    /// Its next line. Throws when it ends, or says nothing for that long.
    std::string lire(std::chrono::seconds patience)
    {
        const auto fin = std::chrono::steady_clock::now() + patience;
        for (;;) {
            if (const auto position = _lu.find('\n'); position != std::string::npos) {
                const std::string ligne = _lu.substr(0, position);
                _lu.erase(0, position + 1);
                return ligne;
            }
            const auto reste =
                std::chrono::duration_cast<std::chrono::milliseconds>(fin - std::chrono::steady_clock::now());
            pollfd attente{_deLui, POLLIN, 0};
            if (reste.count() <= 0 || poll(&attente, 1, static_cast<int>(reste.count())) == 0)
                throw std::runtime_error(_nom + " has said nothing for " + std::to_string(patience.count()) +
                                         " s");
            char tampon[4096];
            const ssize_t taille = read(_deLui, tampon, sizeof tampon);
            if (taille == 0)
                throw std::runtime_error(_nom + " ended in the middle");
            if (taille > 0)
                _lu.append(tampon, static_cast<std::size_t>(taille));
            else if (errno != EINTR)
                throw std::runtime_error(_nom + " cannot be read");
        }
    }

    /// The next line, which must begin with that word: what follows it.
    std::string attendre(const std::string& mot, std::chrono::seconds patience)
    {
        const std::string ligne = lire(patience);
        if (ligne.rfind(mot, 0) != 0)
            throw std::runtime_error(_nom + " said '" + ligne + "', not " + mot);
        return ligne.substr(mot.size());
    }

    /// Ends its input, and waits until it has ended in its turn. Throws when it failed.
    void finir(std::chrono::seconds patience)
    {
        close(_versLui);
        _versLui = -1;
        pollfd attente{_deLui, POLLIN, 0}; // its output ends with it
        if (poll(&attente, 1, static_cast<int>(patience.count() * 1000)) == 0)
            throw std::runtime_error(_nom + " does not end");
        int statut = 0;
        waitpid(_pid, &statut, 0);
        _pid = 0;
        if (!WIFEXITED(statut) || WEXITSTATUS(statut) != 0)
            throw std::runtime_error(_nom + " failed");
    }

  private:
    void fermerTubes() const
    {
        for (const int tube : {_versLui, _deLui})
            if (tube >= 0)
                close(tube);
    }

    std::string _nom;
    pid_t _pid = 0;
    int _versLui = -1, _deLui = -1;
    std::string _lu; // read, not yet asked for
};

} // namespace bench

#endif
