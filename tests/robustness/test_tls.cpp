// TLS between the client and its servers: who may connect, and which files are refused.
#include "Certificats.h"
#include "OXcdvCliCode.h"
#include "SessionEspionnee.h"

#include <gmock/gmock.h>

#include <functional>

using essais::Appel;
using essais::Certificats;
using Demande = essais::Certificats::Demande;
using essais::Etranger;
using essais::Programme;
using essais::ServeurReel;
using essais::vol;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace giop = essais::giop;

namespace {

using ContexteTLS = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)>;

/// What a peer presents: nothing when there is no file.
ContexteTLS presenter(const std::string& fichier)
{
    ContexteTLS contexte(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    if (!fichier.empty()) {
        SSL_CTX_use_certificate_chain_file(contexte.get(), fichier.c_str());
        SSL_CTX_use_PrivateKey_file(contexte.get(), fichier.c_str(), SSL_FILETYPE_PEM);
    }
    return contexte;
}

void reglerTLS(orix::Configuration& reglages, const Certificats& certificats, const std::string& certificat)
{
    reglages[orix::cle::certificatAutorite] = certificats.autorite();
    reglages[orix::cle::certificat] = certificat;
}

orix::Configuration reglagesTLS(const Certificats& certificats, const std::string& certificat)
{
    orix::Configuration reglages;
    reglerTLS(reglages, certificats, certificat);
    return reglages;
}

/// The file that gives a server these settings.
std::string fichierTOML(const Certificats& certificats, const orix::Configuration& tls)
{
    return certificats.ecrire("serveur.toml", "[tls]\ncertificat_autorite = \"" +
                                                  tls[orix::cle::certificatAutorite] + "\"\ncertificat = \"" +
                                                  tls[orix::cle::certificat] + "\"\nmot_de_passe = \"" +
                                                  tls[orix::cle::motDePasse] + "\"\n");
}

/// Before the session, which needs them.
struct AvecCertificats
{
    Certificats certificats;
    const std::string certificatClient = certificats.emettre("client");
    const std::string certificatServeur = certificats.emettre("serveur");
    const std::string toml = fichierTOML(certificats, reglagesTLS(certificats, certificatServeur));
};

orix::Configuration reglagesClient(const AvecCertificats& fichiers)
{
    orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
    reglerTLS(reglages, fichiers.certificats, fichiers.certificatClient);
    return reglages;
}

class SessionTLS : protected AvecCertificats, public essais::SessionReelle
{
  protected:
    SessionTLS() : SessionReelle(reglagesClient(*this), {"--configuration", toml}) {}
};

/// The servers' file has a table [acces] too.
class SessionAvecDroits : protected AvecCertificats, public essais::SessionReelle
{
  protected:
    SessionAvecDroits()
        : SessionReelle(reglagesClient(*this),
                        {"--trace", "100", "--configuration", _ecrire("lecture = ['autre']")})
    {}

    void relire(const std::string& droits, const std::string& trace)
    {
        _ecrire(droits);
        for (const char* nom : {"cdv1", "cdv2"}) {
            serveur(nom).signaler(SIGHUP);
            EXPECT_TRUE(serveur(nom).attendreErreurs(trace)) << serveur(nom).erreurs();
        }
    }

    /// Sends the five requests, one after another; their results in the order in which they come.
    std::vector<int> demanderTout()
    {
        const essais::Requete requetes[] = {&OXcdvCliItf::consulte_vol_complet,
                                            &OXcdvCliItf::liste_vol_complet, &OXcdvCliItf::cree_vol_complet,
                                            &OXcdvCliItf::modifie_vol_complet,
                                            &OXcdvCliItf::supprime_vol_complet};
        std::vector<int> numeros;
        for (const essais::Requete requete : requetes)
            numeros.push_back(envoyer(requete, *vol("A")));
        std::vector<int> resultats;
        for (const int numero : numeros) {
            const Appel appel = _callbacks.attendre();
            EXPECT_EQ(appel.idOp, numero) << appel.nom;
            resultats.push_back(appel.statut);
        }
        return resultats;
    }

  private:
    std::string _ecrire(const std::string& droits)
    {
        fichierTOML(certificats, reglagesTLS(certificats, certificatServeur));
        std::ofstream(toml, std::ios::app) << "[acces]\n" << droits << "\n";
        return toml;
    }
};

class EtrangersTLS : protected AvecCertificats, public essais::SessionEspionnee
{
  protected:
    EtrangersTLS() : SessionEspionnee(reglagesClient(*this), {"--configuration", toml, "--trace", "300"}) {}

    /// All that may be asked of the two processes, sent with a right to nothing, is answered by nothing.
    void essayer(const std::string& qui, SSL_CTX* tls)
    {
        const CORBA::Long idOp = 1;
        const struct
        {
            Cible cible;
            const char* operation;
            std::string arguments;
        } demandes[] = {
            {service(), "cree_vol_complet", giop::arguments(volFilaire("intrus"), idOp, numeroClient())},
            {service(), "testerConnexionServeur", giop::arguments(numeroClient())},
            {service(), "desactiveCB", giop::arguments(numeroClient())},
            {noyau(), "_non_existent", ""},
            {noyau(), "activerService",
             giop::arguments("cdv", _espion.niveaux, _espion.client.in(), "ORIX", "ailleurs")},
            {client(), "testerConnexionClient", giop::arguments("cdv", "cdv1", "tour", numeroClient())},
            {client(), "deconnexionCB", giop::arguments(idOp)},
            {notifications(), "cree_vol_complet", giop::arguments(idOp, volFilaire("intrus"), idOp)},
        };
        sousTrafic([&] {
            for (const auto& demande : demandes) {
                Etranger etranger(demande.cible.port, "127.0.0.1", tls);
                // In TLS 1.3 the handshake is over on this side before the other has looked at the
                // certificate.
                if (!etranger.estConnecte() && tls != nullptr)
                    continue;
                EXPECT_EQ(
                    etranger.demander(giop::requete(demande.cible.cle, demande.operation, demande.arguments)),
                    "closed")
                    << qui << ": " << demande.operation;
            }
        });
        EXPECT_TRUE(lister(*vol("intrus")).empty()) << qui;
        EXPECT_EQ(_callbacks.nombre(), 0u) << qui;
    }
};

} // namespace

