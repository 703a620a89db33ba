// The process ends, in every way there is, while requests, notifications and pings are under way.
#include "SessionReelle.h"

using namespace essais;

namespace {

constexpr int STATUT_SIGTERM = 128 + SIGTERM;

struct Maniere
{
    const char* nom;
    int signal = SIGUSR1; ///< that orders the end
    int statut = 0;       ///< of the process
};
std::ostream& operator<<(std::ostream& flux, const Maniere& maniere) { return flux << maniere.nom; }

constexpr Maniere MANIERES[] = {
    {"everything"},
    {"destroy"},
    {"terminate"},
    {"terminateLate"},
    {"exit"},
    {"exitInCallback"},
    {"exitWhileCallbackBlocks"},
    {"return"},
    {"signalDefault", SIGTERM, STATUT_SIGTERM},
    {"signalHandler", SIGTERM},
};

class Arrets : public testing::TestWithParam<Maniere>
{
  protected:
    essais::DossierTemporaire _dossier;
    ServeurReel _serveur{_dossier.fichier("vols.db"), {"--periode-ping", "20", "--delai-ping", "20000"}};
    Programme _client{OXCDV_ARRETS, {_serveur.url(), GetParam().nom}};
};

TEST_P(Arrets, ProcessEndsWithoutCrashOrHang)
{
    ASSERT_TRUE(_client.attendreSortie("traffic flows")) << _client.erreurs();
    _client.signaler(GetParam().signal);
    EXPECT_EQ(_client.attendreFin(), GetParam().statut) << _client.erreurs(); // 128 + SIGALRM: it hung

    // The server has lost a client, and serves the next one.
    Programme suivant(OXCDV_ARRETS, {_serveur.url(), "everything"});
    ASSERT_TRUE(suivant.attendreSortie("traffic flows")) << suivant.erreurs();
    suivant.signaler(SIGUSR1);
    EXPECT_EQ(suivant.attendreFin(), 0) << suivant.erreurs();
}

/// What the end says when a server takes nothing in depends on what was inside the ORB; that it ends does
/// not.
TEST_P(Arrets, HungServerHoldsNobodyBack)
{
    ASSERT_TRUE(_client.attendreSortie("traffic flows")) << _client.erreurs();
    _serveur.signaler(SIGSTOP);
    _client.signaler(GetParam().signal);
    const int statut = _client.attendreFin();
    EXPECT_TRUE(statut == GetParam().statut || (statut == orix::OXS_NOK && GetParam().statut == 0))
        << statut << "\n"
        << _client.erreurs();
    _serveur.signaler(SIGCONT);
}

INSTANTIATE_TEST_SUITE_P(, Arrets, testing::ValuesIn(MANIERES),
                         [](const auto& cas) { return std::string(cas.param.nom); });

} // namespace
