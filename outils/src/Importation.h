#ifndef IMPORTATION_H
#define IMPORTATION_H

#include "Expliquer.h"
#include "Lecteur.h"

#include "CdvSession.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace outils {

/// What to do with a flight that the server has already.
enum class Existants
{
    rejeter,
    modifier,
    ignorer
};

/// How an import went.
struct Bilan
{
    std::uint64_t crees = 0;
    std::uint64_t modifies = 0;
    std::uint64_t ignores = 0;
    std::uint64_t refuses = 0;    ///< by the server
    std::uint64_t illisibles = 0; ///< lines that make no record
    std::size_t reprise = 0;      ///< 0: everything was done; else the line to begin again with
    std::size_t derniere = 0;     ///< the last line whose request was answered by "done"
    std::optional<Issue> perte;   ///< the first answer that did not come
    bool interrompu = false;

    std::uint64_t faits() const { return crees + modifies + ignores; }
    std::uint64_t rejets() const { return refuses + illisibles; }
};

/// The options that go on with an import that ended early, so that the same records end up at the server as
/// if it had not: what may have been done already is done again, or passed over, as it was done. Empty when
/// nothing is left.
std::string optionsReprise(const Bilan& bilan, Existants existants);

/// Creates the records of a reader at the server, with a bounded number of requests unanswered.
///
/// A record that is refused is told, and the import goes on. When an answer does not come, the connection is
/// lost or nearly so: nothing more is sent. Whatever ends it, it returns once every request has ended.
class Importation
{
  public:
    using Requete = std::function<void(const cdv::Vol&, cdv::Session::Fin)>;

    struct Reglages
    {
        std::size_t fenetre = 256; ///< requests unanswered at a time
        std::size_t depuis = 1;    ///< lines before this one are passed over
        bool arretAuRejet = false;
        Existants existants = Existants::rejeter;
    };

    /// Where the requests go. Their ends may come on any threads.
    Requete creer;
    Requete modifier;
    /// Told of each rejected entry; calls never overlap, but come on any threads.
    std::function<void(const Entree&, const std::string& motif)> surRejet;
    /// Told, on any thread, that nothing more will be sent: a read under way is to be given up, by
    /// LectureInterrompue.
    std::function<void()> surArret;
    /// Told of each entry read, on the caller's thread.
    std::function<void(const Bilan&)> surAvancement;

    explicit Importation(const Reglages& reglages) : _reglages(reglages) {}

    /// To be called once.
    Bilan executer(Lecteur& lecteur);
    void interrompre(); ///< sends no more; from any thread

  private:
    void _soumettre(Entree entree);
    void _finir(const std::shared_ptr<Entree>& entree, cdv::Resultat resultat, bool modification);
    void _rejeter(const Entree& entree, const std::string& motif, std::uint64_t Bilan::*compte);
    void _aReprendre(std::size_t ligne);
    void _arreter();
    void _attendreFin();

    const Reglages _reglages;
    std::mutex _mutex;
    std::condition_variable _changement;
    std::size_t _enCours = 0;
    bool _arret = false;
    Bilan _bilan;
};

} // namespace outils

#endif
