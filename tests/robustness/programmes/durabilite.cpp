// An application that keeps a register of what it was told, whatever dies meanwhile, and compares it with
// what there is at the end.
//
//     durabilite CONFIGURATION.toml [SEED]
//
// Flights are created, changed and deleted, 64 at a time, until SIGTERM. Each step of a flight follows the
// answer to the step before it, so that it is known what must be there: the state that was told; for a step
// of which nothing was told, that before it or that after it, whole. Exit status: 0 when it is so, 1 when
// not, 2 when it cannot be known.
#include "CdvSession.h"
#include "FileAttente.h"
#include "OXcdvCliCode.h"

#include <csignal>
#include <iomanip>
#include <iostream>
#include <random>
#include <unordered_map>
#include <variant>

namespace {

using namespace std::chrono_literals;
using Horloge = std::chrono::steady_clock;
using Fait = cdv::Resultat::Etat;

/// The steps since the creation that made the record what it is; none: it is not there.
using Etat = std::vector<unsigned>;

enum class Acte
{
    creer,
    modifier,
    supprimer
};

/// What a step writes: about every second field, others in the next step, all of them telling which step it
/// was.
cdv::Vol contenu(const std::string& identifiant, unsigned pas)
{
    cdv::Vol vol;
    std::string_view precedent;
    unsigned rang = pas;
    for (const std::string_view nom : cdv::Vol::champs()) {
        const std::string_view groupe = nom.substr(0, nom.find('.')); // a status is written as a whole
        if (groupe != std::exchange(precedent, groupe))
            ++rang;
        if (rang % 2 == 0)
            vol.ecrire(nom, identifiant + "/" + std::to_string(pas) + "\xE9" + std::string(nom));
    }
    vol.ecrire(cdv::Champ::gidentifiant, identifiant);
    for (unsigned point = 0; point < pas % 3; ++point)
        vol.ajouterPoint("P" + std::to_string(pas + point));
    return vol;
}

/// The record of that state.
cdv::Vol attendu(const std::string& identifiant, const Etat& etat)
{
    cdv::Vol vol;
    for (const unsigned pas : etat) {
        const cdv::Vol ecrit = contenu(identifiant, pas);
        for (const std::string_view nom : cdv::Vol::champs())
            if (const auto texte = ecrit.lire(nom))
                vol.ecrire(nom, *texte);
        if (ecrit.nombrePoints() > 0) {
            vol.viderPoints();
            for (const std::string_view point : ecrit.points())
                vol.ajouterPoint(point);
        }
    }
    return vol;
}

/// What is known of one flight.
struct Fiche
{
    Etat etat; ///< that was told
    std::optional<Etat>
        incertain; ///< after a step of which nothing was told: the flight is left alone from then on
    std::optional<Etat> abandonne; ///< that a step answered with code 4 would have given
    unsigned pas = 0;
    Acte acte = Acte::creer; ///< under way

    Etat suivant() const ///< when that is done
    {
        Etat apres = acte == Acte::supprimer ? Etat{} : etat;
        if (acte != Acte::supprimer)
            apres.push_back(pas);
        return apres;
    }
    int codeAttendu() const
    {
        if (acte == Acte::creer)
            return etat.empty() ? cdv::code::FAIT : cdv::code::EXISTE_DEJA;
        return etat.empty() ? cdv::code::INTROUVABLE : cdv::code::FAIT;
    }
};
using Registre = std::unordered_map<std::string, Fiche>;

/// What is not as it was told, counted and the first of them shown.
class Fautes
{
  public:
    void noter(const std::string& identifiant, const std::string& quoi)
    {
        if (++_nombre <= 5)
            std::cout << "fault: " << identifiant << ": " << quoi << std::endl;
    }
    std::size_t nombre() const { return _nombre; }

  private:
    std::size_t _nombre = 0;
};

struct Reponse
{
    std::string identifiant;
    cdv::Resultat resultat;
};
struct FinDemandee
{
};
/// What the one thread that keeps the register waits for.
using Nouvelle = std::variant<FinDemandee, Reponse, cdv::Evenement>;

class Charge
{
  public:
    static constexpr int ENSEMBLE = 64;

    Charge(cdv::Session& session, essais::FileAttente<Nouvelle>& nouvelles, unsigned graine)
        : _session(session),
          _nouvelles(nouvelles),
          _hasard(graine),
          _prefixe("D" + std::to_string(graine) + "-")
    {}

    /// Until the end is asked for and everything has ended.
    void executer()
    {
        for (int i = 0; i < ENSEMBLE; ++i)
            _nouveauVol();
        while (_enCours > 0 || !_attendent.empty())
            std::visit([this](auto&& nouvelle) { _traiter(std::move(nouvelle)); },
                       _nouvelles.prendre(FinDemandee(), 10min));
    }
    /// 0 when what is there is what was told.
    int verifier();

