// TLS between the client and its servers: who may connect, and which files are refused.
#include "Certificats.h"
#include "OXcdvCliCode.h"
#include "SessionEspionnee.h"
#include "Transcription.h"

using namespace essais;
using Demande = essais::Certificats::Demande;
using namespace testing;
namespace giop = essais::giop;

namespace {

const char* const PASSE = "20210101000000Z";

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

orix::Configuration reglagesTLS(const Certificats& certificats, const std::string& certificat,
                                orix::Configuration reglages = {})
{
    reglages[orix::cle::certificatAutorite] = certificats.autorite();
    reglages[orix::cle::certificat] = certificat;
    return reglages;
}

/// The file that gives a server these settings, and those lines.
std::string fichierTOML(const Certificats& certificats, const orix::Configuration& tls,
                        const std::string& suite = "")
{
    return certificats.ecrire("serveur.toml", "[tls]\ncertificat_autorite = \"" +
                                                  tls[orix::cle::certificatAutorite] + "\"\ncertificat = \"" +
                                                  tls[orix::cle::certificat] + "\"\nmot_de_passe = \"" +
                                                  tls[orix::cle::motDePasse] + "\"\n" + suite);
}

/// Before the session, which needs them.
struct AvecCertificats
{
    Certificats certificats;
    const std::string certificatClient = certificats.emettre("client");
    const orix::Configuration reglagesServeur = reglagesTLS(certificats, certificats.emettre("serveur"));
    const orix::Configuration reglagesClient =
        reglagesTLS(certificats, certificatClient, essais::SessionReelle::reglagesVifs());
    const std::string toml = fichierTOML(certificats, reglagesServeur);
};

/// A server with that configuration, the strangers who knock at it, and clients of this process.
class ServeurTLS : essais::DossierTemporaire, public ServeurReel
{
  public:
    explicit ServeurTLS(const std::string& toml)
        : ServeurReel(fichier("a.db"), toml.empty() ? std::vector<std::string>{}
                                                    : std::vector<std::string>{"--configuration", toml})
    {}
    /// What comes of a request of who presents that file; "": nothing.
    std::string demander(const std::string& certificat) const
    {
        return demander(presenter(certificat).get());
    }
    std::string demander(SSL_CTX* contexte) const
    {
        return Etranger(port(), "127.0.0.1", contexte).demander(giop::requete("Noyau", "_non_existent"));
    }
};

/// A client with those settings: the first outcome of active() that is one of a server, by the number of
/// tries.
orix::OXstatut activer(orix::Configuration reglages, const std::vector<std::string>& urls, int essais = 1)
{
    reglages[orix::cle::routage]["cdv"] = urls;
    reglages[orix::cle::niveauTrace] = 0;
    EXPECT_EQ(essais::demarrer(reglages), "");
    orix::OXstatut statut = orix::OXS_CONNEXION_IMPOSSIBLE;
    while (essais-- > 0)
        statut = OXcdvCliItf::active(essais::SERVICE);
    if (statut == orix::OXS_OK) {
        EXPECT_EQ(essais::Callbacks::instance().attendre("activeCB").statut, orix::OXS_OK);
    }
    orix::detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
    return statut;
}

class SessionTLS : protected AvecCertificats, public essais::SessionReelle
{
  protected:
    SessionTLS() : SessionReelle(reglagesClient, {"--configuration", toml}) {}
};

/// The servers' file has a table [acces] too.
class SessionAvecDroits : protected AvecCertificats, public essais::SessionReelle
{
  protected:
    SessionAvecDroits()
        : SessionReelle(reglagesClient, {"--trace", "100", "--configuration", _ecrire("lecture = ['autre']")})
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
        return fichierTOML(certificats, reglagesServeur, "[acces]\n" + droits + "\n");
    }
};

class EtrangersTLS : protected AvecCertificats, public essais::SessionEspionnee
{
  protected:
    EtrangersTLS() : SessionEspionnee(reglagesClient, {"--configuration", toml, "--trace", "300"}) {}

