#include "Execution.h"

#include "Processus.h"

#include <arpa/inet.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <cstdint>
#include <filesystem>
#include <thread>

namespace comparaison {

namespace {

using nlohmann::json;
constexpr std::chrono::seconds PATIENCE{300}; // a million notifications take their time

unsigned portLibre()
{
    const int prise = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in adresse{};
    adresse.sin_family = AF_INET;
    adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t taille = sizeof adresse;
    auto* const generale = reinterpret_cast<sockaddr*>(&adresse); // how sockets want it
    const bool fait = bind(prise, generale, taille) == 0 && getsockname(prise, generale, &taille) == 0;
    close(prise);
    if (!fait)
        throw std::runtime_error("no port to be had on the loopback");
    return ntohs(adresse.sin_port);
}

/// A folder for the run's files, removed with them.
class DossierTemporaire
{
  public:
    DossierTemporaire()
    {
        std::string modele = (std::filesystem::temp_directory_path() / "comparer-XXXXXX").string();
        if (mkdtemp(modele.data()) == nullptr)
            throw std::runtime_error("no temporary folder to be had");
        _chemin = modele;
    }
    ~DossierTemporaire()
    {
        std::error_code sansSuite;
        std::filesystem::remove_all(_chemin, sansSuite);
    }
    DossierTemporaire(const DossierTemporaire&) = delete;
    DossierTemporaire& operator=(const DossierTemporaire&) = delete;
    const std::filesystem::path& chemin() const { return _chemin; }

  private:
    std::filesystem::path _chemin;
};

/// As many processes as there are processors, which do nothing and never wait; while it lives.
class MachineOccupee
{
  public:
    explicit MachineOccupee(bool occupee)
    {
        for (unsigned i = 0; occupee && i < std::thread::hardware_concurrency(); ++i) {
            const pid_t pid = fork();
            if (pid == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                close_range(0, ~0u, 0); // or the pipes of the others would not end
                for (volatile unsigned tour = 0;; tour = tour + 1)
                    ;
            }
            if (pid > 0)
                _pids.push_back(pid);
        }
    }
    ~MachineOccupee()
    {
        for (const pid_t pid : _pids) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    MachineOccupee(const MachineOccupee&) = delete;
    MachineOccupee& operator=(const MachineOccupee&) = delete;

  private:
    std::vector<pid_t> _pids;
};

std::filesystem::path programmes() { return std::filesystem::canonical("/proc/self/exe").parent_path(); }

} // namespace

bool estConstruit(const Systeme& systeme)
{
    return std::filesystem::exists(programmes() / systeme.client) &&
           std::filesystem::exists(programmes() / systeme.serveur);
}

json executer(const Mesure& mesure, const Systeme& systeme, int nombre)
{
    const DossierTemporaire dossier;
    Arguments arguments = {
        "--port",    std::to_string(portLibre()),     "--nombre",  std::to_string(nombre),
        "--chauffe", std::to_string(nombre / 10 + 1), "--dossier", dossier.chemin().string()};
    if (mesure.rappel)
        arguments.push_back("--rappel");
    for (const Arguments& suite : {mesure.arguments, systeme.arguments})
        arguments.insert(arguments.end(), suite.begin(), suite.end());
    const auto commande = [&](const std::string& programme) {
        Arguments complete = arguments;
        complete.insert(complete.begin(), (programmes() / programme).string());
        return complete;
    };

    bench::Processus serveur(commande(systeme.serveur));
    serveur.attendre("PRET", PATIENCE);
    bench::Processus client(commande(systeme.client));
    client.attendre("CHAUD", PATIENCE);
    serveur.attendre("RECU", PATIENCE);
    const MachineOccupee occupee(mesure.charge);
    client.dire("DEPART");
    client.attendre("ENVOYE", PATIENCE);
    const std::int64_t recu = std::stoll(serveur.attendre("RECU", PATIENCE));
    client.dire("FIN");
    json resultat = json::parse(client.lire(PATIENCE));
    client.finir(PATIENCE);
    serveur.finir(PATIENCE);

    const std::int64_t fin = mesure.rappel ? resultat["fin_ns"].get<std::int64_t>() : recu;
    resultat["debit"] = nombre / (static_cast<double>(fin - resultat["debut_ns"].get<std::int64_t>()) / 1e9);
    resultat.erase("debut_ns");
    resultat.erase("fin_ns");
    resultat["nombre"] = nombre;
    return resultat;
}

} // namespace comparaison
