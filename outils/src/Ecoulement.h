#ifndef ECOULEMENT_H
#define ECOULEMENT_H

#include "Expliquer.h"
#include "Interruption.h"

#include "CdvSession.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <unordered_set>

namespace outils {

/// A listing that is handed on as it comes, and asked for again when its connection is lost: each record
/// comes once, in whatever order the two listings are. For that the identifiers that have come are kept, some
/// hundred bytes each.
class Ecoulement
{
  public:
    struct Reglages
    {
        std::uint64_t passes = 0; ///< so many records come first that are not handed on
        std::uint64_t limite = std::numeric_limits<std::uint64_t>::max();
        cdv::Duree patience{0}; ///< gives up when lost connections have brought no record for so long
        std::function<bool(const cdv::Vol&)> retient =
            {}; ///< others count for nothing; empty: all are handed on
    };
    struct Bilan
    {
        std::uint64_t recus = 0; ///< passed-over ones included
        std::uint64_t ecrits = 0;
        std::uint64_t pertes = 0;   ///< after which it was asked for again
        std::optional<Issue> echec; ///< why it is incomplete
    };

    /// The session connects again by itself, where it is to be waited for; Ctrl-C closes it.
    Ecoulement(cdv::Session& session, Interruption& interruption, const Reglages& reglages)
        : _session(session), _interruption(interruption), _reglages(reglages)
    {}

    /// To be called once. surVol: told of each record, with their number so far.
    Bilan executer(const cdv::Vol& exemple,
                   const std::function<void(cdv::Vol&, std::uint64_t ecrits)>& surVol);

  private:
    bool _estNouveau(const cdv::Vol& vol);
    bool _attendreServeur(const cdv::Resultat& resultat);

    cdv::Session& _session;
    Interruption& _interruption;
    const Reglages _reglages;
    std::unordered_set<std::string> _venus;
    std::optional<std::chrono::steady_clock::time_point> _finPatience; // since a loss, until a record comes
    Bilan _bilan;
};

} // namespace outils

#endif
