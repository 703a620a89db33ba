// The texts that traces show, and where their lines go: receiver, file, a file that takes nothing, a reader
// that does not read.
#include "CapteurTraces.h"
#include "Demarrage.h"
#include "DossierTemporaire.h"
#include "Transcription.h"
#include "orix/TexteSur.h"

#include <sys/stat.h>

using namespace orix;
using std::chrono::milliseconds;
using testing::HasSubstr;

namespace {

/// What an edge of the network may give as a name.
const std::string FAUSSE = "x\n2026-11-21 10:00:00.000000 1 100 Source:1 fonction - fausse\x1b[2J\xC2\x9B";
constexpr std::size_t LIGNE_MAX = 8192;

} // namespace

TEST(TexteSur, CeQuiAgiraitEstMontre)
{
    essais::rejouer("unit/textes.txt", [](auto&, auto& texte) {
        return texteSur(essais::octetsDe(texte.substr(0, texte.size() - 1)));
    });
    EXPECT_EQ(jsonSur("{\n  \"a\": \"é\xC2\x9B\x7F\xE2\x80\xAE\\u001b\"\n}"),
              "{\n  \"a\": \"é\\u009b\\u007f\\u202e\\u001b\"\n}");
}

TEST(TexteSur, UnTexteTropLongEstCoupeEtLeDit)
{
    EXPECT_EQ(texteSur(std::string(100, 'x'), 100), std::string(100, 'x'));
    for (const char* const motif : {"x", "é", "\n", "\xE9", "\xF0\x9F\x98\x80"}) {
        std::string texte;
        while (texte.size() < 1000)
            texte += motif;
        const std::string coupe = texteSur(texte, 200);
        EXPECT_LE(coupe.size(), 200u);
        EXPECT_GT(coupe.size(), 100u);
        const std::size_t suite = coupe.rfind("… (+");
        ASSERT_NE(suite, std::string::npos);
        // What stays and what is missing are the text, cut between two characters.
        const std::size_t manque = std::stoul(coupe.substr(suite + strlen("… (+")));
        EXPECT_EQ(texteSur(texte.substr(0, texte.size() - manque)), coupe.substr(0, suite));
    }
}

TEST(Trace, LeFichierGardeLesLignesJusquAuSeuil)
{
    const essais::DossierTemporaire dossier;
    Configuration configuration;
    configuration[orix::cle::fichierTrace] = dossier.fichier("trace.log");
    configuration[orix::cle::niveauTrace] = NTO_REFUS;
    configuration[orix::cle::capaciteTrace] = 0;
    umask(0); // as a program that asks for nothing
    ASSERT_EQ(essais::demarrer(configuration), "");
    struct stat infos
    {
    };
    ASSERT_EQ(stat(configuration[orix::cle::fichierTrace].c_str(), &infos), 0);
    EXPECT_EQ(infos.st_mode & 0777, 0640u);
    trace()->tracer(NTO_NOTABLE, "Source", "fonction", 12, "notable é");
    EXPECT_THAT(essais::lireFichier(configuration[orix::cle::fichierTrace]), // no line waits: it is there
                HasSubstr(" 100 Source:12 fonction - notable é\n"));
    trace()->tracer(5, NTO_REFUS, "Source", "fonction", 13, "refus");
    trace()->tracer(NTO_PROGRES, "Source", "fonction", 14, "progrès");
    EXPECT_EQ(terminer(), OXS_OK);
    EXPECT_THAT(
        essais::lireFichier(configuration[orix::cle::fichierTrace]),
        testing::AllOf(HasSubstr(" 300/5 Source:13 fonction - refus\n"), testing::Not(HasSubstr("progrès"))));
}

TEST(Trace, UnTexteVenuDailleursNeFaitQuUneLigne)
{
    const essais::DossierTemporaire dossier;
    Configuration configuration;
    configuration[orix::cle::fichierTrace] = dossier.fichier("trace.log");
    configuration[orix::cle::niveauTrace] = NTO_NOTABLE;
    ASSERT_EQ(essais::demarrer(configuration), "");
    ORIX_TRACE(NTO_NOTABLE, "Source", "fonction", "client " << FAUSSE);
    const std::string longue = FAUSSE + std::string(1 << 20, '\n');
    trace()->tracer(NTO_NOTABLE, longue, longue, 1, longue);
    EXPECT_EQ(terminer(), OXS_OK);
    std::ifstream fichier(configuration[orix::cle::fichierTrace]);
    std::vector<std::string> lignes;
    for (std::string ligne; std::getline(fichier, ligne);) {
        EXPECT_EQ(texteSur(ligne), ligne);
        EXPECT_LT(ligne.size(), LIGNE_MAX);
        lignes.push_back(ligne);
    }
    ASSERT_EQ(lignes.size(), 2u);
    EXPECT_THAT(lignes[0], testing::EndsWith("fonction - client " + texteSur(FAUSSE)));
    // A receiver may show its lines, too.
    essais::CapteurTraces traces;
    trace()->tracer(NTO_NOTABLE, "Source", "fonction", 1, FAUSSE);
    EXPECT_EQ(traces.prendre().at(0).message, texteSur(FAUSSE));
}

