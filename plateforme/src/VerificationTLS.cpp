#include "VerificationTLS.h"

#include "PossessionSSL.h"

#include "orix/Configuration.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace orix {

namespace {

using orb::ContexteSSL;
using orb::ExamenSSL;
using Flux = orb::Possession<BIO, BIO_free>;
using Certificat = orb::Possession<X509, X509_free>;
using ClePrivee = orb::Possession<EVP_PKEY, EVP_PKEY_free>;
using Revocation = orb::Possession<X509_CRL, X509_CRL_free>;

constexpr const char* AUTORITE = "certificat_autorite";
constexpr const char* CERTIFICAT = "certificat";
constexpr const char* REVOCATION = "liste_revocation";

using Motif = ErreurConfiguration::Motif;

[[noreturn]] void refuser(Motif motif, const char* cle, const std::vector<std::string>& sujets,
                          const std::string& raison = {})
{
    throw ErreurConfiguration(motif, {"", 0, "[tls] " + std::string(cle)}, sujets, raison);
}

std::string citer(const std::string& fichier) { return '"' + fichier + '"'; }

/// What OpenSSL says of its last failure.
std::string raison()
{
    const unsigned long code = ERR_peek_last_error();
    if (ERR_SYSTEM_ERROR(code))
        return std::strerror(ERR_GET_REASON(code));
    const char* const texte = ERR_reason_error_string(code);
    return texte != nullptr ? texte : "";
}

std::string date(const ASN1_TIME* instant)
{
    const Flux flux(BIO_new(BIO_s_mem()));
    ASN1_TIME_print(flux.get(), instant);
    const char* texte = nullptr;
    const long taille = BIO_get_mem_data(flux.get(), &texte);
    return std::string(texte, static_cast<std::size_t>(std::max(taille, 0L)));
}

Flux ouvrir(const char* cle, const std::string& fichier)
{
    Flux flux(BIO_new_file(fichier.c_str(), "r"));
    if (flux == nullptr)
        refuser(Motif::fichierLisible, cle, {citer(fichier)}, raison());
    return flux;
}

/// The password for the private key, when it is asked for.
struct MotDePasse
{
    const std::string& texte;
    bool demande = false;

    static int donner(char* place, int capacite, int, void* moi)
    {
        auto& motDePasse = *static_cast<MotDePasse*>(moi);
        motDePasse.demande = true;
        const int taille = static_cast<int>(motDePasse.texte.size());
        if (taille > capacite)
            return -1;
        // NOLINTNEXTLINE(bugprone-not-null-terminated-result): its size goes back with it
        std::memcpy(place, motDePasse.texte.data(), motDePasse.texte.size());
        return taille;
    }
};

Certificat lireCertificat(const std::string& fichier)
{
    const Flux flux = ouvrir(CERTIFICAT, fichier);
    Certificat certificat(PEM_read_bio_X509(flux.get(), nullptr, nullptr, nullptr));
    if (certificat == nullptr)
        refuser(Motif::pemCertificat, CERTIFICAT, {citer(fichier)}, raison());
    return certificat;
}

ClePrivee lireClePrivee(const orb::ParametresTLS& tls)
{
    const Flux flux = ouvrir(CERTIFICAT, tls.certificat);
    MotDePasse motDePasse{tls.motDePasse};
    ClePrivee cle(PEM_read_bio_PrivateKey(flux.get(), nullptr, &MotDePasse::donner, &motDePasse));
    if (cle != nullptr)
        return cle;
    if (motDePasse.demande)
        refuser(tls.motDePasse.empty() ? Motif::motDePasseAbsent : Motif::motDePasseFaux, "mot_de_passe",
                {citer(tls.certificat)});
    refuser(Motif::pemCle, CERTIFICAT, {citer(tls.certificat)}, raison());
}

/// Whether the authority vouches for the certificate in that part: "ssl_server" or "ssl_client".
void verifierSignature(const orb::ParametresTLS& tls, SSL_CTX* contexte, X509* certificat, const char* role)
{
    const ExamenSSL examen(X509_STORE_CTX_new());
    if (examen == nullptr ||
        X509_STORE_CTX_init(examen.get(), SSL_CTX_get_cert_store(contexte), certificat, nullptr) != 1)
        throw std::bad_alloc();
    X509_STORE_CTX_set_default(examen.get(), role);
    X509_VERIFY_PARAM_set_auth_level(X509_STORE_CTX_get0_param(examen.get()),
                                     SSL_CTX_get_security_level(contexte));
    if (X509_verify_cert(examen.get()) == 1)
        return;
    const int erreur = X509_STORE_CTX_get_error(examen.get());
    const X509* const coupable = X509_STORE_CTX_get_current_cert(examen.get());
    const bool deAutorite = X509_STORE_CTX_get_error_depth(examen.get()) > 0;
    const char* const cle = deAutorite ? AUTORITE : CERTIFICAT;
    const std::string& fichier = deAutorite ? tls.certificatAutorite : tls.certificat;
    const char* const pourquoi = X509_verify_cert_error_string(erreur);
    switch (erreur) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        refuser(Motif::perime, cle, {citer(fichier), date(X509_get0_notAfter(coupable))});
    case X509_V_ERR_CERT_NOT_YET_VALID:
        refuser(Motif::pasEncoreValable, cle, {citer(fichier), date(X509_get0_notBefore(coupable))});
    case X509_V_ERR_INVALID_PURPOSE:
        refuser(Motif::role, cle, {citer(fichier)}, pourquoi);
    default:
        refuser(Motif::signature, CERTIFICAT, {citer(tls.certificat), citer(tls.certificatAutorite)},
                pourquoi);
    }
}

