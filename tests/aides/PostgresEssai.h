#ifndef POSTGRESESSAI_H
#define POSTGRESESSAI_H

#include "DossierTemporaire.h"
#include "ServeurReel.h"

#include <libpq-fe.h>

#include <array>
#include <cstdio>
#include <pwd.h>

namespace essais {

/// A throw-away PostgreSQL, for one test program: with durability left out, which is not what tests look at.
/// It is run as its own user by root, who may not.
class PostgresEssai : orix::INonCopiable
{
  public:
    /// That of this program, started at the first use.
    static PostgresEssai& celui()
    {
        static PostgresEssai postgres;
        return postgres;
    }

    PostgresEssai()
    {
        if (const passwd* utilisateur = getuid() == 0 ? getpwnam("postgres") : nullptr) {
            _commeLui = "setpriv --reuid postgres --regid postgres --clear-groups ";
            if (chown(_dossier.fichier("").c_str(), utilisateur->pw_uid, utilisateur->pw_gid) != 0)
                throw std::runtime_error("no folder for PostgreSQL");
        }
        _lancer("initdb --no-sync --no-instructions -A trust -U cdv --no-locale -E SQL_ASCII");
        demarrer();
    }
    ~PostgresEssai() { arreter("immediate"); }

    void demarrer() const
    {
        _lancer("pg_ctl -w -l " + _dossier.fichier("journal") + " -o '-p " + std::to_string(_port) +
                " -c listen_addresses=127.0.0.1 -c unix_socket_directories= -c fsync=off -c "
                "max_connections=60 -c deadlock_timeout=20ms"
                " -c log_min_messages=fatal' start");
    }
    void arreter(const std::string& comment = "fast") const { _lancer("pg_ctl -w -m " + comment + " stop"); }

    /// All its processes die at once, whatever they were doing; it is started again.
    void tuer() const
    {
        pid_t premier = 0;
        std::ifstream(_dossier.fichier("donnees/postmaster.pid")) >> premier;
        kill(premier, SIGSTOP); // or it would see to the deaths of the others
        const std::string numero = std::to_string(premier);
        std::ifstream autres("/proc/" + numero + "/task/" + numero + "/children");
        for (pid_t autre = 0; autres >> autre;)
            kill(autre, SIGKILL);
        kill(premier, SIGKILL);
        for (bool repart = false; !repart;)
            try {
                demarrer();
                repart = true;
            } catch (const std::runtime_error&) { // some are still there
            }
    }

    int port() const { return _port; }
    /// A new database, empty.
    std::string creerBase() const
    {
        const std::string nom = "base" + std::to_string(++_bases);
        demander("CREATE DATABASE " + nom, "postgres");
        return nom;
    }
    std::string uri(const std::string& base, int port = 0) const
    {
        return "postgresql://cdv@127.0.0.1:" + std::to_string(port != 0 ? port : _port) + "/" + base;
    }
    /// What the statement gives first, on a connection of its own.
    std::string demander(const std::string& sql, const std::string& base) const
    {
        const std::unique_ptr<PGconn, void (*)(PGconn*)> connexion(PQconnectdb(uri(base).c_str()), &PQfinish);
        const std::unique_ptr<PGresult, void (*)(PGresult*)> resultat(PQexec(connexion.get(), sql.c_str()),
                                                                      &PQclear);
        const ExecStatusType statut = PQresultStatus(resultat.get());
        EXPECT_TRUE(statut == PGRES_COMMAND_OK || statut == PGRES_TUPLES_OK)
            << sql << ": " << PQerrorMessage(connexion.get());
        return PQntuples(resultat.get()) > 0 ? PQgetvalue(resultat.get(), 0, 0) : "";
    }

  private:
    void _lancer(const std::string& commande) const
    {
        const std::string ligne =
            _commeLui + "$(pg_config --bindir)/" + commande.substr(0, commande.find(' ')) + " -D " +
            _dossier.fichier("donnees") + commande.substr(commande.find(' ')) + " >/dev/null 2>&1";
        if (std::system(ligne.c_str()) != 0) // NOLINT(cert-env33-c): the shell of a test
            throw std::runtime_error("failed: " + ligne);
    }

    DossierTemporaire _dossier;
    const int _port = portReserve();
    std::string _commeLui;
    mutable int _bases = 0;
};

} // namespace essais

#endif
