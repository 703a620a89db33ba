#include "Importation.h"

#include "OXcdvCliCode.h"
#include "TamponFd.h"

#include <algorithm>

namespace outils {

namespace {

/// Lines that a text is made of; the last one may lack its end.
std::size_t lignes(const std::string& texte)
{
    const auto fins = static_cast<std::size_t>(std::count(texte.begin(), texte.end(), '\n'));
    return texte.empty() || texte.back() == '\n' ? fins : fins + 1;
}

} // namespace

std::string optionsReprise(const Bilan& bilan, Existants existants, Verbe verbe)
{
    if (bilan.reprise == 0)
        return {};
    const std::string depuis = "--depuis " + std::to_string(bilan.reprise);
    if (verbe != Verbe::creer)
        return depuis + (verbe == Verbe::modifier ? " --demande modifier" : " --demande supprimer");
    if (existants == Existants::modifier)
        return depuis + " --existants modifier";
    // Requests overtake one another: lines after the one to begin again with may be at the server.
    const bool recouvre = bilan.perte || bilan.derniere > bilan.reprise;
    return depuis + (recouvre || existants == Existants::ignorer ? " --existants ignorer" : "");
}

Importation::Importation(const Reglages& reglages, cdv::Session& session)
    : _reglages(reglages), _envois(session, reglages.envois)
{}

Importation::Importation(const Reglages& reglages, const cdv::Chargement::Voies& voies)
    : _reglages(reglages), _envois(voies, reglages.envois)
{}

Bilan Importation::executer(Lecteur& lecteur)
{
    std::size_t prochaine = _reglages.depuis;
    const auto lire = [&]() -> std::optional<Entree> {
        try {
            return lecteur.suivante();
        } catch (const LectureInterrompue&) {
            _aReprendre(prochaine);
            return std::nullopt;
        }
    };
    while (std::optional<Entree> entree = lire()) {
        const std::size_t ligne = entree->ligne;
        if (ligne < _reglages.depuis)
            continue;
        prochaine = ligne + lignes(entree->texte);
        const bool lisible = entree->vol.has_value();
        if (_arret || (lisible && !_soumettre(*entree))) {
            _aReprendre(ligne);
            break;
        }
        if (!lisible) {
            {
                const std::lock_guard<std::mutex> verrou(_mutex);
                ++_bilan.illisibles;
            }
            _rejeter(*entree, entree->erreur);
        }
        surAvancement(_lireBilan());
    }
    _envois.attendreFin();
    return _lireBilan();
}

void Importation::interrompre()
{
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        _bilan.interrompu = true;
    }
    _arreter();
}

/// False when the server is not there any more, or nothing more is to be sent.
bool Importation::_soumettre(Entree& entree)
{
    const auto gardee = std::make_shared<Entree>(std::move(entree));
    cdv::Vol vol = std::move(*gardee->vol);
    cdv::Chargement::SurFin fin = [this, gardee](const cdv::Vol&, cdv::Chargement::Fin issue,
                                                 const cdv::Resultat& resultat) {
        _finir(*gardee, issue, resultat);
    };
    switch (_reglages.verbe) {
    case Verbe::modifier:
        return _envois.modifier(std::move(vol), std::move(fin));
    case Verbe::supprimer:
        return _envois.supprimer(std::move(vol), std::move(fin));
    case Verbe::creer:
        break;
    }
    return _envois.creer(std::move(vol), std::move(fin));
}

void Importation::_finir(const Entree& entree, cdv::Chargement::Fin fin, const cdv::Resultat& resultat)
{
    using Fin = cdv::Chargement::Fin;
    if (fin == Fin::refuse)
        return _rejeter(entree, expliquer(resultat));
    if (fin == Fin::abandonne) {
        _aReprendre(entree.ligne);
        {
            const std::lock_guard<std::mutex> verrou(_mutex);
            if (!_bilan.perte)
                _bilan.perte = Issue(resultat);
        }
        return _arreter();
    }
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (fin != Fin::ignore)
        _bilan.derniere = std::max(_bilan.derniere, entree.ligne);
}

void Importation::_rejeter(const Entree& entree, const std::string& motif)
{
    if (_reglages.arretAuRejet) {
        _arreter();
        _aReprendre(entree.ligne);
    }
    const std::lock_guard<std::mutex> rejet(_rejet);
    surRejet(entree, motif);
}

void Importation::_aReprendre(std::size_t ligne)
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    if (_bilan.reprise == 0 || ligne < _bilan.reprise)
        _bilan.reprise = ligne;
}

void Importation::_arreter()
{
    if (_arret.exchange(true))
        return;
    _envois.interrompre();
    surArret();
}

Bilan Importation::_lireBilan()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    Bilan bilan = _bilan;
    bilan.envois = _envois.bilan();
    return bilan;
}

} // namespace outils
