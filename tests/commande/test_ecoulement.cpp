// Listings that go on past a loss, from a server that gives its records in another order each time.
#include "CdvEssais.h"
#include "Ecoulement.h"
#include "Essais.h"

using namespace outils;
using Sort = cdv::ServiceMemoire::Sort;

TEST(Ecoulement, ChaqueVolVientUneFoisDansQuelqueOrdreQueCeSoit)
{
    constexpr std::size_t VOLS = 100;
    constexpr cdv::Duree MINUTE{60000};
    const struct
    {
        const char* quoi;
        std::vector<Sort> sorts; ///< of the listings, one after the other
        Ecoulement::Reglages reglages;
        std::size_t ecrits;
        std::uint64_t pertes;
        int statut = FAIT;
    } cas[] = {
        {"nothing lost", {}, {0, VOLS + 1, MINUTE}, VOLS, 0},
        {"lost twice, once at once", {Sort::coupee(40), Sort::perdue()}, {0, VOLS + 1, MINUTE}, VOLS, 2},
        {"passed over", {Sort::coupee(40)}, {10, VOLS + 1, MINUTE}, VOLS - 10, 1},
        {"a limit", {Sort::coupee(40)}, {0, 50, MINUTE}, 50, 1},
        {"no patience", {Sort::coupee(40)}, {0, VOLS + 1, cdv::Duree(0)}, 40, 0, PERDU},
        {"refused", {Sort::coupee(40), Sort::refusee(4)}, {0, VOLS + 1, MINUTE}, 40, 1, REFUS},
        {"not sent", {Sort::nonPartie(orix::OXS_ERREUR_CORBA)}, {0, VOLS + 1, MINUTE}, 0, 0, PERDU},
    };
    for (const auto& c : cas) {
        SCOPED_TRACE(c.quoi);
        cdv::ServiceMemoire service;
        service.generer(VOLS, [&service, VOLS = VOLS](std::size_t n) {
            const std::size_t tour = service.demandes().size() % 2;
            return cdv::Vol{{"identifiant", std::to_string(tour == 0 ? n : VOLS - 1 - n)}};
        });
        for (const Sort& sort : c.sorts)
            service.prochaine(sort);
        cdv::Options options;
        options.delaiReprise = options.delaiRepriseMax = cdv::Duree(1);
        cdv::Session session(options);
        Interruption interruption;
        std::set<std::string> ecrits;
        const Ecoulement::Bilan bilan = Ecoulement(session, interruption, c.reglages)
                                            .executer({}, [&](const cdv::Vol& vol, std::uint64_t n) {
                                                EXPECT_TRUE(ecrits.emplace(*vol.lire("identifiant")).second)
                                                    << *vol.lire("identifiant");
                                                EXPECT_EQ(n, ecrits.size());
                                            });
        // A loss that comes before the call has returned takes along what came before it.
        EXPECT_TRUE(ecrits.size() == c.ecrits || (c.statut != FAIT && ecrits.empty())) << ecrits.size();
        EXPECT_EQ(bilan.pertes, c.pertes);
        EXPECT_EQ(bilan.echec ? bilan.echec->statut : FAIT, c.statut);
    }
}
