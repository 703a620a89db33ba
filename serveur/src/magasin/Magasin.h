#ifndef MAGASIN_H
#define MAGASIN_H

#include "Fiche.h"

#include "OXcdvCliCode.h"

#include "orix/INonCopiable.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace serveur {

using namespace cdv::code;

enum class Operation
{
    cree,
    modifie,
    supprime,
    consulte,
    liste
};

/// A request to the store and, once executed, its outcome.
struct Demande
{
    Operation operation;
    FichePartagee vol; ///< as asked; replaced by the record of the store where there is one to give back
    FichePartagee rendu = nullptr; ///< that record, until the group is committed
    int resultat = ECHEC_MAGASIN;
};
using Lot = std::vector<Demande*>;

/// The result of a request of which nobody knows whether it was done: it is for no client to see, who loses
/// his server instead. Only a store that is pressed gives it.
constexpr int ISSUE_INCONNUE = -1;

/// How far a listing has come. Between two slices nothing of it is held in the store.
struct Parcours
{
    std::string dernier; ///< identifier of the last record that was looked at; empty: none was
    bool fini = false;
};

/// A store that cannot be used; what() is one line, with its name.
class ErreurMagasin : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// A way into a store, whose calls may wait for it. Used by one thread.
class Voie : orix::INonCopiable
{
  public:
    /// Called from now on every second or so while a call waits: who calls is alive all the same.
    void definirSurAttente(std::function<void()> surAttente) { _surAttente = std::move(surAttente); }

  protected:
    const std::function<void()>& _lireSurAttente() const { return _surAttente; }

  private:
    std::function<void()> _surAttente = [] {};
};

/// The way for requests that change the store, and for others between them.
class Ecriture : public Voie
{
  public:
    virtual ~Ecriture() = default;

    /// Executes requests, none of them a listing, in order and in one transaction, and returns how many: all,
    /// or the first of them when what they give back takes much memory; at least one. A group that fails is
    /// executed again in parts, so that who is to blame alone is ECHEC_MAGASIN.
    virtual std::size_t executer(const Lot& lot) noexcept = 0;

    /// To be called from time to time while there is nothing to execute.
    virtual void reposer() noexcept {}
};

/// A way for requests that change nothing, beside the others.
class Lecture : public Voie
{
  public:
    virtual ~Lecture() = default;

    /// Executes consultations in order; returns as Ecriture::executer().
    virtual std::size_t consulter(const Lot& lot) noexcept = 0;

    using SurVol = std::function<void(FichePartagee)>;

    /// Gives the next records that match the example, in the order of their identifiers: each set field of
    /// the example must be equal, or begin with what precedes a '*' at its end. The lists of the example are
    /// ignored. Stops, with the place in parcours, once it has given that many octets, or looked at many
    /// records. What is there from the first slice to the last is given once; what comes, changes or goes
    /// meanwhile may be given either way. Returns FAIT or ECHEC_MAGASIN.
    virtual int lister(const Fiche& exemple, Parcours& parcours, std::size_t octets,
                       const SurVol& surVol) noexcept = 0;
};

/// What an operator looks at of a store.
struct EtatMagasin
{
    bool utilisable = true;          ///< as far as is known
    std::uint64_t octetsJournal = 0; ///< of a log beside the records
    std::uint64_t reconnexions = 0;  ///< made so far
};

/// The flight records. What is reported as done is durable. Texts are kept byte for byte; a field that is not
/// set stays so.
class Magasin : orix::INonCopiable
{
  public:
    virtual ~Magasin() = default;

    virtual std::string nom() const = 0; ///< as users may see it: with nothing that is secret

    // Ways in end before the store. Both throw ErreurMagasin.
    virtual std::unique_ptr<Ecriture> ouvrirEcriture() = 0;
    virtual std::unique_ptr<Lecture> ouvrirLecture() = 0;

    /// From now on what would be waited for fails instead: the end is near, and nobody waits for answers any
    /// more. Any thread.
    virtual void presser() noexcept {}

    virtual EtatMagasin etat() const noexcept { return {}; } ///< at once; any thread
};

/// What the requests of one group may give back, in octets, before the rest of them is left for later.
constexpr std::size_t OCTETS_RENDUS_MAX = std::size_t{8} << 20;

} // namespace serveur

#endif
