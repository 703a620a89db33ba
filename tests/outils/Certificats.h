#ifndef CERTIFICATS_H
#define CERTIFICATS_H

#include "DossierTemporaire.h"

#include <string>

namespace essais {

/// A certification authority of its own for a test, made with the openssl command. Throws std::runtime_error
/// with what the command said when it fails.
class Certificats
{
  public:
    Certificats();

    std::string autorite() const { return _dossier.fichier("ca.pem"); } ///< PEM file of its certificate
    /// What the certificate and its key are made with.
    struct Demande
    {
        std::string nom = "essai";                    ///< common name
        std::string debut = "20200101000000Z";        ///< valid from
        std::string fin = "20991231235959Z";          ///< valid to
        std::string motDePasse;                       ///< of the key; empty: none
        std::string usages = "serverAuth,clientAuth"; ///< extendedKeyUsage
        std::string cle = "-newkey ec -pkeyopt ec_paramgen_curve:P-256";
    };
    /// A new certificate and its private key; returns the PEM file with both.
    std::string emettre(const Demande& demande);
    std::string emettre() { return emettre(Demande{}); }

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
