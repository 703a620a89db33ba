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

std::string optionsReprise(const Bilan& bilan, Existants existants)
{
    if (bilan.reprise == 0)
        return {};
    const std::string depuis = "--depuis " + std::to_string(bilan.reprise);
    if (existants == Existants::modifier)
        return depuis + " --existants modifier";
    // Requests overtake one another: lines after the one to begin again with may be at the server.
    const bool recouvre = bilan.perte || bilan.derniere > bilan.reprise;
    return depuis + (recouvre || existants == Existants::ignorer ? " --existants ignorer" : "");
}

Bilan Importation::executer(Lecteur& lecteur)
{
    // The ends of the requests use this object: whatever happens, none is left behind.
    const struct Attente
    {
        Importation& importation;
        ~Attente() { importation._attendreFin(); }
    } attente{*this};

    std::size_t prochaine = _reglages.depuis;
    const auto lire = [&]() -> std::optional<Entree> {
        try {
            return lecteur.suivante();
        } catch (const LectureInterrompue&) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            _aReprendre(prochaine);
            return std::nullopt;
        }
    };
    while (std::optional<Entree> entree = lire()) {
        if (entree->ligne < _reglages.depuis)
            continue;
        prochaine = entree->ligne + lignes(entree->texte);
        std::unique_lock<std::mutex> verrou(_mutex);
        _changement.wait(verrou, [this] { return _arret || _enCours < _reglages.fenetre; });
        if (_arret) {
            _aReprendre(entree->ligne);
            break;
        }
        if (!entree->vol) {
            _rejeter(*entree, entree->erreur, &Bilan::illisibles);
        } else {
            ++_enCours;
            verrou.unlock();
            _soumettre(std::move(*entree));
            verrou.lock();
        }
        const Bilan bilan = _bilan;
        verrou.unlock();
        surAvancement(bilan);
    }
    _attendreFin();
    const std::lock_guard<std::mutex> verrou(_mutex);
    return _bilan;
}

void Importation::interrompre()
{
    const std::lock_guard<std::mutex> verrou(_mutex);
    _bilan.interrompu = true;
    _arreter();
}

void Importation::_attendreFin()
{
    std::unique_lock<std::mutex> verrou(_mutex);
    _changement.wait(verrou, [this] { return _enCours == 0; });
}

void Importation::_soumettre(Entree entree)
{
    const auto partagee = std::make_shared<Entree>(std::move(entree));
    creer(*partagee->vol,
          [this, partagee](cdv::Resultat resultat) { _finir(partagee, std::move(resultat), false); });
}

void Importation::_finir(const std::shared_ptr<Entree>& entree, cdv::Resultat resultat, bool modification)
{
    std::unique_lock<std::mutex> verrou(_mutex);
    const bool existe = resultat.etat == cdv::Resultat::Etat::refuse &&
                        resultat.code == cdv::code::EXISTE_DEJA && !modification;
    if (existe && _reglages.existants == Existants::modifier) {
        verrou.unlock(); // the request may end inside the call
        return modifier(*entree->vol,
                        [this, entree](cdv::Resultat suite) { _finir(entree, std::move(suite), true); });
    }
    if (resultat) {
        ++(modification ? _bilan.modifies : _bilan.crees);
        _bilan.derniere = std::max(_bilan.derniere, entree->ligne);
    } else if (existe && _reglages.existants == Existants::ignorer) {
        ++_bilan.ignores;
    } else if (resultat.etat == cdv::Resultat::Etat::refuse) {
        _rejeter(*entree, expliquer(resultat), &Bilan::refuses);
    } else {
        _arreter();
        _aReprendre(entree->ligne);
        if (!_bilan.perte)
            _bilan.perte = Issue(resultat);
    }
    --_enCours;
    _changement.notify_all();
}

// Below: under the mutex.

void Importation::_rejeter(const Entree& entree, const std::string& motif, std::uint64_t Bilan::*compte)
{
    ++(_bilan.*compte);
    if (_reglages.arretAuRejet) {
        _arreter();
        _aReprendre(entree.ligne);
    }
    surRejet(entree, motif);
}

void Importation::_aReprendre(std::size_t ligne)
{
    if (_bilan.reprise == 0 || ligne < _bilan.reprise)
        _bilan.reprise = ligne;
}

void Importation::_arreter()
{
    _arret = true;
    _changement.notify_all();
    surArret();
}

} // namespace outils
