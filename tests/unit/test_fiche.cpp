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
    std::string octets;
    for (const Vol& vol : {volPlein("B"), court}) {
        cdrMemoryStream flux(0, /*clearMemory*/ true);
        vol >>= flux;
        octets.assign(static_cast<const char*>(flux.bufPtr()), flux.bufSize());
        chaqueAlteration(octets, comparer);
    }
    comparer(avecListes(octets, 6, 10)); // as many as there may be
    const int refuseesAvant = refusees;
    comparer(avecListes(octets, 7, 10));
    comparer(avecListes(octets, 6, 11));
    EXPECT_EQ(refusees, refuseesAvant + 2);
    EXPECT_GT(lues, 100);
    EXPECT_GT(refusees, 1000);
}