TEST_F(SessionTLS, TraficDansLOrdrePingsEtBasculement)
{
    EXPECT_THAT(_premier->url(), StartsWith("corbaloc:ssliop:"));
    EXPECT_EQ(activer(), "cdv1");
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("A")).statut, 0);
    constexpr int CONSULTATIONS = 2000;
    std::vector<int> numeros;
    for (int i = 0; i < CONSULTATIONS; ++i)
        numeros.push_back(envoyer(&OXcdvCliItf::consulte_vol_complet, *vol("A")));
    for (const int numero : numeros)
        ASSERT_EQ(_callbacks.attendre("consulte_vol_completCB").idOp, numero);
    // Each side would have declared the other lost after two pings without an answer.
    EXPECT_EQ(_callbacks.attendre(std::chrono::seconds(2)).nom, "rien");
    EXPECT_EQ(demander(&OXcdvCliItf::consulte_vol_complet, *vol("A")).identifiant, "A");

    for (const char* actif : {"cdv1", "cdv2"}) {
        serveur(actif).signaler(SIGKILL);
        const Appel perte = _callbacks.attendre();
        EXPECT_EQ(perte.nom, "deconnexionCB");
        EXPECT_EQ(perte.statut, orix::OXS_ECHEC_PING);
        EXPECT_NE(activerQuelquePart(), actif);
        EXPECT_EQ(lister(*vol("*")), std::vector<std::string>{"A"});
        relancer(actif);
    }
    // A server that hangs answers no ping.
    serveur("cdv1").signaler(SIGSTOP);
    EXPECT_EQ(_callbacks.attendre().nom, "deconnexionCB");
    serveur("cdv1").signaler(SIGCONT);
}

// Reading is allowed to another; then writing and activating are.
TEST_F(SessionAvecDroits, ChaqueDemandeEstRepondueSelonLesDroitsDeMaintenantEtASonTour)
{
    using namespace cdv::code;
    activer();
    EXPECT_EQ(demanderTout(), (std::vector<int>{INTERDIT, INTERDIT, FAIT, FAIT, FAIT}));
    relire("lecture = ['cl?en*']\necriture = []\nactivation = ['autre']", "Droits relus");
    const std::vector<int> lectureSeule{INTROUVABLE, FAIT, INTERDIT, INTERDIT, INTERDIT};
    EXPECT_EQ(demanderTout(), lectureSeule);
    relire("ecriture = '*'", "Droits refusés, les précédents restent : " + toml + ":");
    EXPECT_EQ(demanderTout(), lectureSeule);
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
    EXPECT_EQ(_callbacks.attendre("activeCB").statut, orix::OXS_CLIENT_ID_INVALIDE);
}

