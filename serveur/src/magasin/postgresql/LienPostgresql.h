#ifndef LIENPOSTGRESQL_H
#define LIENPOSTGRESQL_H

#include "ConnexionPostgresql.h"

namespace serveur {

/// The store has been away for so long that nobody is to wait any longer.
class BaseAbsente : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// How the connections of one store fare. Any thread.
struct SuiviLiens
{
    std::atomic<std::uint64_t> reconnexions{0};
    std::atomic<int> perdus{0};
};

/// A connection that is made again when it is lost. Used by one thread.
class LienPostgresql : orix::INonCopiable
{
  public:
    /// How long a request waits for a store that is away, counted from when it was lost: what comes later
    /// finds it there at the first look, or not.
    static constexpr std::chrono::seconds ATTENTE_MAX{60};

    /// nom: whose it is, for the traces. All of them outlive this object.
    LienPostgresql(const char* nom, const AdressePostgresql& adresse, const Presse& presse, SuiviLiens& suivi,
                   const std::function<void()>& surAttente)
        : _nom(nom), _adresse(adresse), _presse(presse), _suivi(suivi), _surAttente(surAttente)
    {}
    ~LienPostgresql()
    {
        if (_perdueDepuis)
            --_suivi.perdus;
    }

    /// The connection, made again if need be, which is waited for. sansFin: as long as it takes. Throws
    /// ArretDemande, std::bad_alloc, BaseAbsente.
    ConnexionPostgresql& obtenir(bool sansFin = false);
    /// It is of no more use, for that reason.
    void perdre(const char* pourquoi) noexcept;
    /// It is in the middle of something that is given up; a new one is made quietly.
    void rompre() noexcept { _connexion.reset(); }
    /// A pause between two tries, longer each time until one succeeds; ended when the store is pressed.
    void patienter();
    /// Looks whether it is there still, makes it again if that is possible at once.
    void entretenir() noexcept;

  private:
    using Instant = std::chrono::steady_clock::time_point;

    bool _essayer();

    const char* const _nom;
    const AdressePostgresql& _adresse;
    const Presse& _presse;
    SuiviLiens& _suivi;
    const std::function<void()>& _surAttente;
    std::optional<ConnexionPostgresql> _connexion;
    std::optional<Instant> _perdueDepuis;
    std::chrono::milliseconds _pause{0};
    std::string _pourquoi;
};

} // namespace serveur

#endif
