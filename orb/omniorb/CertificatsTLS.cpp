#include "CertificatsTLS.h"

#include "NomsCertificats.h"
#include "PossessionSSL.h"

#include <omniORB4/sslContext.h>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace orix::orb {

namespace {

/// What the files held when they were read. Never changed: a handshake keeps the one it began with.
struct Fichiers
{
    ContexteSSL contexte;
    std::vector<std::string> nomsServeurs;
};

struct Etat
{
    std::mutex mutex;
    std::shared_ptr<const Fichiers> fichiers;

    std::shared_ptr<const Fichiers> lire()
    {
        const std::lock_guard<std::mutex> verrou(mutex);
        return fichiers;
    }
};

Etat& etat()
{
    static auto* const etat = new Etat; // never destroyed: the ORB's threads may outlive the static objects
    return *etat;
}

[[noreturn]] void refuser(const std::string& fichier)
{
    const char* const raison = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    throw std::runtime_error('"' + fichier + "\": " + (raison != nullptr ? raison : "cannot be read"));
}

int donnerMotDePasse(char* place, int capacite, int, void* texte)
{
    const auto& motDePasse = *static_cast<const std::string*>(texte);
    if (motDePasse.size() > static_cast<std::size_t>(capacite))
        return -1;
    std::copy(motDePasse.begin(), motDePasse.end(), place);
    return static_cast<int>(motDePasse.size());
}

/// At the beginning of a handshake: which certificate this side shows.
int choisirCertificat(SSL* connexion, void*)
{
    const auto fichiers = etat().lire();
    if (fichiers == nullptr)
        return 1;
    SSL_CTX* const contexte = fichiers->contexte.get();
    STACK_OF(X509)* chaine = nullptr;
    SSL_CTX_get0_chain_certs(contexte, &chaine);
    return SSL_use_cert_and_key(connexion, SSL_CTX_get0_certificate(contexte),
                                SSL_CTX_get0_privatekey(contexte), chaine,
                                /*override*/ 1);
}

/// Whether the certificate of the other side is good: as OpenSSL would, with the files of now.
int examiner(X509_STORE_CTX* demande, void*)
{
    const auto fichiers = etat().lire();
    if (fichiers == nullptr)
        return X509_verify_cert(demande);
    const ExamenSSL examen(X509_STORE_CTX_new());
    if (examen == nullptr ||
        X509_STORE_CTX_init(examen.get(), SSL_CTX_get_cert_store(fichiers->contexte.get()),
                            X509_STORE_CTX_get0_cert(demande), X509_STORE_CTX_get0_untrusted(demande)) != 1) {
        X509_STORE_CTX_set_error(demande, X509_V_ERR_OUT_OF_MEM);
        return 0;
    }
    // What the connection asks for besides: its part, how strong keys must be.
    X509_VERIFY_PARAM_set1(X509_STORE_CTX_get0_param(examen.get()), X509_STORE_CTX_get0_param(demande));
    const int bon = X509_verify_cert(examen.get());
    X509_STORE_CTX_set_error(demande, X509_STORE_CTX_get_error(examen.get()));
    return bon;
}

} // namespace

void lireCertificats(const ParametresTLS& parametres)
{
    if (parametres.certificatAutorite.empty()) {
        const std::lock_guard<std::mutex> verrou(etat().mutex);
        etat().fichiers.reset();
        return;
    }
    auto fichiers = std::make_shared<Fichiers>();
    fichiers->contexte.reset(SSL_CTX_new(TLS_method()));
    fichiers->nomsServeurs = parametres.nomsServeurs;
    SSL_CTX* const contexte = fichiers->contexte.get();
    if (contexte == nullptr)
        throw std::bad_alloc();
    ERR_clear_error();
    SSL_CTX_set_default_passwd_cb(contexte, &donnerMotDePasse);
    SSL_CTX_set_default_passwd_cb_userdata(contexte, const_cast<std::string*>(&parametres.motDePasse));
    if (SSL_CTX_load_verify_file(contexte, parametres.certificatAutorite.c_str()) != 1)
        refuser(parametres.certificatAutorite);
    if (SSL_CTX_use_certificate_chain_file(contexte, parametres.certificat.c_str()) != 1 ||
        SSL_CTX_use_PrivateKey_file(contexte, parametres.certificat.c_str(), SSL_FILETYPE_PEM) != 1)
        refuser(parametres.certificat);
    if (!parametres.listeRevocation.empty()) {
        X509_STORE* const magasin = SSL_CTX_get_cert_store(contexte);
        X509_LOOKUP* const lecture = X509_STORE_add_lookup(magasin, X509_LOOKUP_file());
        if (lecture == nullptr ||
            X509_load_crl_file(lecture, parametres.listeRevocation.c_str(), X509_FILETYPE_PEM) < 1)
            refuser(parametres.listeRevocation);
        X509_STORE_set_flags(magasin, X509_V_FLAG_CRL_CHECK);
    }
    const std::lock_guard<std::mutex> verrou(etat().mutex);
    etat().fichiers = std::move(fichiers);
}

void installerCertificats()
{
    if (sslContext::singleton == nullptr || etat().lire() == nullptr)
        return;
    SSL_CTX* const contexte = sslContext::singleton->get_SSL_CTX();
    SSL_CTX_set_cert_cb(contexte, &choisirCertificat, nullptr);
    SSL_CTX_set_cert_verify_callback(contexte, &examiner, nullptr);
    // A session that is taken up again would not be looked at.
    SSL_CTX_set_session_cache_mode(contexte, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(contexte, SSL_OP_NO_TICKET);
    SSL_CTX_set_num_tickets(contexte, 0);
}

bool estNomDeServeur(const char* nom)
{
    const auto fichiers = etat().lire();
    if (fichiers == nullptr || fichiers->nomsServeurs.empty())
        return true;
    return estParmi(fichiers->nomsServeurs, nom != nullptr ? nom : "");
}

} // namespace orix::orb
