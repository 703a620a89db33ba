#ifndef ADRESSEPOSTGRESQL_H
#define ADRESSEPOSTGRESQL_H

#include <chrono>
#include <string>
#include <vector>

namespace serveur {

/// Where a PostgreSQL is, from a URI of libpq: its members, of which one takes writes, and how they are
/// asked.
class AdressePostgresql
{
  public:
    /// Whether the name of a store is such a URI.
    static bool estUneAdresse(const std::string& base);

    /// Throws ErreurMagasin for what is none, with nothing of it in the text: a password may stand anywhere.
    explicit AdressePostgresql(const std::string& uri);

    /// As users may see it: without password and parameters.
    const std::string& nom() const { return _nom; }

    /// The parameters of one connection, for libpq: keywords and values, each closed by a null pointer. They
    /// live as long as this object.
    struct Membre
    {
        std::vector<std::string> cles;
        std::vector<std::string> valeurs;
    };
    const std::vector<Membre>& membres() const { return _membres; }
    /// How long the connection to one member may take.
    std::chrono::seconds delaiConnexion() const { return _delaiConnexion; }
    /// Whether only the member that takes writes will do; else libpq looks after what the URI says.
    bool veutEcrire() const { return _veutEcrire; }

  private:
    std::string _nom;
    std::vector<Membre> _membres;
    std::chrono::seconds _delaiConnexion{3};
    bool _veutEcrire = true;
};

} // namespace serveur

#endif
