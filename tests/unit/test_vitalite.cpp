#include "Transcription.h"
#include "orix/interne/Vitalite.h"

using namespace std::chrono_literals;
using orix::Vitalite;

/// On a clock that starts at 0, with pings every 10 units that are missed after 4, twice in a row. A word of
/// vitalite.txt is an instant and what happens then; what comes of it is what each examination gave: wait
/// (.), ping (P) or lost (!), and when to look again.
TEST(Vitalite, ChaqueHistoireASonVerdict)
{
    essais::rejouer("unit/vitalite.txt", [](const std::string&, const std::string& histoire) {
        Vitalite vitalite({10ms, 4ms, 2}, Vitalite::Instant(10ms));
        std::string actions;
        unsigned long activite = 0;
        std::istringstream mots(histoire);
        char quoi = ' ';
        for (int temps = 0; mots >> temps >> quoi;) {
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
        return actions + " " +
               (vitalite.echeance() == Vitalite::Instant::min()
                    ? "at once"
                    : std::to_string(vitalite.echeance().time_since_epoch() / 1ms));
    });
}