TEST_F(EtrangersTLS, SansCertificatDeLAutorite)
{
    Certificats autreAutorite;
    ASSERT_NO_FATAL_FAILURE(essayer("no certificate", presenter("").get()));
    ASSERT_NO_FATAL_FAILURE(essayer("another authority", presenter(autreAutorite.emettre("client")).get()));
    const std::string perime = certificats.emettre(Demande("client").jusqua("20210101000000Z"));
    ASSERT_NO_FATAL_FAILURE(essayer("expired", presenter(perime).get()));
    ASSERT_NO_FATAL_FAILURE(essayer("plain text", nullptr));
}

// The number of a client serves nobody else, even on the same machine and with a good certificate.
TEST_F(EtrangersTLS, CertificatDUnAutreClient)
{
    const std::string refus = "IDL:orix_corba/ClientDeconnecte:1.0";
    const Cible cible = service();
    const std::string ping =
        giop::requete(cible.cle, "testerConnexionServeur", giop::arguments(numeroClient()));
    const std::string depart = giop::requete(cible.cle, "desactiveCB", giop::arguments(numeroClient()));
    sousTrafic([&] {
        Etranger autre(cible.port, "127.0.0.1", presenter(certificats.emettre("autre")).get());
        EXPECT_EQ(autre.demander(ping), refus);
        EXPECT_EQ(autre.demander(depart), "");
    });
    EXPECT_TRUE(_premier->attendreErreurs("activé par local/client, refusé à local/autre"));
    Etranger meme(cible.port, "127.0.0.1", presenter(certificatClient).get());
    EXPECT_EQ(meme.demander(ping), "");
}

// Neither side falls back to plain text, nor does it speak with a peer of another authority.
TEST(TLS, RienDAutreQueTLSEntreClientEtServeur)
{
    const AvecCertificats ici;
    const AvecCertificats ailleurs;
    const essais::DossierTemporaire dossier;
    const ServeurReel enClair(dossier.fichier("a.db"), {"--trace", "0"});
    const ServeurReel autreAutorite(dossier.fichier("b.db"),
                                    {"--trace", "0", "--configuration", ailleurs.toml});
    const ServeurReel bon(dossier.fichier("c.db"), {"--trace", "0", "--configuration", ici.toml});
    const std::string port = std::to_string(bon.port());

    const auto activer = [&](const orix::Configuration& reglages, const std::string& url) {
        orix::Configuration configuration = reglages;
        configuration[orix::cle::routage]["cdv"] = {url};
        configuration[orix::cle::niveauTrace] = 0;
        int argc = 0;
        std::string message;
        EXPECT_EQ(orix::initialiser(argc, nullptr, configuration, &message), orix::OXS_OK) << message;
        const orix::OXstatut statut = OXcdvCliItf::active(essais::SERVICE);
        if (statut == orix::OXS_OK) {
            const Appel appel = essais::Callbacks::instance().attendre();
            EXPECT_EQ(appel.nom, "activeCB");
            EXPECT_EQ(appel.statut, orix::OXS_OK);
        }
        orix::detruireOXcdvCliItfAdaptateur();
        EXPECT_EQ(orix::terminer(), orix::OXS_OK);
        return statut;
    };
    // In one process, one after another: nothing of a run is left in the next.
    const orix::Configuration sans;
    const orix::Configuration avec = reglagesClient(ici);
    for (int tour = 0; tour < 2; ++tour) {
        EXPECT_EQ(activer(sans, enClair.url()), orix::OXS_OK);
        EXPECT_EQ(activer(avec, enClair.url()), orix::OXS_CONNEXION_IMPOSSIBLE);
        EXPECT_EQ(activer(avec, autreAutorite.url()), orix::OXS_CONNEXION_IMPOSSIBLE);
        EXPECT_EQ(activer(avec, bon.url()), orix::OXS_OK);
        EXPECT_EQ(activer(avec, "corbaloc:iiop:127.0.0.1:" + port + "/Noyau"),
                  orix::OXS_CONNEXION_IMPOSSIBLE);
        EXPECT_EQ(activer(sans, "corbaloc:iiop:127.0.0.1:" + port + "/Noyau"),
                  orix::OXS_CONNEXION_IMPOSSIBLE);
        EXPECT_EQ(activer(reglagesClient(ailleurs), bon.url()), orix::OXS_CONNEXION_IMPOSSIBLE);
    }
}

