// Where the lines of the traces go: receiver, file, a file that takes nothing, a reader that does not read.
#include "CapteurTraces.h"
#include "DossierTemporaire.h"
#include "orix/Processus.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <thread>

using namespace orix;
using std::chrono::milliseconds;
using testing::HasSubstr;

namespace {

OXstatut demarrer(const Configuration& configuration)
{
    int argc = 0;
    return initialiser(argc, nullptr, configuration);
}

} // namespace

TEST(Trace, LeFichierGardeLesLignesJusquAuSeuil)
{
    const essais::DossierTemporaire dossier;
    Configuration configuration;
    configuration.fichierTrace = dossier.fichier("trace.log");
    configuration.niveauTrace = NTO_REFUS;
    configuration.capaciteTrace = 0;
    ASSERT_EQ(demarrer(configuration), OXS_OK);
    trace()->tracer(NTO_NOTABLE, "Source", "fonction", 12, "notable é");
    std::ostringstream tout;
    tout << std::ifstream(configuration.fichierTrace).rdbuf(); // without waiting lines, it is there at once
    EXPECT_THAT(tout.str(), HasSubstr(" 100 Source:12 fonction - notable é\n"));
    trace()->tracer(5, NTO_REFUS, "Source", "fonction", 13, "refus");
    trace()->tracer(NTO_PROGRES, "Source", "fonction", 14, "progrès");
    EXPECT_EQ(terminer(), OXS_OK);
    tout.str("");
    tout << std::ifstream(configuration.fichierTrace).rdbuf();
    EXPECT_THAT(tout.str(), HasSubstr(" 300/5 Source:13 fonction - refus\n"));
    EXPECT_THAT(tout.str(), testing::Not(HasSubstr("progrès")));
}

TEST(Trace, UnDisquePleinNeFaitQuePerdreDesLignes)
{
    for (const std::size_t capacite : {0, 8192}) {
        Configuration configuration;
        configuration.fichierTrace = "/dev/full";
        configuration.capaciteTrace = capacite;
        configuration.niveauTrace = NTO_NOTABLE;
        ASSERT_EQ(demarrer(configuration), OXS_OK);
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
        configuration.fichierTrace = dossier.fichier("tuyau");
        configuration.niveauTrace = NTO_NOTABLE;
        ASSERT_EQ(mkfifo(configuration.fichierTrace.c_str(), 0600), 0);
        tuyau.reset(fopen(configuration.fichierTrace.c_str(), "r+"));
        ASSERT_NE(tuyau, nullptr);
    }
    void demarrerEtTracer(int lignes)
    {
        ASSERT_EQ(demarrer(configuration), OXS_OK);
        for (int i = 0; i < lignes; ++i)
            trace()->tracer(NTO_NOTABLE, "Source", "fonction", i, "ligne " + std::string(1000, 'x'));
    }
    std::string lire()
    {
        char ligne[2000] = "";
        EXPECT_NE(fgets(ligne, sizeof ligne, tuyau.get()), nullptr);
        return ligne;
    }

    const essais::DossierTemporaire dossier;
    Configuration configuration;
    std::unique_ptr<FILE, int (*)(FILE*)> tuyau{nullptr, &fclose};
};

TEST_F(SortieBloquee, NArretePersonneEtLesPertesSontDites)
{
    constexpr int LIGNES = 5000;
    configuration.capaciteTrace = 100;
    ASSERT_NO_FATAL_FAILURE(demarrerEtTracer(LIGNES));
    std::thread arret([] { EXPECT_EQ(terminer(), OXS_OK); });
    int ecrites = 0;
    int perdues = 0;
    while (ecrites + perdues < LIGNES && !HasFailure()) {
        const std::string ligne = lire();
        if (ligne.find("fonction - ligne ") != std::string::npos)
            ++ecrites;
        else if (const char* dit = strstr(ligne.c_str(), "ecrire - "))
            perdues += atoi(dit + strlen("ecrire - "));
    }
    EXPECT_EQ(ecrites + perdues, LIGNES);
    EXPECT_GT(perdues, 0);
    arret.join();
}

TEST_F(SortieBloquee, NeRetientPasLArret)
{
    constexpr int LIGNES = 1000;
    configuration.delaiAppel = milliseconds(20);
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