TEST(Trace, UnDisquePleinNeFaitQuePerdreDesLignes)
{
    for (const std::size_t capacite : {0, 8192}) {
        Configuration configuration;
        configuration[orix::cle::fichierTrace] = "/dev/full";
        configuration[orix::cle::capaciteTrace] = capacite;
        configuration[orix::cle::niveauTrace] = NTO_NOTABLE;
        ASSERT_EQ(essais::demarrer(configuration), "");
        for (int i = 0; i < 10; ++i)
            EXPECT_NO_THROW(trace()->tracer(NTO_NOTABLE, "Source", "fonction", 1, std::string(5000, 'x')));
        EXPECT_EQ(terminer(), OXS_OK);
    }
}

/// A process that traces into a pipe that nobody reads for now.
class SortieBloquee : public testing::Test
{
  protected:
    void SetUp() override
    {
        configuration[orix::cle::fichierTrace] = dossier.fichier("tuyau");
        configuration[orix::cle::niveauTrace] = NTO_NOTABLE;
        ASSERT_EQ(mkfifo(configuration[orix::cle::fichierTrace].c_str(), 0600), 0);
        tuyau.reset(fopen(configuration[orix::cle::fichierTrace].c_str(), "r+"));
        ASSERT_NE(tuyau, nullptr);
    }
    void demarrerEtTracer(int lignes, std::size_t taille = 1000)
    {
        ASSERT_EQ(essais::demarrer(configuration), "");
        for (int i = 0; i < lignes; ++i)
            trace()->tracer(NTO_NOTABLE, "Source", "fonction", i, "ligne " + std::string(taille, 'x'));
    }
    std::string lire()
    {
        char ligne[LIGNE_MAX + 1] = "";
        EXPECT_NE(fgets(ligne, sizeof ligne, tuyau.get()), nullptr);
        return ligne;
    }

    const essais::DossierTemporaire dossier;
    Configuration configuration;
    std::unique_ptr<FILE, int (*)(FILE*)> tuyau{nullptr, &fclose};
};

/// Lines of that length, of which so many may wait.
struct Deluge
{
    std::size_t capacite;
    std::size_t taille;
    std::size_t octetsMax; ///< of those that waited
};

class SortieDebordee : public SortieBloquee, public testing::WithParamInterface<Deluge>
{
};

// Too many lines, then too many bytes: what is allowed by number would be 40 MB.
INSTANTIATE_TEST_SUITE_P(, SortieDebordee,
                         testing::Values(Deluge{100, 1000, 200 * 1100},
                                         Deluge{100000, 8000, (std::size_t{16} << 20) + 200000}));

TEST_P(SortieDebordee, NArretePersonneEtLesPertesSontDites)
{
    constexpr int LIGNES = 5000;
    configuration[orix::cle::capaciteTrace] = static_cast<int>(GetParam().capacite);
    ASSERT_NO_FATAL_FAILURE(demarrerEtTracer(LIGNES, GetParam().taille));
    std::thread arret([] { EXPECT_EQ(terminer(), OXS_OK); });
    int ecrites = 0;
    int perdues = 0;
    std::size_t octets = 0;
    while (ecrites + perdues < LIGNES && !HasFailure()) {
        const std::string ligne = lire();
        octets += ligne.size();
        if (ligne.find("fonction - ligne ") != std::string::npos)
            ++ecrites;
        else if (const char* dit = strstr(ligne.c_str(), "ecrire - "))
            perdues += atoi(dit + strlen("ecrire - "));
    }
    EXPECT_EQ(ecrites + perdues, LIGNES);
    EXPECT_GT(perdues, 0);
    EXPECT_LE(octets, GetParam().octetsMax);
    arret.join();
}

TEST_F(SortieBloquee, NeRetientPasLArret)
{
    constexpr int LIGNES = 1000;
    configuration[orix::cle::delaiAppel] = milliseconds(20);
    ASSERT_NO_FATAL_FAILURE(demarrerEtTracer(LIGNES));
    EXPECT_EQ(terminer(), OXS_NOK);
    // The lines that waited come once somebody reads.
    const std::string derniere = "Source:" + std::to_string(LIGNES - 1) + " ";
    while (lire().find(derniere) == std::string::npos && !HasFailure()) {
    }
}

TEST(Trace, LeRecepteurPeutTracerEtSeRetirer)
{
    std::vector<std::string> lues;
    const essais::EcouteTraces ecoute([&](const LigneTrace& ligne) {
        lues.push_back(ligne.message);
        if (ligne.message == "une")
            trace()->tracer(NTO_NOTABLE, "Source", "fonction", 2, "autre");
        else
            trace()->definirRecepteur({});
    });
    trace()->tracer(NTO_NOTABLE, "Source", "fonction", 1, "une");
    trace()->tracer(NTO_NOTABLE, "Source", "fonction", 1, "perdue");
    EXPECT_THAT(lues, testing::ElementsAre("une", "autre"));
    trace()->definirRecepteur([](const LigneTrace&) { throw 5; });
    EXPECT_THROW(trace()->tracer(NTO_NOTABLE, "Source", "fonction", 1, "levée"), int);
}