  private:
    void _traiter(FinDemandee)
    {
        _fini = true;
        _attendent.clear();
    }
    void _traiter(cdv::Evenement&& evenement);
    void _traiter(Reponse&& reponse);
    void _noterReponse();
    void _juger(const std::string& identifiant, Fiche& fiche, const cdv::Resultat& resultat);
    void _nouveauVol();
    void _continuer(const std::string& identifiant, Fiche& fiche);
    void _demander(const std::string& identifiant, Fiche& fiche);
    void _comparer(const cdv::Vol& vol, std::set<std::string>& vus);

    cdv::Session& _session;
    essais::FileAttente<Nouvelle>& _nouvelles;
    std::mt19937 _hasard;
    const std::string _prefixe;
    Registre _registre;
    Fautes _fautes;
    std::vector<std::string> _attendent; ///< a server
    bool _fini = false;
    int _enCours = 0;
    unsigned _vols = 0, _activations = 0;
    std::size_t _reponses = 0, _notifies = 0, _abandonnes = 0, _sansReponse = 0, _faitsSansReponse = 0;
    Horloge::time_point _derniere = Horloge::now();
    Horloge::duration _silence{0};
};

void Charge::_traiter(cdv::Evenement&& evenement)
{
    if (evenement.perte)
        std::cout << "connection lost: " << orix::texteStatut(evenement.statut) << std::endl;
    if (evenement.etat != cdv::EtatSession::active)
        return;
    std::cout << "active " << ++_activations << " on " << evenement.serveur << std::endl;
    for (const std::string& identifiant : std::exchange(_attendent, {}))
        _demander(identifiant, _registre[identifiant]);
}

void Charge::_traiter(Reponse&& reponse)
{
    --_enCours;
    Fiche& fiche = _registre[reponse.identifiant];
    switch (reponse.resultat.etat) {
    case Fait::fait:
    case Fait::refuse:
        _noterReponse();
        _juger(reponse.identifiant, fiche, reponse.resultat);
        return _continuer(reponse.identifiant, fiche);
    case Fait::nonEnvoye: // nothing has changed: the same again, when there is a server
        if (_session.estActive() && !_fini)
            return _demander(reponse.identifiant, fiche);
        if (!_fini)
            _attendent.push_back(reponse.identifiant);
        return;
    default:
        ++_sansReponse;
        if (fiche.codeAttendu() == cdv::code::FAIT)
            fiche.incertain = fiche.suivant();
        _nouveauVol();
    }
}

void Charge::_noterReponse()
{
    const Horloge::duration silence = Horloge::now() - std::exchange(_derniere, Horloge::now());
    _silence = std::max(_silence, silence);
    if (silence > 1s)
        std::cout << "answers again, " << std::chrono::duration<double>(silence).count()
                  << " s after the last one" << std::endl;
    if (++_reponses % 500 == 0)
        std::cout << _reponses << " answers" << std::endl;
}

void Charge::_juger(const std::string& identifiant, Fiche& fiche, const cdv::Resultat& resultat)
{
    if (resultat.code == cdv::code::ECHEC_MAGASIN) {
        if (++_abandonnes == 1)
            std::cout << "code 4 for the first time" << std::endl;
        if (fiche.codeAttendu() == cdv::code::FAIT)
            fiche.abandonne = fiche.suivant();
        return;
    }
    if (resultat.code != fiche.codeAttendu())
        _fautes.noter(identifiant, "code " + std::to_string(resultat.code) + " instead of " +
                                       std::to_string(fiche.codeAttendu()) + " for step " +
                                       std::to_string(fiche.pas) +
                                       (fiche.abandonne ? ", after a code 4" : ""));
    if (resultat.code != cdv::code::FAIT)
        return;
    ++_notifies;
    fiche.etat = fiche.suivant();
    fiche.abandonne.reset();
    if (fiche.acte != Acte::supprimer && (!resultat.vol || *resultat.vol != attendu(identifiant, fiche.etat)))
        _fautes.noter(identifiant, "the answer is not the record of step " + std::to_string(fiche.pas) +
                                       (resultat.vol ? ": " + resultat.vol->versJson() : ""));
}

void Charge::_nouveauVol()
{
    if (_fini)
        return;
    const std::string identifiant = _prefixe + std::to_string(_vols++);
    _demander(identifiant, _registre[identifiant]);
}

/// The next step of that flight, or the first of another one.
void Charge::_continuer(const std::string& identifiant, Fiche& fiche)
{
    if (_fini)
        return;
    const unsigned de = _hasard() % 10;
    if (de < 2)
        return _nouveauVol();
    const bool present = !fiche.etat.empty();
    fiche.acte = de < 4 ? Acte::supprimer : (de < 8) == present ? Acte::modifier : Acte::creer;
    ++fiche.pas;
    _demander(identifiant, fiche);
}

void Charge::_demander(const std::string& identifiant, Fiche& fiche)
{
    const auto fin = [this, identifiant](cdv::Resultat resultat) {
        _nouvelles.poser(Reponse{identifiant, std::move(resultat)});
    };
    const cdv::Vol vol = contenu(identifiant, fiche.pas);
    ++_enCours;
    switch (fiche.acte) {
    case Acte::creer:
        return _session.creer(vol, fin);
    case Acte::modifier:
        return _session.modifier(vol, fin);
    case Acte::supprimer:
        return _session.supprimer(vol, fin);
    }
}

void Charge::_comparer(const cdv::Vol& vol, std::set<std::string>& vus)
{
    const std::string identifiant(vol.lire(cdv::Champ::gidentifiant).value_or("?"));
    if (!vus.insert(identifiant).second)
        return _fautes.noter(identifiant, "it is there twice");
    const auto place = _registre.find(identifiant);
    if (place == _registre.end())
        return _fautes.noter(identifiant, "nobody asked for it");
    const Fiche& fiche = place->second;
    const auto est = [&](const Etat& etat) { return !etat.empty() && vol == attendu(identifiant, etat); };
    if (fiche.incertain && est(*fiche.incertain))
        ++_faitsSansReponse;
    else if (fiche.abandonne && est(*fiche.abandonne))
        _fautes.noter(identifiant, "what was answered with code 4 was done");
    else if (!est(fiche.etat))
        _fautes.noter(identifiant, "it is not what was told: " + vol.versJson());
}

int Charge::verifier()
{
    cdv::Vol exemple;
    exemple.ecrire(cdv::Champ::gidentifiant, _prefixe + "*");
    std::set<std::string> vus;
    cdv::Flux flux = _session.parcourir(exemple);
    for (const cdv::Vol& vol : flux)
        _comparer(vol, vus);
    if (!flux.resultat())
        throw std::runtime_error("the listing ended early: " + flux.resultat().texte());
    for (const auto& [identifiant, fiche] : _registre) {
        if (vus.count(identifiant) > 0)
            continue;
        if (fiche.incertain && fiche.incertain->empty())
            ++_faitsSansReponse;
        else if (fiche.abandonne && fiche.abandonne->empty())
            _fautes.noter(identifiant, "what was answered with code 4 was done");
        else if (!fiche.etat.empty())
            _fautes.noter(identifiant, "it is lost");
    }
    std::cout << _registre.size() << " flights, " << vus.size() << " there; " << _notifies
              << " steps notified, " << _abandonnes << " answered with code 4, " << _sansReponse
              << " without an answer (" << _faitsSansReponse << " of them done); longest silence "
              << std::chrono::duration<double>(_silence).count() << " s" << std::endl;
    if (_fautes.nombre() > 0)
        std::cout << "FAULTS: " << _fautes.nombre() << std::endl;
    else
        std::cout << "Nothing that was told is lost, nothing refused was done, nothing was done twice."
                  << std::endl;
    return _fautes.nombre() > 0 ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc < 2)
        throw std::runtime_error("usage: durabilite CONFIGURATION.toml [SEED]");
    sigset_t arrets;
    sigemptyset(&arrets);
    sigaddset(&arrets, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &arrets, nullptr); // in the threads to come, too
    const unsigned graine =
        argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : std::random_device{}() % 100000;
    std::cout << std::fixed << std::setprecision(1) << "seed " << graine << std::endl;

    static essais::FileAttente<Nouvelle> nouvelles; // outlives who fills it: the session, the thread below
    cdv::Processus processus(argc, argv, argv[1]);
    cdv::Options options;
    options.delaiRequete = 2min;
    options.delaiReprise = 20ms;
    options.delaiRepriseMax = 500ms;
    options.observateur = [](const cdv::Evenement& evenement) { nouvelles.poser(evenement); };
    cdv::Session session;
    session.ouvrir(options);
    std::thread([arrets] {
        int signal = 0;
        sigwait(&arrets, &signal);
        nouvelles.poser(FinDemandee());
    }).detach();

    Charge charge(session, nouvelles, graine);
    charge.executer();
    if (!session.attendreActive(2min))
        throw std::runtime_error("no server accepts any more");
    return charge.verifier();
} catch (const std::exception& erreur) {
    std::cout << "durabilite: " << erreur.what() << std::endl;
    return 2;
}
