#include "Commandes.h"
#include "Connexion.h"
#include "Expliquer.h"
#include "Json.h"
#include "Mesure.h"
#include "Progression.h"
#include "Sortie.h"
#include "Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <variant>

namespace outils {

namespace {

/// The answer to a measure; empty: none.
using Ping = std::optional<double>;
using Nouvelle = std::variant<cdv::Evenement, Ping, cdv::Statistiques>;

/// From the threads that know, to the one that writes.
class Nouvelles
{
  public:
    void deposer(Nouvelle nouvelle)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _file.push_back(std::move(nouvelle));
        _arrivee.notify_all();
    }
    void finir()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _finies = true;
        _arrivee.notify_all();
    }
    /// Waits for the next one, until that time at most; nothing when it has come, or after finir().
    std::optional<Nouvelle> attendre(Horloge::time_point limite)
    {
        std::unique_lock<std::mutex> verrou(_mutex);
        _arrivee.wait_until(verrou, limite, [this] { return _finies || !_file.empty(); });
        if (_finies || _file.empty())
            return std::nullopt;
        Nouvelle nouvelle = std::move(_file.front());
        _file.pop_front();
        return nouvelle;
    }

  private:
    std::mutex _mutex;
    std::condition_variable _arrivee;
    std::deque<Nouvelle> _file;
    bool _finies = false;
};

/// "2026-11-21T14:03:21Z"
std::string maintenant()
{
    const std::time_t heure = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&heure, &utc);
    char texte[32];
    std::strftime(texte, sizeof texte, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return texte;
}

const char* nom(cdv::EtatSession etat)
{
    switch (etat) {
    case cdv::EtatSession::activation:
        return "activation";
    case cdv::EtatSession::active:
        return "active";
    case cdv::EtatSession::perdue:
        return "perdue";
    case cdv::EtatSession::attente:
        return "attente";
    case cdv::EtatSession::fermee:
        break;
    }
    return "fermée";
}

/// Writes the news: a line each, but on a terminal the measures all on one.
class Journal
{
  public:
    explicit Journal(Format format)
        : _json(format == Format::json),
          _colonnes(largeurTerminal(STDOUT_FILENO)),
          _surPlace(!_json && estTerminal(STDOUT_FILENO)),
          _flux(STDOUT_FILENO)
    {}

    /// numeroClient: the server's, when active.
    void noter(const cdv::Evenement& evenement, int numeroClient)
    {
        if (_json) {
            nlohmann::ordered_json objet{{"heure", maintenant()}, {"etat", nom(evenement.etat)}};
            if (evenement.etat == cdv::EtatSession::active) {
                objet["serveur"] = cdv::versUtf8(evenement.serveur);
                objet["machine"] = cdv::versUtf8(evenement.machine);
                objet["numero_client"] = numeroClient;
            } else if (evenement.statut != orix::OXS_OK) {
                objet["statut"] = orix::texteStatut(evenement.statut);
                objet["perte"] = evenement.perte;
            }
            _ecrire(ecrireJson(objet));
            return;
        }
        std::string texte = nom(evenement.etat);
        if (evenement.etat == cdv::EtatSession::active) {
            texte += "  " + affichable(evenement.serveur) + " sur " + affichable(evenement.machine) +
                     ", client n° " + std::to_string(numeroClient);
        } else if (evenement.statut != orix::OXS_OK) {
            texte += evenement.perte ? "  connexion perdue : " : "  ";
            texte += expliquer(evenement.statut);
        }
        if (evenement.etat == cdv::EtatSession::attente)
            texte += evenement.delai.count() == 0
                         ? ", nouvel essai aussitôt"
                         : ", nouvel essai dans " +
                               texteDuree(std::chrono::duration<double>(evenement.delai).count());
        // On a terminal a try gives its place to its outcome.
        _ecrireLigne(texte, _surPlace && evenement.etat == cdv::EtatSession::activation);
    }

    void noter(const Ping& ping)
    {
        if (ping) {
            ++_reponses;
            _somme += *ping;
            _minimum = std::min(_minimum, *ping);
            _maximum = std::max(_maximum, *ping);
        } else {
            ++_manques;
        }
        if (_json) {
            nlohmann::ordered_json objet{{"heure", maintenant()}, {"ping_ms", nullptr}};
            if (ping)
                objet["ping_ms"] = *ping;
            _ecrire(ecrireJson(objet));
            return;
        }
        std::string texte = "ping  " + (ping ? texteMs(*ping) : std::string("sans réponse"));
        if (_surPlace) // the only place where the past would not be seen
            texte += _bilan();
        _ecrireLigne(texte, _surPlace);
    }

