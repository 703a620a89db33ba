#ifndef CDV_TABLEDEMANDES_H
#define CDV_TABLEDEMANDES_H

#include "Demande.h"
#include "HistogrammeDurees.h"

#include <map>
#include <tuple>
#include <vector>

namespace cdv {

/// The requests that have not ended. It files answers under the numbers of their requests, those too that
/// overtake the call that returns the number; it ends what is late; it says when the records of a stream have
/// to wait for their reader.
///
/// A request ends once, whoever takes it out first. All that an end needs is made by commencer(), the only
/// function that may throw: an end allocates nothing. Knows neither clock nor threads: to be guarded by
/// whoever has them.
class TableDemandes : orix::INonCopiable
{
  public:
    using Rang = unsigned long long; ///< of the call that makes a request: 1, 2, ...

    /// Notifications that may wait for the call of their request to return.
    static constexpr std::size_t MAX_DEPOTS = 1024;

    /// fins: where the requests go whose end is to be delivered; outlives the table.
    explicit TableDemandes(Livraisons& fins, std::size_t maxDepots = MAX_DEPOTS)
        : _fins(fins), _maxDepots(maxDepots)
    {}

    /// @name A request: commencer(), the call, then one of the others
    /// delai: its time-out, for a listing from record to record; 0: none.
    /// @{
    Rang commencer(const std::shared_ptr<Demande>& demande, Genre genre, Duree delai, Instant maintenant);
    void partie(Rang rang, int idOp, Instant maintenant) noexcept;
    void nonPartie(Rang rang, orix::OXstatut statut) noexcept;
    /// @}
    /// Ends one that will not be begun.
    static void refuser(const std::shared_ptr<Demande>& demande, Genre genre, orix::OXstatut statut,
                        Livraisons& fins) noexcept;
    void noterRefus(Genre genre) noexcept
    {
        _compter(genre, Resultat::Etat::nonEnvoye);
    } ///< one was ended so

    enum class Accueil
    {
        prise,
        inconnue, ///< nobody waits for it
        aRevoir   ///< no place yet: to be presented again when a call has returned, a request begun or ended,
                  ///< or the reader of a stream has read
    };
    /// dernierAppel: what dernierAppel() said when the notification came. The notification is taken or left
    /// as it is.
    Accueil accueillir(Genre genre, int idOp, Notification& notification, Rang dernierAppel,
                       Instant maintenant) noexcept;
    Rang dernierAppel() const noexcept { return _dernierAppel; }

    void expirer(Instant maintenant) noexcept; ///< ends what is late
    Instant prochaineEcheance() const noexcept;
    void conclureToutes(Resultat::Etat etat, orix::OXstatut statut = orix::OXS_OK) noexcept;
    void abandonner(const std::shared_ptr<Demande>& demande) noexcept;

    std::size_t enCours() const noexcept { return _echeances.size(); } ///< requests not ended
    void compter(Statistiques& statistiques) const noexcept;           ///< its figures
    std::size_t appels() const noexcept { return _appels.size(); }     ///< calls that have not returned
    std::size_t depots() const noexcept { return _nombreDepots; }      ///< notifications put aside

  private:
    /// A notification of another kind than its request's matches nothing. By rank where a number comes twice:
    /// the older request is answered first.
    using Clef = std::tuple<int, Genre, Rang>;
    using Table = std::map<Clef, std::shared_ptr<Demande>>;
    /// What came for a number that no call has returned yet.
    struct Depot
    {
        std::vector<Notification> notifications;
        Rang appel = 0; ///< the last call that had begun when the last of them came
    };

    static Clef _clefAppel(Rang rang) { return {0, Genre::creer, rang}; }
    Table::iterator _chercher(Genre genre, int idOp) noexcept;
    bool _appelCommenceAvant(Rang rang) const noexcept;
    bool _deposer(Genre genre, int idOp, Notification& notification, Rang dernierAppel) noexcept;
    void _oublierDepots() noexcept;
    bool _doitAttendre(Demande& demande) noexcept;
    void _appliquer(const std::shared_ptr<Demande>& demande, Notification& notification,
                    Instant maintenant) noexcept;
    void _replanifier(Demande& demande, Instant echeance) noexcept;
    void _conclure(const std::shared_ptr<Demande>& demande, Resultat resultat) noexcept;

    struct Compte
    {
        decltype(Statistiques::Demandes::fins) fins{};
        HistogrammeDurees durees;
    };
    Compte& _compte(Genre genre) noexcept { return _comptes[static_cast<std::size_t>(genre)]; }
    void _compter(Genre genre, Resultat::Etat fin) noexcept
    {
        ++_compte(genre).fins[static_cast<std::size_t>(fin)];
    }

    Livraisons& _fins;
    const std::size_t _maxDepots;
    Rang _dernierAppel = 0;
    Table _appels;   ///< while the call lasts, ended or not
    Table _attentes; ///< then, until the end. An entry moves over by its node
    std::map<std::pair<Instant, Rang>, std::shared_ptr<Demande>> _echeances; ///< of each request not ended
    std::map<std::pair<Genre, int>, Depot> _depots;
    std::size_t _nombreDepots = 0;
    std::array<Compte, std::tuple_size_v<decltype(Statistiques::demandes)>> _comptes;
};

} // namespace cdv

#endif
