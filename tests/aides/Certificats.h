#ifndef CERTIFICATS_H
#define CERTIFICATS_H

#include "DossierTemporaire.h"

#include <string>
#include <utility>

namespace essais {

/// A certification authority of its own for a test, made with the openssl command. Throws std::runtime_error
/// with what the command said when it fails.
class Certificats
{
  public:
    Certificats();

    std::string autorite() const { return _dossier.fichier("ca.pem"); } ///< PEM file of its certificate
    /// What differs from a good certificate for both ends. Dates: "YYYYMMDDHHMMSSZ".
    struct Demande
    {
        explicit Demande(std::string leNom = "essai") : nom(std::move(leNom)) {}
        Demande& depuis(const std::string& date) { return debut = date, *this; }
        Demande& jusqua(const std::string& date) { return fin = date, *this; }
        Demande& protegee(const std::string& secret) { return motDePasse = secret, *this; }
        Demande& pour(const std::string& lesUsages) { return usages = lesUsages, *this; }
        Demande& avecCle(const std::string& options) { return cle = options, *this; }

        std::string nom; ///< common name
        std::string debut = "20200101000000Z";
        std::string fin = "20991231235959Z";
        std::string motDePasse; ///< of the key; empty: none
        std::string usages = "serverAuth,clientAuth";
        std::string cle = "-newkey ec -pkeyopt ec_paramgen_curve:P-256";
    };
    /// A new certificate and its private key; returns the PEM file with both.
    std::string emettre(const Demande& demande = Demande());
    std::string emettre(const std::string& nom) { return emettre(Demande(nom)); }

    /// The revocation list, with that certificate besides those of before; "": no other. Returns the PEM
    /// file.
    std::string revoquer(const std::string& certificat = "");

    /// A file of that content; returns its path.
    std::string ecrire(const std::string& nom, const std::string& contenu) const;

  private:
    /// Runs the command by the shell in the folder.
    void _executer(const std::string& commande) const;

    DossierTemporaire _dossier;
    int _emis = 0;
};

} // namespace essais

#endif