// A certificate may be left optional; one of another authority is refused all the same.
TEST(TLS, CertificatFacultatif)
{
    const AvecCertificats fichiers;
    Certificats autre;
    const orix::Configuration tls = reglagesTLS(fichiers.certificats, fichiers.certificatClient);
    const std::string toml = fichierTOML(fichiers.certificats, tls);
    std::ofstream(toml, std::ios::app) << "exiger_certificat = false\n";
    const essais::DossierTemporaire dossier;
    const ServeurReel serveur(dossier.fichier("a.db"), {"--trace", "0", "--configuration", toml});
    const std::string requete = giop::requete("Noyau", "_non_existent");
    const auto demander = [&](SSL_CTX* contexte) {
        return Etranger(serveur.port(), "127.0.0.1", contexte).demander(requete);
    };
    EXPECT_EQ(demander(presenter("").get()), "");
    EXPECT_EQ(demander(presenter(autre.emettre()).get()), "closed");
    EXPECT_EQ(demander(nullptr), "closed");
}

// Behind the first URL is a certificate of the authority, of a process that is no server.
TEST(TLS, UnCertificatQuiNEstPasDUnServeurNEstPasAppele)
{
    AvecCertificats fichiers;
    const std::string bon = fichiers.toml;
    const essais::DossierTemporaire dossier;
    const ServeurReel serveur(dossier.fichier("a.db"), {"--trace", "0", "--configuration", bon});
    fichierTOML(fichiers.certificats,
                reglagesTLS(fichiers.certificats, fichiers.certificats.emettre("autre client")));
    const ServeurReel imposteur(dossier.fichier("a.db"), {"--trace", "0", "--configuration", bon});
    orix::Configuration reglages = reglagesClient(fichiers);
    reglages[orix::cle::nomsServeurs] = {"secours", "serveur"};
    reglages[orix::cle::routage]["cdv"] = {imposteur.url(), serveur.url()};
    int argc = 0;
    ASSERT_EQ(orix::initialiser(argc, nullptr, reglages), orix::OXS_OK);
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK);
    EXPECT_EQ(essais::Callbacks::instance().attendre("activeCB").statut, orix::OXS_OK);
    orix::detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
}

TEST(TLS, UnCertificatRevoqueNEntrePlusApresLaRelecture)
{
    AvecCertificats fichiers;
    const std::string revoque = fichiers.certificats.emettre("revoque");
    const std::string liste = fichiers.certificats.revoquer();
    std::ofstream(fichiers.toml, std::ios::app) << "liste_revocation = \"" << liste << "\"\n";
    const essais::DossierTemporaire dossier;
    ServeurReel serveur(dossier.fichier("a.db"), {"--configuration", fichiers.toml, "--trace", "100"});
    const auto demander = [&](const std::string& certificat) {
        return Etranger(serveur.port(), "127.0.0.1", presenter(certificat).get())
            .demander(giop::requete("Noyau", "_non_existent"));
    };
    EXPECT_EQ(demander(revoque), "");
    fichiers.certificats.revoquer(revoque);
    serveur.signaler(SIGHUP);
    EXPECT_TRUE(serveur.attendreErreurs("Fichiers TLS relus"));
    EXPECT_EQ(demander(revoque), "closed");
    EXPECT_EQ(demander(fichiers.certificatClient), "");
    fichiers.certificats.ecrire("revoques.pem", "ceci n'est pas une liste\n");
    serveur.signaler(SIGHUP);
    EXPECT_TRUE(serveur.attendreErreurs("Fichiers TLS refusés"));
    EXPECT_EQ(demander(revoque), "closed");
    EXPECT_EQ(demander(fichiers.certificatClient), "");
}

