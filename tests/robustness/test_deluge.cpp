// Many more notifications than a slow application takes.
#include "CapteurTraces.h"
#include "EtatProcessus.h"
#include "SessionReelle.h"

using namespace essais;

namespace {

constexpr int VOLS = 10000;
constexpr int LISTES =
    essais::MEMOIRE_MESURABLE ? 20 : 4; // 200,000 records in all; a sanitizer takes its time
constexpr int LENTS = 5000;
constexpr std::size_t CAPACITE = 1000;
constexpr std::size_t OCTETS = 1000; // of the record's long text

// A waiting call holds a record and its text. Beside the queue: what the ORB reads and unmarshals at a time,
// and the thread that runs the callbacks.
constexpr long LIMITE_KO = static_cast<long>(CAPACITE * (OCTETS + 3 * 1024) / 1024) + 8 * 1024;

std::string identifiant(int rang) { return "V" + std::to_string(100000 + rang); }

class Deluge : public essais::SessionReelle
{
  protected:
    Deluge() : SessionReelle(reglagesVifs([](auto& r) { r[orix::cle::capaciteFileCB] = CAPACITE; })) {}
};

} // namespace

TEST_F(Deluge, DeuxCentMilleNotificationsUneFoisEtDansLOrdre)
{
    // The listings as they come: one after another, each whole and in order.
    std::vector<int> listes; // this and what follows belong to the callback thread
    int recus = 0;
    bool conclu = false;
    std::promise<int> fin; // how many came until the last one, or the first wrong one
    _callbacks.pendant = [&](const Appel& appel, OXvol_completData*) {
        if (_callbacks.garder || conclu)
            return;
        if (recus < LENTS)
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // an application at work
        const int rang = recus++ % (VOLS + 1);
        if (rang == 0)
            listes.push_back(appel.idOp);
        const bool attendu =
            rang < VOLS ? appel.nom == "liste_vol_completCB" && appel.identifiant == identifiant(rang)
                        : appel.nom == "fin_liste_vol_completCB" && appel.statut == 0;
        conclu = !attendu || appel.idOp != listes.back() || recus == LISTES * (VOLS + 1);
        if (conclu)
            fin.set_value(recus);
    };
    const std::string actif = activer();
    const std::string remplissage(OCTETS, 'x');
    std::vector<int> creations;
    for (int i = 0; i < VOLS; ++i) {
        const auto donnees = vol(identifiant(i));
        donnees->ecrire_gtrtspec(OXdupliqueChaine(remplissage.c_str()));
        creations.push_back(envoyer(&OXcdvCliItf::cree_vol_complet, *donnees));
    }
    for (const int numero : creations) {
        const Appel appel = _callbacks.attendre();
        ASSERT_EQ(appel.idOp, numero);
        ASSERT_EQ(appel.statut, 0);
    }

    _callbacks.garder = false;
    const long avant = essais::memoire::residente();
    essais::memoire::oublierPic();
    std::atomic<int> pingsManques{0};
    {
        const essais::SurTrace manque(
            "Pas de réponse au ping", [&] { ++pingsManques; }, orix::NTO_REFUS);
        std::vector<int> numeros;
        for (int i = 0; i < LISTES; ++i)
            numeros.push_back(envoyer(&OXcdvCliItf::liste_vol_complet, *vol("V*")));
        std::future<int> total = fin.get_future();
        ASSERT_EQ(total.wait_for(std::chrono::seconds(100)), std::future_status::ready);
        EXPECT_EQ(total.get(), LISTES * (VOLS + 1));
        EXPECT_EQ(listes, numeros);
    }
    const long pic = essais::memoire::pic();
    // The client's pings were all answered; and so were those of the server, which otherwise would have
    // dropped a client that sent nothing else for seconds.
    EXPECT_EQ(pingsManques, 0);
    EXPECT_EQ(serveur(actif).erreurs().find("parti"), std::string::npos) << serveur(actif).erreurs();
    if (essais::MEMOIRE_MESURABLE) {
        EXPECT_LT(pic - avant, LIMITE_KO);
    }
    _callbacks.garder = true;
    const Appel creation = demander(&OXcdvCliItf::cree_vol_complet, *vol("apres"));
    EXPECT_EQ(creation.statut, 0);
}