    /// In JSON all of them; to a person those that move.
    void noter(const cdv::Statistiques& statistiques)
    {
        const auto objet = nlohmann::ordered_json::parse(statistiques.versJson());
        if (_json)
            return _ecrire(ecrireJson({{"heure", maintenant()}, {"statistiques", objet}}));
        const cdv::Statistiques::Demandes& mesures =
            statistiques.demandes[static_cast<std::size_t>(cdv::GenreDemande::consultation)];
        const auto ms = [](cdv::Statistiques::Microsecondes duree) {
            return texteMs(static_cast<double>(duree.count()) / 1000);
        };
        _ecrireLigne("chiffres  " + compte(mesures.durees.nombre, "réponse") + ", p50 " +
                         ms(mesures.durees.p50) + ", p99 " + ms(mesures.durees.p99) + ", max " +
                         ms(mesures.durees.max) + "; " + compte(statistiques.connexions, "connexion") + ", " +
                         compte(statistiques.pertes, "perte") + ", " +
                         std::to_string(statistiques.sansConnexion.count()) + " ms sans connexion",
                     false);
    }

    void finir()
    {
        if (_json)
            return;
        _ecrireLigne("fin " + _bilan(), false); // over the last measure, which tells the same
    }

  private:
    std::string _bilan() const
    {
        std::string texte = "  " + compte(_reponses, "réponse") + ", " + compte(_manques, "manquée");
        if (_reponses != 0)
            texte += ", min " + texteMs(_minimum) + ", moy " +
                     texteMs(_somme / static_cast<double>(_reponses)) + ", max " + texteMs(_maximum);
        return texte;
    }

    void _ecrireLigne(const std::string& texte, bool provisoire)
    {
        const std::string ligne = maintenant().substr(11, 8) + "  " + texte;
        const std::size_t place = _colonnes.value_or(std::string::npos);
        if (_provisoire)
            _flux << "\r\x1b[K";
        _provisoire = provisoire;
        if (provisoire)
            (_flux << tronquer(ligne, place - std::min(place, RESERVE))).flush();
        else
            _ecrire(_surPlace ? replier(ligne, place, MARGE) : ligne);
    }
    void _ecrire(const std::string& ligne) { (_flux << ligne << '\n').flush(); }

    static constexpr std::size_t MARGE = 10; ///< what the time takes

    const bool _json;
    const std::optional<std::size_t> _colonnes;
    const bool _surPlace;
    FluxFd _flux;
    bool _provisoire = false; ///< the last line may be written over
    std::uint64_t _reponses = 0;
    std::uint64_t _manques = 0;
    double _somme = 0;
    double _minimum = 1e12;
    double _maximum = 0;
};

} // namespace

int surveiller(const Options& options, Interruption& interruption)
{
    Journal journal(formatSimple(options));
    const orix::Configuration configuration = configurer(options);
    Nouvelles nouvelles;
    cdv::Options reglages = reglagesSession(options, configuration);
    reglages.reprise = true;
    reglages.observateur = [&nouvelles](const cdv::Evenement& evenement) { nouvelles.deposer(evenement); };

    if (options.statistiques) {
        reglages.periodeStatistiques = options.periode;
        reglages.surStatistiques = [&nouvelles](const cdv::Statistiques& statistiques) {
            nouvelles.deposer(statistiques);
        };
    }

    const auto processus = avecErreursClaires([&] { return cdv::Processus(configuration); });
    cdv::Session session;
    const Interruption::Garde garde(interruption, [&nouvelles] { nouvelles.finir(); });
    avecErreursClaires([&] { session.ouvrir(reglages); });

    const cdv::Vol vol = volDeMesure();
    bool jamaisActive = true;
    bool active = false;
    bool enCours = false; // a measure is unanswered: no other one meanwhile
    bool enEssai = true;  // a server is being asked: what a measure would tell is not known yet
    std::size_t mesures = 0;
    Horloge::time_point prochaine = Horloge::now() + options.periode;
    while (!interruption.demandee() && mesures < options.mesures.value_or(mesures + 1)) {
        const auto nouvelle = nouvelles.attendre(enCours || enEssai ? Horloge::time_point::max() : prochaine);
        if (interruption.demandee())
            break;
        if (!nouvelle) { // time for a measure
            prochaine = Horloge::now() + options.periode;
            if (!active) {
                ++mesures;
                journal.noter(Ping{});
                continue;
            }
            enCours = true;
            session.consulter(vol, [&nouvelles, debut = Horloge::now()](const cdv::Resultat& resultat) {
                nouvelles.deposer(aRepondu(resultat) ? Ping(millisecondes(Horloge::now() - debut)) : Ping{});
            });
            continue;
        }
        if (const Ping* const ping = std::get_if<Ping>(&*nouvelle)) {
            enCours = false;
            ++mesures;
            journal.noter(*ping);
            continue;
        }
        if (const auto* const statistiques = std::get_if<cdv::Statistiques>(&*nouvelle)) {
            journal.noter(*statistiques);
            continue;
        }
        const cdv::Evenement& evenement = std::get<cdv::Evenement>(*nouvelle);
        active = evenement.etat == cdv::EtatSession::active;
        enEssai = evenement.etat == cdv::EtatSession::activation;
        if (active && jamaisActive)
            prochaine = Horloge::now();
        jamaisActive = jamaisActive && !active;
        journal.noter(evenement, session.numeroClient());
    }
    journal.finir();
    return active ? FAIT : jamaisActive ? SANS_CONNEXION : PERDU;
}

} // namespace outils