    /// All that may be asked of the two processes, sent with a right to nothing, is answered by nothing.
    void essayer(const std::string& qui, SSL_CTX* tls)
    {
        const CORBA::Long idOp = 1;
        const Cible face = client();
        const std::pair<int, std::string> demandes[] = {
            {service().port,
             service().requete("cree_vol_complet", volFilaire("intrus"), idOp, numeroClient())},
            {service().port, service().requete("testerConnexionServeur", numeroClient())},
            {service().port, service().requete("desactiveCB", numeroClient())},
            {noyau().port, noyau().requete("_non_existent")},
            {noyau().port, noyau().requete("activerService", "cdv", _espion.niveaux, _espion.client.in(),
                                           "ORIX", "ailleurs")},
            {face.port, face.requete("testerConnexionClient", "cdv", "cdv1", "tour", numeroClient())},
            {face.port, face.requete("deconnexionCB", idOp)},
            {face.port, notifications().requete("cree_vol_complet", idOp, volFilaire("intrus"), idOp)},
        };
        sousTrafic([&] {
            for (const auto& [port, requete] : demandes) {
                Etranger etranger(port, ICI, tls);
                // In TLS 1.3 the handshake is over on this side before the other has looked at the
                // certificate.
                if (etranger.estConnecte() || tls == nullptr) {
                    EXPECT_EQ(etranger.demander(requete), "closed")
                        << qui << ": " << (&requete - &demandes[0].second);
                }
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
    EXPECT_EQ(creer("A"), 0);
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
    const std::string perime = certificats.emettre([](Demande& d) { d.nom = "client", d.fin = PASSE; });
    ASSERT_NO_FATAL_FAILURE(essayer("expired", presenter(perime).get()));
    ASSERT_NO_FATAL_FAILURE(essayer("plain text", nullptr));
}

// Whoever holds back the rest of a record is let go as quickly as who holds back that of a message.
TEST(TLS, UnEnregistrementParMoitieEstAbandonne)
{
    const AvecCertificats ici;
    const ServeurTLS serveur(ici.toml);
    const std::string enregistrement = std::string("\x17\x03\x03\x40\x00", 5) + std::string(60, 'x');
    const ContexteTLS contexte = presenter(ici.certificatClient);
    std::deque<Etranger> etrangers;
    for (const std::size_t taille : {1, 5, 40}) {
        etrangers.emplace_back(serveur.port(), "127.0.0.1", contexte.get());
        ASSERT_EQ(etrangers.back().demander(giop::requete("Noyau", "_non_existent")), "");
        EXPECT_TRUE(etrangers.back().envoyerEnClair(enregistrement.substr(0, taille)));
    }
    for (Etranger& etranger : etrangers)
        EXPECT_TRUE(etranger.attendreFermeture());
}

// The number of a client serves nobody else, even on the same machine and with a good certificate.
TEST_F(EtrangersTLS, CertificatDUnAutreClient)
{
    const std::string ping = service().requete("testerConnexionServeur", numeroClient());
    sousTrafic([&] {
        Etranger autre(service().port, ICI, presenter(certificats.emettre("autre")).get());
        EXPECT_EQ(autre.demander(ping), "ClientDeconnecte");
        EXPECT_EQ(autre.demander(service().requete("desactiveCB", numeroClient())), "");
    });
    EXPECT_TRUE(_premier->attendreErreurs("activé par local/client, refusé à local/autre"));
    EXPECT_EQ(Etranger(service().port, ICI, presenter(certificatClient).get()).demander(ping), "");
}

// Neither side falls back to plain text, nor does it speak with a peer of another authority.
TEST(TLS, RienDAutreQueTLSEntreClientEtServeur)
{
    const AvecCertificats ici;
    const AvecCertificats ailleurs;
    const ServeurTLS enClair("");
    const ServeurTLS autreAutorite(ailleurs.toml);
    const ServeurTLS bon(ici.toml);
    const std::string bonEnClair = "corbaloc:iiop:127.0.0.1:" + std::to_string(bon.port()) + "/Noyau";
    const struct
    {
        orix::Configuration client;
        std::string url;
        orix::OXstatut statut;
    } cas[] = {{{}, enClair.url(), orix::OXS_OK},
               {ici.reglagesClient, enClair.url(), orix::OXS_CONNEXION_IMPOSSIBLE},
               {ici.reglagesClient, autreAutorite.url(), orix::OXS_CONNEXION_IMPOSSIBLE},
               {ici.reglagesClient, bon.url(), orix::OXS_OK},
               {ici.reglagesClient, bonEnClair, orix::OXS_CONNEXION_IMPOSSIBLE},
               {{}, bonEnClair, orix::OXS_CONNEXION_IMPOSSIBLE},
               {ailleurs.reglagesClient, bon.url(), orix::OXS_CONNEXION_IMPOSSIBLE}};
    // In one process, one after another: nothing of a run is left in the next.
    for (int tour = 0; tour < 2; ++tour)
        for (const auto& [client, url, statut] : cas)
            EXPECT_EQ(activer(client, {url}), statut) << url;
}

// A certificate may be left optional; one of another authority is refused all the same.
TEST(TLS, CertificatFacultatif)
{
    const AvecCertificats ici;
    const ServeurTLS serveur(
        fichierTOML(ici.certificats, ici.reglagesServeur, "exiger_certificat = false\n"));
    EXPECT_EQ(serveur.demander(""), "");
    EXPECT_EQ(serveur.demander(Certificats().emettre()), "closed");
    EXPECT_EQ(serveur.demander(nullptr), "closed");
}

// Behind the first URL is a certificate of the authority, of a process that is no server.
TEST(TLS, UnCertificatQuiNEstPasDUnServeurNEstPasAppele)
{
    AvecCertificats ici;
    const ServeurTLS serveur(ici.toml);
    const ServeurTLS imposteur(
        fichierTOML(ici.certificats, reglagesTLS(ici.certificats, ici.certificats.emettre("autre client"))));
    orix::Configuration reglages = ici.reglagesClient;
    reglages[orix::cle::nomsServeurs] = {"secours", "serveur"};
    const std::vector<std::string> urls{imposteur.url(), serveur.url()};
    EXPECT_EQ(activer(reglages, urls), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_EQ(activer(reglages, urls, 2), orix::OXS_OK);
}

TEST(TLS, UnCertificatRevoqueNEntrePlusApresLaRelecture)
{
    AvecCertificats ici;
    const std::string revoque = ici.certificats.emettre("revoque");
    ServeurTLS serveur(
        fichierTOML(ici.certificats, ici.reglagesServeur,
                    "liste_revocation = \"" + ici.certificats.revoquer() + "\"\n[trace]\nniveau = 100\n"));
    EXPECT_EQ(serveur.demander(revoque), "");
    ici.certificats.revoquer(revoque);
    for (const char* dit : {"Fichiers TLS relus", "Fichiers TLS refusés"}) {
        serveur.signaler(SIGHUP);
        EXPECT_TRUE(serveur.attendreErreurs(dit));
        EXPECT_EQ(serveur.demander(revoque), "closed");
        EXPECT_EQ(serveur.demander(ici.certificatClient), "");
        ici.certificats.ecrire("revoques.pem", "ceci n'est pas une liste\n");
    }
}

// Each mistake in the files is told in one line that names the key, the file and what was expected, by the
// library as by the server, and by nobody else.
TEST(TLS, FichiersFaux)
{
    Certificats certificats;
    const Certificats autre;
    const std::string bon = certificats.emettre();
    const std::string secret = certificats.emettre([](Demande& d) { d.motDePasse = "sesame"; });
    const std::string dossier = bon.substr(0, bon.rfind('/'));
    const std::string ca = certificats.autorite();
    const std::string seulCertificat = certificats.ecrire("seul.pem", essais::lireFichier(ca));
    const std::string texte = certificats.ecrire("texte.pem", "ceci n'est pas un certificat\n");
    const auto partie = [](std::string pem, const char* fin) {
        return essais::lireFichier(pem.replace(pem.rfind('.'), std::string::npos, fin));
    };
    const std::string clePareille =
        certificats.ecrire("melange.pem", partie(bon, ".crt") + partie(certificats.emettre(), ".key"));
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
        {ca, certificats.emettre([](Demande& d) { d.fin = PASSE; }), "", "certificat", "certificat-",
         "expected a certificate that is still valid (it expired on Jan  1"},
        {ca, certificats.emettre([](Demande& d) { d.debut = "20980101000000Z"; }), "", "certificat",
         "certificat-", "expected a certificate that is already valid (it begins on Jan  1"},
        {ca, certificats.emettre([](Demande& d) { d.usages = "serverAuth"; }), "", "certificat",
         "certificat-", "serverAuth and clientAuth"},
        {ca, certificats.emettre([](Demande& d) { d.cle = "-newkey rsa:1024"; }), "", "certificat",
         "certificat-", "too"}, // "key too small", "too weak"
    };
    for (const auto& c : cas) {
        orix::Configuration configuration;
        configuration[orix::cle::certificatAutorite] = c.autorite;
        configuration[orix::cle::certificat] = c.certificat;
        configuration[orix::cle::motDePasse] = c.motDePasse;
        const std::string cle = "[tls] " + std::string(c.cle);
        testing::internal::CaptureStderr();
        const std::string dit = essais::demarrer(configuration);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_THAT(dit, AllOf(StartsWith("OXS_MAUVAISE_CONF: "), HasSubstr(cle + ": got "),
                               HasSubstr(c.fichier), HasSubstr(c.pourquoi), Not(HasSubstr("\n"))));

        Programme serveur(essais::cheminServeur(),
                          {"--base", certificats.ecrire("a.db", ""), "--port", "0", "--configuration",
                           fichierTOML(certificats, configuration)});
        EXPECT_EQ(serveur.attendreFin(), 2);
        EXPECT_THAT(serveur.erreurs(), MatchesRegex("cdv-serveur : [^\n]*\n"));
        EXPECT_THAT(serveur.erreurs(), AllOf(HasSubstr(cle + " : "), HasSubstr(c.fichier)));
    }

    // After all these, the right ones.
    orix::Configuration configuration = reglagesTLS(certificats, secret);
    configuration[orix::cle::motDePasse] = "sesame";
    EXPECT_EQ(essais::demarrer(configuration), "");
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
}
