#include "orix/interne/Vitalite.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::chrono_literals;
using orix::Vitalite;

namespace {

/// Plays a scenario on a clock that starts at 0, with pings every 10 units that are missed after 4, twice in
/// a row. Each word is an instant, then what happens: "e": examined, "a": examined after a message came, "r":
/// the ping is answered, "m": it fails, "M": it fails after a message came, "n": the peer disowns it. Returns
/// what each examination gave, one letter each.
std::string jouer(std::initializer_list<std::pair<int, char>> evenements)
{
    Vitalite vitalite({10ms, 4ms, 2}, Vitalite::Instant(10ms));
    std::string actions;
    unsigned long activite = 0;
    for (const auto& [temps, quoi] : evenements) {
        activite += quoi == 'a' || quoi == 'M';
        if (quoi == 'r')
            vitalite.repondre();
        else if (quoi == 'm' || quoi == 'M')
            vitalite.manquer(activite);
        else if (quoi == 'n')
            vitalite.renier();
        else
            actions += ".P!"[static_cast<int>(
                vitalite.examiner(Vitalite::Instant(std::chrono::milliseconds(temps)), activite))];
    }
    return actions;
}

} // namespace

TEST(Vitalite, ChaqueHistoireASonVerdict)
{
    const struct
    {
        const char* quoi;
        std::initializer_list<std::pair<int, char>> evenements;
        const char* actions; // '.': wait, 'P': ping, '!': lost
    } cas[] = {
        {"the first ping waits for its time, the next for its own",
         {{0, 'e'}, {9, 'e'}, {10, 'e'}, {11, 'r'}, {19, 'e'}, {20, 'e'}},
         "..P.P"},
        {"two misses in a row", {{10, 'e'}, {13, 'e'}, {14, 'e'}, {20, 'e'}, {24, 'e'}, {30, 'e'}}, "P..P!!"},
        {"two failures in a row", {{10, 'e'}, {11, 'm'}, {20, 'e'}, {21, 'm'}, {22, 'e'}}, "PP!"},
        {"an answer between two misses",
         {{10, 'e'}, {14, 'e'}, {20, 'e'}, {21, 'r'}, {30, 'e'}, {34, 'e'}, {35, 'e'}},
         "P.PP.."},
        {"a message excuses the ping that is out",
         {{10, 'e'}, {14, 'e'}, {20, 'e'}, {22, 'a'}, {24, 'e'}, {30, 'e'}, {34, 'e'}, {35, 'e'}},
         "P.P..P.."},
        {"a message between two pings breaks the row",
         {{10, 'e'}, {14, 'e'}, {16, 'a'}, {20, 'e'}, {24, 'e'}},
         "P..P."},
        {"a message seen only at the deadline, or with the failure",
         {{10, 'e'}, {14, 'e'}, {20, 'e'}, {24, 'a'}, {30, 'e'}, {31, 'M'}, {40, 'e'}, {44, 'e'}},
         "P.P.PP."},
        {"a failure after the deadline counts once",
         {{10, 'e'}, {14, 'e'}, {15, 'm'}, {16, 'e'}, {20, 'e'}},
         "P..P"},
        {"an answer after the deadline proves life",
         {{10, 'e'}, {14, 'e'}, {15, 'r'}, {20, 'e'}, {24, 'e'}, {30, 'e'}},
         "P.P.P"},
        {"disowned, whatever comes after", {{10, 'e'}, {11, 'n'}, {12, 'a'}, {13, 'r'}, {14, 'e'}}, "P!!"},
    };
    for (const auto& [quoi, evenements, actions] : cas)
        EXPECT_EQ(jouer(evenements), actions) << quoi;
}

TEST(Vitalite, LEcheanceEstCelleDuProchainChangement)
{
    Vitalite vitalite({10ms, 4ms, 1}, Vitalite::Instant(10ms));
    EXPECT_EQ(vitalite.echeance(), Vitalite::Instant(10ms));
    vitalite.examiner(Vitalite::Instant(11ms), 0);
    EXPECT_EQ(vitalite.echeance(), Vitalite::Instant(15ms));
    vitalite.repondre();
    EXPECT_EQ(vitalite.echeance(), Vitalite::Instant(21ms));
    vitalite.examiner(Vitalite::Instant(21ms), 0);
    vitalite.manquer(0);
    EXPECT_EQ(vitalite.echeance(), Vitalite::Instant::min());
}
