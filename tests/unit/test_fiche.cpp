// Records between the wire and the server's block.
#include "LecturesVol.h"
#include "MagasinEssai.h"

using namespace essais;

/// Read where it stands in a message, a record is what the ORB makes of it, and what it refuses is refused.
TEST(Fiche, LesDeuxLecturesDisentLaMemeChose)
{
    contenu(Fiche(volNul())); // the ORB is there
    int lues = 0;
    int refusees = 0;
    const auto comparer = [&](const std::string& octets) {
        if (HasFailure())
            return;
        const OctetsVol vol(octets.data(), octets.size());
        const VolLu lecture = vol.lire([](cdrStream& flux) {
            orix::orb::LecteurRequete lecteur(flux);
            EXPECT_TRUE(lecteur.estSurPlace());
            return contenu(Fiche(TextesVol(lecteur)));
        });
        EXPECT_EQ(lecture, vol.lireParLORB());
        ++(lecture.texte.empty() ? refusees : lues);
    };
    Vol court = volNul("A");
    court.m_gpiste = "";
    for (const Vol& vol : {volPlein("B"), court}) {
        cdrMemoryStream flux(0, /*clearMemory*/ true);
        vol >>= flux;
        chaqueAlteration({static_cast<const char*>(flux.bufPtr()), flux.bufSize()}, comparer);
    }
    EXPECT_GT(lues, 100);
    EXPECT_GT(refusees, 1000);
}
