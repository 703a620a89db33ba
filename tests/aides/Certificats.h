#ifndef CERTIFICATS_H
#define CERTIFICATS_H

#include "DossierTemporaire.h"
#include "ServeurReel.h"

namespace essais {

/// Unlike "openssl x509 -req", "openssl ca" can give any dates.
inline constexpr const char* REGLAGES_AUTORITE = R"([ca]
default_ca = essai
[essai]
dir = .
database = index.txt
new_certs_dir = .
rand_serial = yes
unique_subject = no
policy = politique
[politique]
commonName = supplied
)";

inline const std::string CA = "openssl ca -config ca.cnf -cert ca.pem -keyfile ca.key -md sha256 ";

/// A certification authority of its own for a test, made with the openssl command. Throws std::runtime_error
/// with what the command said when it fails.
class Certificats
{
  public:
    Certificats()
    {
        ecrire("ca.cnf", REGLAGES_AUTORITE);
        ecrire("index.txt", "");
        _executer("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 3650 "
                  "-subj '/CN=autorite' -keyout ca.key -out ca.pem");
    }

    std::string autorite() const { return _dossier.fichier("ca.pem"); } ///< PEM file of its certificate
    /// What differs from a good certificate for both ends. Dates: "YYYYMMDDHHMMSSZ".
    struct Demande
    {
        std::string nom = "essai"; ///< common name
        std::string debut = "20200101000000Z";
        std::string fin = "20991231235959Z";
        std::string motDePasse; ///< of the key; empty: none
        std::string usages = "serverAuth,clientAuth";
        std::string cle = "-newkey ec -pkeyopt ec_paramgen_curve:P-256";
    };
    /// A new certificate and its private key; returns the PEM file with both.
    std::string emettre(const std::function<void(Demande&)>& changer = [](Demande&) {})
    {
        Demande demande;
        changer(demande);
        const std::string nom = "certificat-" + std::to_string(++_emis);
        const std::string secret =
            demande.motDePasse.empty() ? "-nodes" : "-passout pass:" + demande.motDePasse;
        ecrire(nom + ".ext", "extendedKeyUsage = " + demande.usages + "\n");
        _executer("openssl req " + demande.cle + " " + secret + " -subj '/CN=" + demande.nom + "' -keyout " +
                  nom + ".key -out " + nom + ".csr && " + CA + "-batch -notext -in " + nom + ".csr -out " +
                  nom + ".crt -extfile " + nom + ".ext -startdate " + demande.debut + " -enddate " +
                  demande.fin + " && cat " + nom + ".crt " + nom + ".key > " + nom + ".pem");
        return _dossier.fichier(nom + ".pem");
    }
    std::string emettre(const std::string& nom)
    {
        return emettre([&](Demande& d) { d.nom = nom; });
    }

    /// The revocation list, with that certificate besides those of before; "": no other. Returns the PEM
    /// file.
    std::string revoquer(const std::string& certificat = "")
    {
        _executer((certificat.empty() ? "" : CA + "-revoke " + certificat + " && ") + CA +
                  "-gencrl -crldays 30 -out revoques.pem");
        return _dossier.fichier("revoques.pem");
    }

    /// A file of that content; returns its path.
    std::string ecrire(const std::string& nom, const std::string& contenu) const
    {
        std::ofstream(_dossier.fichier(nom)) << contenu;
        return _dossier.fichier(nom);
    }

  private:
    /// Runs the command by the shell in the folder.
    void _executer(const std::string& commande) const
    {
        Programme shell("/bin/sh", {"-c", "cd '" + _dossier.fichier(".") + "' && " + commande});
        if (shell.attendreFin() != 0)
            throw std::runtime_error(commande + "\n" + shell.erreurs());
    }

    DossierTemporaire _dossier;
    int _emis = 0;
};

} // namespace essais

#endif
