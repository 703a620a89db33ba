#ifndef CDVESSAIS_H
#define CDVESSAIS_H

/// @file
/// For the tests of an application: a cdv service in the memory of the process.

#include "CdvVol.h"
#include "OXcdvCliDoublure.h"
#include "orix/INonCopiable.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cdv {

/// A cdv service in memory, for the time this object lives: what the application asks of OXcdvCliItf, itself
/// or through a cdv::Session, is answered from here. No middleware is started (no cdv::Processus, no
/// orix::initialiser()), no socket opened.
///
///     cdv::ServiceMemoire service;
///     service.poser({{"identifiant", "X"}, {"parking", "B12"}});
///     service.prochaine(Sort::perdue()); // the answer to the next request is lost, with the connection
///     cdv::Session session{cdv::Options{}};
///     ... what the application does with it ...
///     EXPECT_EQ(service.lire("X")->lire("parking"), "C3");
///
/// It does what a server does: the codes are those of OXcdvCliCode.h, answers come in the order of the
/// requests, on the one callback thread, never inside the call that asks. A request is done when it is made;
/// its answer comes later. Every fault is asked for, so a test has the same end each time.
///
/// One at a time in a process. It outlives the sessions that use it. Threads: every function may be called
/// from any thread, from callbacks too.
class ServiceMemoire : public orix::OXcdvCliDoublure, orix::INonCopiable
{
  public:
    using Duree = std::chrono::milliseconds;

    /// Whose time delays and time-outs are counted in, the session's too.
    enum class Temps
    {
        reel,
        virtuel ///< it stands still but for avancer()
    };

    /// A request that came.
    struct Demande
    {
        Requete requete = Requete::cree;
        std::string identifiant; ///< of its record; empty: none
        int numero = 0;          ///< of the operation: 1, 2, ...
    };

    /// What becomes of a request. By default it is done, and answered.
    struct Sort
    {
        orix::OXstatut statut = orix::OXS_OK; ///< of the call: with another one nothing leaves
        int code = 0;                         ///< another one: nothing is done, and that is the answer
        bool faite = true;                    ///< it is done, whatever is answered
        Duree delai{0};                       ///< to the answer; those behind it wait too
        bool devance = false;                 ///< the answer comes before the call has returned
        bool retenue = false;                 ///< the answer waits for relacher()
        /// In place of the answer the connection is lost, with that status.
        std::optional<orix::OXstatut> perte;
        /// Of a listing: so many records come, then its end or the loss.
        std::size_t vols = std::numeric_limits<std::size_t>::max();

        static Sort nonPartie(orix::OXstatut statut); ///< the call refuses
        static Sort refusee(int code);                ///< the server does
        static Sort apres(Duree delai);               ///< late
        static Sort devancee();                       ///< its answer overtakes the return of the call
        static Sort enAttente();                      ///< until relacher(); nothing but a loss else ends it
        /// faite: it was done all the same.
        static Sort perdue(bool faite = true, orix::OXstatut statut = orix::OXS_ECHEC_PING);
        static Sort coupee(std::size_t vols); ///< a listing: lost after so many records
    };

    explicit ServiceMemoire(Temps temps = Temps::reel);
    ~ServiceMemoire() override; ///< waits for the callback that runs, and drops those that wait

    /// @name Its records
    /// @{
    void poser(Vol vol); ///< in place of the one of that identifier; throws std::invalid_argument without one
    std::optional<Vol> lire(std::string_view identifiant) const;
    std::size_t nombre() const; ///< without those of generer()
    /// Behind its records a listing gives so many others that are made as it goes: fabrique(0), fabrique(1),
    /// ..., those that are like the example. On the callback thread, without any lock.
    void generer(std::size_t nombre, std::function<Vol(std::size_t)> fabrique);
    /// @}

    /// @name Requests
    /// @{
    /// What becomes of each request that prochaine() has not settled. Asked inside its call.
    void regler(std::function<Sort(const Demande&)> regle);
    void prochaine(Sort sort);             ///< of the next request; again: of the one after it
    void relacher();                       ///< the answers that wait come, but for those of a lost connection
    std::vector<Demande> demandes() const; ///< all that came while it was active
    /// @}

    /// @name Its connection
    /// @{
    /// Lost; without effect when there is none. An orderly end is OXS_SERVICE_NON_ACTIVE. Answers that are
    /// due come before it, others never. The next activation goes to the other server.
    void perdre(orix::OXstatut statut = orix::OXS_ECHEC_PING);
    void partir();  ///< lost, and both servers are gone: activations end with OXS_CONNEXION_IMPOSSIBLE
    void revenir(); ///< they are there again
    /// Activations are answered at once, as from the beginning; else by what follows.
    void repondreActivations(bool aussitot);
    void accepter(); ///< the activation under way, if there is one
    void refuser();  ///< likewise, with OXS_NOK
    /// The connection is lost before its acceptance is told, as may happen.
    void accepterTropTard();
    bool estActive() const;   ///< has a connection
    bool estDemandee() const; ///< an activation is under way
    int activations() const;  ///< how many were asked for
    /// @}

    /// @name Time
    /// @{
    /// Virtual time moves on: what is due by then comes. Throws std::logic_error in real time.
    void avancer(Duree duree);
    /// Waits until each callback has run that is due by now. Throws std::logic_error on the callback thread.
    /// What a callback throws goes no further, as ever, but it is thrown again here: the first of them.
    void attendreCalme();
    /// @}

    /// @cond
    orix::OXstatut active(const char* nomService) override;
    orix::OXstatut desactive() override;
    orix::OXversion lireVersion() override;
    std::vector<orix::OXversion> lireVersionsConnues() override;
    orix::OXstatut demander(Requete requete, OXvol_completData* vol, int& idOp) override;
    orix::OXcdvCliConnexion lireConnexion() noexcept override;
    void detruire() override;
    std::shared_ptr<orix::OXcdvCliTemps> temps() override;
    /// @endcond

  protected:
    /// Runs each callback, on the callback thread. Whoever has another one waits for attendreCalme() at its
    /// end.
    virtual void rappeler(const std::function<void()>& appel);
    /// A callback of one's own, behind those that wait.
    void poster(std::function<void()> appel);

  private:
    struct Reponse;
    struct Interieur;

    Sort _decider(const Demande& demande);
    void _repondre(const std::shared_ptr<Reponse>& reponse);
    bool _lister(Reponse& reponse);
    void _accueillir(const std::shared_ptr<Reponse>& reponse);
    void _repondreActivation(orix::OXstatut statut);
    void _perdre(orix::OXstatut statut, bool echues);

    std::unique_ptr<Interieur> _i;
};

} // namespace cdv

#endif
