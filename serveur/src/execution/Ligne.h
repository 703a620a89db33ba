#ifndef LIGNE_H
#define LIGNE_H

#include "Memoire.h"
#include "Mesures.h"
#include "Requete.h"

#include <condition_variable>
#include <mutex>

namespace serveur {

/// What one client asks, and what it is told of it: both in order, and nobody else's business. Each end may
/// be as slow as it likes: when too much waits to leave, nothing more is executed, and then nothing more is
/// taken in. One thread at a time executes, one sends, any put in.
class Ligne : public std::enable_shared_from_this<Ligne>, orix::INonCopiable
{
  public:
    enum class Voie
    {
        aucune,
        ecriture,
        lecture
    };
    /// Who is to go on with the line, after a change: the caller brings it there.
    struct Suites
    {
        Voie voie = Voie::aucune;
        bool envoi = false;
    };

    /// What a queue of lines is for: a line stands in one of each at most.
    enum Pour
    {
        EXECUTION,
        ENVOI
    };

    explicit Ligne(Memoire& memoire); ///< which outlives this object; throws std::bad_alloc
    virtual ~Ligne();

    // Who puts in.

    /// A request of this line; when memory lacks for a new one, one that was set aside; null when that is
    /// under way. Throws nothing.
    std::unique_ptr<Requete> creer(Operation operation, FichePartagee vol, int idOp) noexcept;
    /// Waits for room. False when the line is closed.
    bool deposer(std::unique_ptr<Requete> requete, Suites& suites);

    // Who executes, once it was brought the line.

    /// The next requests that go that way: so many at most, or octets; a listing alone.
    Chaine prendre(Voie voie, std::size_t nombre, std::size_t octets) noexcept;
    /// Gives the answers, and what of that was not executed, or not to its end.
    Suites rendre(Chaine&& reponses, Chaine&& restantes) noexcept;

    // Who sends, once it was brought the line.

    /// Sends the next answers, or the last word.
    void envoyer(Mesures& mesures) noexcept;
    Suites envoyee() noexcept; ///< after each envoyer()

    // The end. Any thread; neither takes memory.

    /// Refuses new requests, goes on with those accepted; then has the last word said.
    Suites congedier() noexcept;
    /// Drops everything.
    void abandonner() noexcept;
    bool estAbandonnee() const { return _abandon; }

    /// What waits now.
    struct Attente
    {
        Compte demandes; ///< whose answer is not ready
        Compte reponses; ///< that are not sent
    };
    Attente attente() const;

  protected:
    /// Sends one answer; waits as long as that takes. Throws what it likes.
    virtual void envoyer(const Requete& reponse) = 0;
    /// Sends what of the answers still waits for others. Throws what it likes.
    virtual void pousser() {}
    /// Nothing will follow.
    virtual void prendreConge() = 0;
    /// The sending ended, with the exception that is being handled, or without one. Throws nothing.
    virtual void finir(bool echec) noexcept = 0;

  private:
    Voie _suivre() noexcept;
    bool _aEnvoyer() noexcept;
    void _rendreMemoire(Compte& compte, const Compte& rendu) noexcept;

    template <Pour>
    friend class FileLignes;
    std::shared_ptr<Ligne> _suivantes[2]; // in the queues where it stands

    Memoire& _memoire;
    std::atomic<bool> _abandon{false};

    mutable std::mutex _mutex; // guards what follows
    std::condition_variable _place;
    Chaine _recues;
    Chaine _reponses;
    std::unique_ptr<Requete> _reserve;
    Compte _entrees;        // received, the answer is not ready
    Compte _prises;         // of them, those that are being executed
    Compte _sorties;        // answers that are not sent
    bool _executee = false; // brought to who executes
    bool _envoyee = false;  // brought to who sends
    bool _conge = false;
    std::atomic<bool> _finie{false}; // the last word was said
    // Of who sends:
    Compte _envoyees;
    std::unique_ptr<Requete> _derniere; // kept for the reserve
};

} // namespace serveur

#endif
