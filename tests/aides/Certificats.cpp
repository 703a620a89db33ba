#include "Certificats.h"

#include "ServeurReel.h"

#include <fstream>
#include <stdexcept>

namespace essais {

namespace {

/// Unlike "openssl x509 -req", "openssl ca" can give any dates.
constexpr const char* REGLAGES = R"([ca]
default_ca = essai
[essai]
dir = .
database = index.txt
new_certs_dir = .
certificate = ca.pem
private_key = ca.key
default_md = sha256
rand_serial = yes
unique_subject = no
policy = politique
[politique]
commonName = supplied
)";

} // namespace

Certificats::Certificats()
{
    ecrire("ca.cnf", REGLAGES);
    ecrire("index.txt", "");
    _executer("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 3650 "
              "-subj '/CN=autorite' -keyout ca.key -out ca.pem");
}

std::string Certificats::emettre(const Demande& demande)
{
    const std::string nom = "certificat-" + std::to_string(++_emis);
    const std::string secret = demande.motDePasse.empty() ? "-nodes" : "-passout pass:" + demande.motDePasse;
    ecrire(nom + ".ext", "extendedKeyUsage = " + demande.usages + "\n");
    _executer("openssl req " + demande.cle + " " + secret + " -subj '/CN=" + demande.nom + "' -keyout " +
              nom + ".key -out " + nom + ".csr && openssl ca -batch -notext -config ca.cnf -in " + nom +
              ".csr -out " + nom + ".crt -extfile " + nom + ".ext -startdate " + demande.debut +
              " -enddate " + demande.fin + " && cat " + nom + ".crt " + nom + ".key > " + nom + ".pem");
    return _dossier.fichier(nom + ".pem");
}

std::string Certificats::revoquer(const std::string& certificat)
{
    const std::string ca = "openssl ca -config ca.cnf ";
    _executer((certificat.empty() ? "" : ca + "-revoke " + certificat + " && ") + ca +
              "-gencrl -crldays 30 -out revoques.pem");
    return _dossier.fichier("revoques.pem");
}

std::string Certificats::ecrire(const std::string& nom, const std::string& contenu) const
{
    std::ofstream(_dossier.fichier(nom)) << contenu;
    return _dossier.fichier(nom);
}

void Certificats::_executer(const std::string& commande) const
{
    Programme shell("/bin/sh", {"-c", "cd '" + _dossier.fichier(".") + "' && " + commande});
    if (shell.attendreFin() != 0)
        throw std::runtime_error(commande + "\n" + shell.erreurs());
}

} // namespace essais
