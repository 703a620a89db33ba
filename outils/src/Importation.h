#ifndef IMPORTATION_H
#define IMPORTATION_H

#include "Expliquer.h"
#include "Lecteur.h"

#include "CdvChargement.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace outils {

using Existants = cdv::Chargement::Existants;

/// What is asked of the server for each record.
enum class Verbe
{
    creer,
    modifier,
    supprimer
};

/// How an import went.
struct Bilan
{
    cdv::Chargement::Bilan envois; ///< what the server has, and has not, taken
    std::uint64_t illisibles = 0;  ///< lines that make no record
    std::size_t reprise = 0;       ///< 0: everything was done; else the line to begin again with
    std::size_t derniere = 0;      ///< the last line whose request was answered by "done"
    std::optional<Issue> perte;    ///< the first answer that did not come
    bool interrompu = false;

    std::uint64_t rejets() const { return envois.refuses + illisibles; }
};

/// The options that go on with an import that ended early, so that the same records end up at the server as
/// if it had not: what may have been done already is done again, or passed over, as it was done. Empty when
/// nothing is left.
std::string optionsReprise(const Bilan& bilan, Existants existants, Verbe verbe = Verbe::creer);

/// Creates, changes or deletes the records of a reader at the server. A record that is refused is told, and
/// the import goes on; so it does past the loss of a server (see cdv::Chargement). Whatever ends it, it
/// returns once every request has ended.
class Importation
{
  public:
    struct Reglages
    {
        cdv::Chargement::Reglages envois; ///< what of them is told is the import's
        Verbe verbe = Verbe::creer;
        std::size_t depuis = 1; ///< lines before this one are passed over
        bool arretAuRejet = false;
    };

    /// Told of each rejected entry; calls never overlap, but come on any threads.
    std::function<void(const Entree&, const std::string& motif)> surRejet;
    /// Told, on any thread, that nothing more will be sent: a read under way is to be given up, by
    /// LectureInterrompue.
    std::function<void()> surArret;
    /// Told of each entry read, on the caller's thread.
    std::function<void(const Bilan&)> surAvancement;

    /// voies: to the server, for a test; otherwise the session, which outlives this object.
    Importation(const Reglages& reglages, cdv::Session& session);
    Importation(const Reglages& reglages, const cdv::Chargement::Voies& voies);

    /// To be called once.
    Bilan executer(Lecteur& lecteur);
    void interrompre(); ///< sends no more; from any thread

  private:
    bool _soumettre(Entree& entree);
    void _finir(const Entree& entree, cdv::Chargement::Fin fin, const cdv::Resultat& resultat);
    void _rejeter(const Entree& entree, const std::string& motif);
    void _aReprendre(std::size_t ligne);
    void _arreter();
    Bilan _lireBilan();

    const Reglages _reglages;
    std::atomic<bool> _arret{false};
    std::mutex _mutex; // guards what follows
    Bilan _bilan;
    std::mutex _rejet;       // held while surRejet runs
    cdv::Chargement _envois; // last: what ends of it uses everything above
};

} // namespace outils

#endif
