#ifndef PARTAGEPOSTGRESQL_H
#define PARTAGEPOSTGRESQL_H

#include "AdressePostgresql.h"

#include "orix/INonCopiable.h"

#include <atomic>
#include <cstdint>
#include <utility>

namespace serveur {

/// What the connections of one process to one database have in common. Any thread.
class PartagePostgresql : orix::INonCopiable
{
  public:
    /// Throws ErreurMagasin.
    explicit PartagePostgresql(const std::string& uri);
    ~PartagePostgresql();

    const AdressePostgresql& adresse() const { return _adresse; }

    void presser() noexcept;
    bool estPresse() const noexcept { return _presse; }
    int descripteurPresse() const noexcept { return _descripteur; } ///< can be read once it is pressed

    void noterPerte() noexcept { ++_perdues; }
    void noterReconnexion() noexcept
    {
        --_perdues;
        ++_reconnexions;
    }
    bool toutesLa() const noexcept { return _perdues == 0; }
    std::uint64_t reconnexions() const noexcept { return _reconnexions; }

  private:
    const AdressePostgresql _adresse;
    const int _descripteur;
    std::atomic<bool> _presse{false};
    std::atomic<int> _perdues{0};
    std::atomic<std::uint64_t> _reconnexions{0};
};

} // namespace serveur

#endif
