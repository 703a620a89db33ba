#ifndef ORIX_INTERNE_VITALITE_H
#define ORIX_INTERNE_VITALITE_H

#include <chrono>

namespace orix {

/// Whether a peer is alive: it is lost after so many pings missed in a row, and whatever it sends meanwhile
/// proves it alive. It sends nothing and waits for nothing: the caller does, and gives the time, and how many
/// messages have come from the peer so far.
class Vitalite
{
  public:
    using Instant = std::chrono::steady_clock::time_point;

    struct Reglages
    {
        std::chrono::milliseconds periode{1000}; ///< from one ping to the next
        std::chrono::milliseconds delai{1000};   ///< a ping not answered by then is missed
        int manquesMax = 2;                      ///< in a row
    };

    enum class Action
    {
        attendre, ///< until echeance()
        pinger,
        perdu
    };

    Vitalite(const Reglages& reglages, Instant premierPing) : _reglages(reglages), _prochain(premierPing) {}

    /// What is to be done now. A ping counts as sent.
    Action examiner(Instant maintenant, unsigned long activite)
    {
        _noter(activite);
        if (maintenant >= _limite)
            manquer(activite);
        if (estPerdue())
            return Action::perdu;
        if (_attend || maintenant < _prochain)
            return Action::attendre;
        _attend = true;
        _signe = false;
        _limite = maintenant + _reglages.delai;
        _prochain = maintenant + _reglages.periode;
        return Action::pinger;
    }

    /// A ping was answered.
    void repondre()
    {
        _attend = false;
        _manques = 0;
    }
    /// The last ping failed, or will not be answered; does nothing when it was missed already.
    void manquer(unsigned long activite)
    {
        _noter(activite);
        if (_attend && !_signe)
            ++_manques;
        _attend = false;
    }
    /// The peer said that the connection is none of its own.
    void renier() { _reniee = true; }

    bool reniee() const { return _reniee; }
    bool estPerdue() const { return _reniee || _manques >= _reglages.manquesMax; }
    bool attend() const { return _attend; } ///< a ping is neither answered nor missed yet
    /// When to examine next.
    Instant echeance() const { return estPerdue() ? Instant::min() : _attend ? _limite : _prochain; }

  private:
    void _noter(unsigned long activite)
    {
        if (activite == _activite)
            return;
        _activite = activite;
        _signe = true;
        _manques = 0;
    }

    Reglages _reglages;
    Instant _prochain;           // when the next ping leaves
    Instant _limite{};           // when the last one is missed
    bool _attend = false;        // for its answer
    bool _signe = false;         // a message has come since the last ping left
    unsigned long _activite = 0; // at the last look
    int _manques = 0;            // in a row
    bool _reniee = false;
};

} // namespace orix

#endif