// Each mistake in the files is told in one line that names the key, the file and what was expected, by the
// library as by the server, and by nobody else.
TEST(TLS, FichiersFaux)
{
    Certificats certificats;
    Certificats autre;
    const std::string bon = certificats.emettre();
    const std::string secret = certificats.emettre(Demande().protegee("sesame"));
    const std::string dossier = bon.substr(0, bon.rfind('/'));
    const auto contenu = [](const std::string& fichier) {
        std::ostringstream texte;
        texte << std::ifstream(fichier).rdbuf();
        return texte.str();
    };
    const std::string ca = certificats.autorite();
    const std::string seulCertificat = certificats.ecrire("seul.pem", contenu(ca));
    const std::string texte = certificats.ecrire("texte.pem", "ceci n'est pas un certificat\n");
    const std::string clePareille = [&] {
        const std::string un = contenu(bon);
        const std::string deux = contenu(certificats.emettre());
        return certificats.ecrire("melange.pem", un.substr(0, un.find("-----BEGIN PRIVATE")) +
                                                     deux.substr(deux.find("-----BEGIN PRIVATE")));
    }();
    const struct
    {
        std::string autorite;
        std::string certificat;
        std::string motDePasse;
        const char* cle;      ///< named
        std::string fichier;  ///< named
        const char* pourquoi; ///< part of what is told
    } cas[] = {
        {dossier + "/absent.pem", bon, "", "certificat_autorite", dossier + "/absent.pem", "readable file"},
        {dossier, bon, "", "certificat_autorite", dossier, "expected a PEM file with the authority's"},
        {texte, bon, "", "certificat_autorite", texte, "expected a PEM file with the authority's"},
        {ca, dossier + "/absent.pem", "", "certificat", dossier + "/absent.pem", "readable file"},
        {ca, texte, "", "certificat", texte, "expected a PEM file that begins with"},
        {ca, seulCertificat, "", "certificat", seulCertificat, "expected the private key too"},
        {ca, clePareille, "", "certificat", clePareille, "expected the private key of the certificate"},
        {ca, secret, "", "mot_de_passe", secret, "got none"},
        {ca, secret, "ouvre-toi", "mot_de_passe", secret, "got a wrong one"},
        {autre.autorite(), bon, "", "certificat", bon, "expected a certificate signed by the authority"},
        {ca, certificats.emettre(Demande().jusqua("20210101000000Z")), "", "certificat", "certificat-",
         "expected a certificate that is still valid (it expired on Jan  1"},
        {ca, certificats.emettre(Demande().depuis("20980101000000Z")), "", "certificat", "certificat-",
         "expected a certificate that is already valid (it begins on Jan  1"},
        {ca, certificats.emettre(Demande().pour("serverAuth")), "", "certificat", "certificat-",
         "serverAuth and clientAuth"},
        {ca, certificats.emettre(Demande().avecCle("-newkey rsa:1024")), "", "certificat", "certificat-",
         "too"}, // "key too small", "too weak"
    };
    for (const auto& c : cas) {
        orix::Configuration configuration;
        configuration[orix::cle::certificatAutorite] = c.autorite;
        configuration[orix::cle::certificat] = c.certificat;
        configuration[orix::cle::motDePasse] = c.motDePasse;
        const std::string cle = "[tls] " + std::string(c.cle);
        int argc = 0;
        std::string message;
        testing::internal::CaptureStderr();
        EXPECT_EQ(orix::initialiser(argc, nullptr, configuration, &message), orix::OXS_MAUVAISE_CONF);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_THAT(message, AllOf(HasSubstr(cle + ": got "), HasSubstr(c.fichier), HasSubstr(c.pourquoi),
                                   Not(HasSubstr("\n"))));

        Programme serveur(essais::cheminServeur(),
                          {"--base", certificats.ecrire("a.db", ""), "--port", "0", "--configuration",
                           fichierTOML(certificats, configuration)});
        EXPECT_EQ(serveur.attendreFin(), 2);
        const std::string erreurs = serveur.erreurs();
        EXPECT_THAT(erreurs,
                    AllOf(StartsWith("cdv-serveur : "), HasSubstr(cle + " : "), HasSubstr(c.fichier)));
        EXPECT_EQ(std::count(erreurs.begin(), erreurs.end(), '\n'), 1) << erreurs;
    }

    // After all these, the right ones.
    orix::Configuration configuration = reglagesTLS(certificats, secret);
    configuration[orix::cle::motDePasse] = "sesame";
    int argc = 0;
    std::string message;
    EXPECT_EQ(orix::initialiser(argc, nullptr, configuration, &message), orix::OXS_OK) << message;
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
}
