#include "Executeurs.h"

#include <algorithm>
#include <atomic>
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

/// The signs of life of one thread.
class Executeurs::Battement : orix::INonCopiable
{
  public:
    bool aBattu() { return _compte != std::exchange(_vu, _compte); }

  protected:
    void battre() { ++_compte; }

  private:
    std::atomic<unsigned long> _compte{1};
    unsigned long _vu = 0; // of who asks
};

class Executeurs::Redacteur : public Battement
{
  public:
    Redacteur(std::unique_ptr<Ecriture> ecriture, Aiguillage& aiguillage)
        : _ecriture(std::move(ecriture)), _aiguillage(aiguillage)
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
        std::size_t executees = _lot.empty() ? 0 : _ecriture->executer(_lot);
        for (Part& part : _parts) {
            Chaine reponses;
            separer(part.prises, executees, reponses);
            if (contientUneInconnue(reponses))
                part.ligne->abandonner();
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

class Executeurs::Lecteur : public Battement
{
  public:
    Lecteur(std::unique_ptr<Lecture> lecture, Aiguillage& aiguillage)
        : _lecture(std::move(lecture)), _aiguillage(aiguillage)
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
        if (!prises.vide() && prises.premiere().operation == Operation::liste)
            _lister(prises, reponses);
        else
            _consulter(prises, reponses);
        _aiguillage.suivre(ligne, ligne->rendre(std::move(reponses), std::move(prises)));
        return true;
    }

    void _consulter(Chaine& prises, Chaine& reponses)
    {
        _lot.clear();
        ajouterAuLot(prises, _lot);
        std::size_t executees = _lot.empty() ? 0 : _lecture->consulter(_lot);
        separer(prises, executees, reponses);
    }

    void _lister(Chaine& prises, Chaine& reponses)
    {
        Requete& liste = prises.premiere();
        if (liste.aExecuter)
            liste.resultat = _lecture->lister(*liste.vol, liste.parcours, TRANCHE, [&](FichePartagee vol) {
                reponses.ajouter(std::make_unique<Requete>(Operation::liste, std::move(vol), liste.idOp,
                                                           Requete::Genre::element));
            });
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

Executeurs::Executeurs(Magasin& magasin, Aiguillage& aiguillage)
    : _aiguillage(aiguillage), _redacteur(std::make_unique<Redacteur>(magasin.ouvrirEcriture(), aiguillage))
{
    for (int n = 0; n < LECTEURS; ++n)
        _lecteurs.emplace_back(magasin.ouvrirLecture(), aiguillage);
}

Executeurs::~Executeurs() { arreter(); }

void Executeurs::arreter()
{
    _aiguillage.ecritures.fermer();
    _aiguillage.lectures.fermer();
    _redacteur.reset();
    _lecteurs.clear();
}

bool Executeurs::avancent()
{
    bool tous = _redacteur->aBattu();
    for (Lecteur& lecteur : _lecteurs)
        tous = lecteur.aBattu() && tous;
    return tous;
}

} // namespace serveur
