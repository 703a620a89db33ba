#include "Executeurs.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace serveur {

namespace {

// One commit for so many requests at most: as many as wait. Bounds how long the others wait for theirs.
constexpr std::size_t LOT_MAX = 2048;
constexpr std::size_t OCTETS_LOT_MAX = std::size_t{16} << 20;
constexpr std::size_t LIGNES_MAX = 512; // of one commit
constexpr std::size_t CONSULTATIONS_MAX = 256;
constexpr std::size_t OCTETS_CONSULTATIONS_MAX = std::size_t{1} << 20;
/// What one turn of a listing gives; the others' turn comes then.
constexpr std::size_t TRANCHE = std::size_t{256} << 10;
constexpr int LECTEURS = 2;
constexpr std::chrono::milliseconds REPOS{1000};

using Horloge = std::chrono::steady_clock;

/// From the first to the second, those of the first `executees` of them that were to be executed, and all
/// that stand before the next one.
void separer(Chaine& prises, std::size_t& executees, Chaine& reponses)
{
    while (!prises.vide() && (executees > 0 || !prises.premiere().aExecuter)) {
        executees -= prises.premiere().aExecuter ? 1 : 0;
        reponses.ajouter(prises.prendre());
    }
}

/// Whether somebody is to be told what nobody knows.
bool contientUneInconnue(Chaine& reponses)
{
    const Requete* requete = reponses.vide() ? nullptr : &reponses.premiere();
    while (requete != nullptr && requete->resultat != ISSUE_INCONNUE)
        requete = Chaine::suivante(*requete);
    return requete != nullptr;
}

void ajouterAuLot(Chaine& prises, Lot& lot)
{
    for (Requete* requete = prises.vide() ? nullptr : &prises.premiere(); requete != nullptr;
         requete = Chaine::suivante(*requete))
        if (requete->aExecuter)
            lot.push_back(requete);
}

} // namespace

/// What the threads have in common: their sign of life, and the figures of what they execute.
class Executeurs::Atelier : orix::INonCopiable
{
  protected:
    Atelier(Mesures& mesures, Battement& battement) : _mesures(mesures), _battement(battement) {}

    void battre() { _battement = Horloge::now(); }

    // One group, or slice of a listing, after the other.

    void commencer() { _debut = Horloge::now(); }
    /// executees: how many requests the store was asked.
    void finir(Mesures::Voie voie, std::size_t executees)
    {
        _voie = voie;
        _fin = Horloge::now();
        if (executees == 0)
            return;
        _mesures.magasin[voie].noter(_fin - _debut);
        if (voie != Mesures::LISTE)
            _mesures.lots[voie].noter(executees);
    }
    /// A listing has begun.
    void noterAttente(const Requete& liste)
    {
        _mesures.attente[Mesures::LISTE].noter(_debut - liste.instant);
    }
    /// These are ready.
    void repondre(Chaine& reponses)
    {
        if (reponses.vide())
            return;
        for (Requete* r = &reponses.premiere(); r != nullptr; r = Chaine::suivante(*r)) {
            if (r->genre == Requete::Genre::resultat && r->aExecuter)
                _mesures.attente[_voie].noter(_debut - r->instant);
            if (r->genre != Requete::Genre::element && r->resultat != ISSUE_INCONNUE)
                ajouter(_mesures.demandes[static_cast<std::size_t>(r->operation)]
                                         [static_cast<std::size_t>(r->resultat)]);
            r->instant = _fin;
        }
    }

  private:
    Mesures& _mesures;
    Battement& _battement;
    Mesures::Voie _voie = Mesures::ECRITURE;
    Horloge::time_point _debut;
    Horloge::time_point _fin;
};

class Executeurs::Redacteur : public Atelier
{
  public:
    Redacteur(std::unique_ptr<Ecriture> ecriture, Aiguillage& aiguillage, Mesures& mesures,
              Battement& battement)
        : Atelier(mesures, battement), _ecriture(std::move(ecriture)), _aiguillage(aiguillage)
    {
        _lot.reserve(LOT_MAX);
        _parts.reserve(LIGNES_MAX);
        _ecriture->definirSurAttente([this] { battre(); });
        _fil.emplace("cdv-executions", [this] { return _avancer(); });
    }

  private:
    struct Part
    {
        std::shared_ptr<Ligne> ligne;
        Chaine prises;
    };

    bool _avancer()
    {
        battre();
        std::shared_ptr<Ligne> ligne = _aiguillage.ecritures.prendre(REPOS);
        if (ligne == nullptr) {
            if (_aiguillage.ecritures.estFermee())
                return false;
            _ecriture->reposer();
            return true;
        }
        for (; ligne != nullptr; ligne = _aiguillage.ecritures.prendre(std::chrono::milliseconds(0))) {
            _parts.push_back({std::move(ligne), {}});
            if (_parts.size() == LIGNES_MAX)
                break;
        }
        _partager();
        commencer();
        std::size_t executees = _lot.empty() ? 0 : _ecriture->executer(_lot);
        finir(Mesures::ECRITURE, executees);
        for (Part& part : _parts) {
            Chaine reponses;
            separer(part.prises, executees, reponses);
            if (contientUneInconnue(reponses))
                part.ligne->abandonner();
            repondre(reponses);
            const Ligne::Suites suites = part.ligne->rendre(std::move(reponses), std::move(part.prises));
            _aiguillage.suivre(part.ligne, suites);
        }
        _parts.clear();
        return true;
    }