/// What OpenSSL has to say is in our messages: the ORB must not find it.
struct FileErreurs
{
    FileErreurs() { ERR_clear_error(); }
    ~FileErreurs() { ERR_clear_error(); }
};

} // namespace

orb::ParametresTLS parametresTLS(const Configuration& configuration)
{
    orb::ParametresTLS tls;
    tls.certificatAutorite = configuration[cle::certificatAutorite];
    tls.certificat = configuration[cle::certificat];
    tls.motDePasse = configuration[cle::motDePasse];
    tls.exigerCertificat = configuration[cle::exigerCertificat];
    tls.nomsServeurs = configuration[cle::nomsServeurs];
    tls.listeRevocation = configuration[cle::listeRevocation];
    return tls;
}

void verifierTLS(const orb::ParametresTLS& tls)
{
    if (tls.certificatAutorite.empty())
        return;
    const FileErreurs erreurs;
    const ContexteSSL contexte(SSL_CTX_new(TLS_method()));
    if (contexte == nullptr)
        throw std::bad_alloc();

    ouvrir(AUTORITE, tls.certificatAutorite);
    if (SSL_CTX_load_verify_file(contexte.get(), tls.certificatAutorite.c_str()) != 1)
        refuser(Motif::pemAutorite, AUTORITE, {citer(tls.certificatAutorite)}, raison());

    if (!tls.listeRevocation.empty()) {
        const Flux flux = ouvrir(REVOCATION, tls.listeRevocation);
        const Revocation liste(PEM_read_bio_X509_CRL(flux.get(), nullptr, nullptr, nullptr));
        if (liste == nullptr)
            refuser(Motif::pemRevocation, REVOCATION, {citer(tls.listeRevocation)}, raison());
    }

    const Certificat certificat = lireCertificat(tls.certificat);
    const ClePrivee cle = lireClePrivee(tls);
    if (X509_check_private_key(certificat.get(), cle.get()) != 1)
        refuser(Motif::cleDuCertificat, CERTIFICAT, {citer(tls.certificat)}, raison());
    for (const char* role : {"ssl_server", "ssl_client"})
        verifierSignature(tls, contexte.get(), certificat.get(), role);
    // Whatever else TLS may have against them, such as a key that is too short.
    if (SSL_CTX_use_certificate(contexte.get(), certificat.get()) != 1 ||
        SSL_CTX_use_PrivateKey(contexte.get(), cle.get()) != 1)
        refuser(Motif::inapte, CERTIFICAT, {citer(tls.certificat)}, raison());
}

} // namespace orix
