#include "ServeurReel.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <random>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace essais {

namespace {

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

} // namespace

Programme::Programme(const std::string& chemin, const std::vector<std::string>& arguments)
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

Programme::~Programme()
{
    signaler(SIGKILL);
    attendreFin();
}

void Programme::signaler(int signal)
{
    if (!_termine)
        kill(_pid, signal);
}

void Programme::figer()
{
    signaler(SIGSTOP);
    int etat = 0;
    while (!_termine && waitpid(_pid, &etat, WUNTRACED) < 0 && errno == EINTR) {
    }
}

int Programme::attendreFin()
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

void Programme::_lire(Flux& flux, int descripteur)
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

std::string Programme::_texte(Flux& flux)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    return flux.texte;
}

bool Programme::_attendre(Flux& flux, const std::string& texte, Duree delai)
{
    std::unique_lock<std::mutex> verrou(_mutex);
    const auto present = [&] { return flux.texte.find(texte) != std::string::npos; };
    _arrivee.wait_for(verrou, delai, [&] { return flux.fini || present(); });
    return present();
}

std::string Programme::sortie() { return _texte(_sortie); }
std::string Programme::erreurs() { return _texte(_erreurs); }
bool Programme::attendreSortie(const std::string& texte, Duree delai)
{
    return _attendre(_sortie, texte, delai);
}
bool Programme::attendreErreurs(const std::string& texte, Duree delai)
{
    return _attendre(_erreurs, texte, delai);
}

int portReserve()
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

std::string cheminServeur() { return OXCDV_CDV_SERVEUR; }

namespace {
std::vector<std::string> argumentsServeur(const std::string& base, const std::vector<std::string>& options,
                                          int port)
{
    std::vector<std::string> arguments{"--base", base, "--port", std::to_string(port)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}
} // namespace

ServeurReel::ServeurReel(const std::string& base, const std::vector<std::string>& options, int port)
    : Programme(cheminServeur(), argumentsServeur(base, options, port))
{
    if (!attendreSortie("\n"))
        throw std::runtime_error("cdv-serveur is not ready: " + erreurs());
    const std::string ligne = sortie();
    const std::size_t debut = ligne.find("corbaloc:");
    _url = ligne.substr(debut, ligne.find(',', debut) - debut);
    _port = std::stoi(_url.substr(_url.rfind(':') + 1));
}

} // namespace essais