    /// What one takes less than its share, the next ones may take more.
    void _partager()
    {
        _lot.clear();
        std::size_t lignes = _parts.size();
        std::size_t octets = OCTETS_LOT_MAX;
        for (Part& part : _parts) {
            const std::size_t nombre = std::max<std::size_t>(1, (LOT_MAX - _lot.size()) / lignes);
            part.prises = part.ligne->prendre(Ligne::Voie::ecriture, nombre, octets / lignes);
            octets -= std::min(octets, part.prises.octets());
            --lignes;
            ajouterAuLot(part.prises, _lot);
        }
    }

    const std::unique_ptr<Ecriture> _ecriture;
    Aiguillage& _aiguillage;
    Lot _lot;
    std::vector<Part> _parts;
    std::optional<Fil> _fil; // last: it uses everything above
};

class Executeurs::Lecteur : public Atelier
{
  public:
    Lecteur(std::unique_ptr<Lecture> lecture, Aiguillage& aiguillage, Mesures& mesures, Battement& battement)
        : Atelier(mesures, battement), _lecture(std::move(lecture)), _aiguillage(aiguillage)
    {
        _lot.reserve(CONSULTATIONS_MAX);
        _lecture->definirSurAttente([this] { battre(); });
        _fil.emplace("cdv-lectures", [this] { return _avancer(); });
    }

  private:
    bool _avancer()
    {
        battre();
        const std::shared_ptr<Ligne> ligne = _aiguillage.lectures.prendre(REPOS);
        if (ligne == nullptr)
            return !_aiguillage.lectures.estFermee();
        Chaine prises = ligne->prendre(Ligne::Voie::lecture, CONSULTATIONS_MAX, OCTETS_CONSULTATIONS_MAX);
        Chaine reponses;
        commencer();
        if (!prises.vide() && prises.premiere().operation == Operation::liste)
            _lister(prises, reponses);
        else
            _consulter(prises, reponses);
        repondre(reponses);
        _aiguillage.suivre(ligne, ligne->rendre(std::move(reponses), std::move(prises)));
        return true;
    }

    void _consulter(Chaine& prises, Chaine& reponses)
    {
        _lot.clear();
        ajouterAuLot(prises, _lot);
        std::size_t executees = _lot.empty() ? 0 : _lecture->consulter(_lot);
        finir(Mesures::LECTURE, executees);
        separer(prises, executees, reponses);
    }

    void _lister(Chaine& prises, Chaine& reponses)
    {
        Requete& liste = prises.premiere();
        if (liste.aExecuter && liste.parcours.dernier.empty())
            noterAttente(liste);
        if (liste.aExecuter)
            liste.resultat = _lecture->lister(*liste.vol, liste.parcours, TRANCHE, [&](FichePartagee vol) {
                reponses.ajouter(std::make_unique<Requete>(Operation::liste, std::move(vol), liste.idOp,
                                                           Requete::Genre::element));
            });
        finir(Mesures::LISTE, liste.aExecuter ? 1 : 0);
        if (liste.aExecuter && liste.resultat == FAIT && !liste.parcours.fini)
            return; // goes on when there is room again
        liste.genre = Requete::Genre::finListe;
        reponses.ajouter(prises.prendre());
    }

    const std::unique_ptr<Lecture> _lecture;
    Aiguillage& _aiguillage;
    Lot _lot;
    std::optional<Fil> _fil; // last: it uses everything above
};

Executeurs::Executeurs(Magasin& magasin, Aiguillage& aiguillage, Mesures& mesures) : _aiguillage(aiguillage)
{
    const auto battement = [this]() -> Battement& { return _battements.emplace_back(Horloge::now()); };
    _redacteur = std::make_unique<Redacteur>(magasin.ouvrirEcriture(), aiguillage, mesures, battement());
    for (int n = 0; n < LECTEURS; ++n)
        _lecteurs.emplace_back(magasin.ouvrirLecture(), aiguillage, mesures, battement());
}

Executeurs::~Executeurs() { arreter(); }

void Executeurs::arreter()
{
    _aiguillage.ecritures.fermer();
    _aiguillage.lectures.fermer();
    _redacteur.reset();
    _lecteurs.clear();
}

bool Executeurs::avancent(std::chrono::nanoseconds delai) const
{
    const Horloge::time_point limite = Horloge::now() - delai;
    return std::all_of(_battements.begin(), _battements.end(),
                       [&](const Battement& battement) { return battement.load() >= limite; });
}

} // namespace serveur
