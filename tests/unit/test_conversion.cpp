// The record on the wire and in the logs: both must stay what servers and readers know.

#include "CapteurTraces.h"
#include "LecturesVol.h"
#include "LiaisonORB.h"
#include "OXvol_completDataC.h"
#include "PanneMemoire.h"
#include "Transcription.h"
#include "VolsEssai.h"
#include "VueVolComplet.h"

using namespace essais;
using testing::ElementsAre;

namespace {

/// Strings cross in the ORB's native code set: it must be up.
class Fil : public testing::Test
{
    void TearDown() override { _orb->destroy(); }

    int _argc = 0;
    const CORBA::ORB_var _orb = orix::orb::creerORB(_argc, nullptr, {});
};

std::string dump(const OXvol_completData& vol) { return testing::PrintToString(vol); }

/// What the other side reads.
template <class T>
T aTraversLeFil(const T& envoye)
{
    cdrMemoryStream flux;
    envoye >>= flux;
    flux.rewindInputPtr();
    T recu;
    recu <<= flux;
    return recu;
}

} // namespace

TEST_F(Fil, UnEnregistrementPleinTraverseInchange)
{
    std::string octets; // all that a text can hold
    for (int octet = 1; octet < 256; ++octet)
        octets += static_cast<char>(octet);
    auto vol = volComplet();
    vol->ecrire_gadresse_mode_S(OXdupliqueChaine(octets.c_str()));
    while (vol->nombre_rub_chgt() < OXvol_completData::MAX_RUB_CHGT)
        vol->ajouter_rub_chgt(rubChgt(octets.c_str()));
    while (vol->nombre_point() < OXvol_completData::MAX_POINT)
        vol->ajouter_point(const_cast<char*>(octets.c_str()));

    const OXvol_completData_v3_0_0 fil = aTraversLeFil(vol->construireObjetSpecifique_v3_0_0());
    // Each member under its own name, whatever the order of the table.
#define TEXTE(nom) EXPECT_STREQ(fil.m_##nom, vol->m_##nom);
#define CODE_STAT(nom)                                                                                       \
    ASSERT_EQ(fil.m_##nom.length(), 1u);                                                                     \
    EXPECT_STREQ(fil.m_##nom[0].m_gcode, #nom);                                                              \
    EXPECT_STREQ(fil.m_##nom[0].m_gheure_chgt, "__PtrNULL__");
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    EXPECT_EQ(fil.m_trub_chgt.length(), 6u);
    EXPECT_STREQ(fil.m_trub_chgt[0].m_grubrique, "piste");
    EXPECT_EQ(fil.m_tpoint.length(), 10u);
    EXPECT_STREQ(fil.m_tpoint[9], octets.c_str());

    EXPECT_EQ(dump(OXvol_completData(fil)), dump(*vol));
}

TEST_F(Fil, UnAnyRendLEnregistrementSousSonTypeCode)
{
    SeqOXvol_completData_v3_0_0 envoyes;
    envoyes.length(1);
    envoyes[0] = volComplet()->construireObjetSpecifique_v3_0_0();
    CORBA::Any any;
    any <<= envoyes;
    const CORBA::Any recu = aTraversLeFil(any);
    const SeqOXvol_completData_v3_0_0* extraits = nullptr;
    ASSERT_TRUE(recu >>= extraits);
    EXPECT_EQ(dump(OXvol_completData((*extraits)[0])), dump(OXvol_completData(envoyes[0])));

#define TYPE(nom) EXPECT_STREQ(_tc_##nom->id(), "IDL:" #nom ":1.0");
    TYPE(OXvol_completData_v3_0_0)
    TYPE(SeqOXvol_completData_v3_0_0)
    TYPE(SeqTabOXvol_completData_m_trub_chgt_v3_0_0)
    TYPE(SeqTabOXvol_completData_m_tpoint)
    TYPE(SeqOXcode_statData_v3_0_0)
    TYPE(OXcci_rub_chgtData_v3_0_0)
    EXPECT_EQ(_tc_OXvol_completData_v3_0_0->member_count(), 59u);
}

TEST_F(Fil, LeMarqueurTientLieuDesTextesNuls)
{
    const OXvol_completData_v3_0_0 vide = OXvol_completData().construireObjetSpecifique_v3_0_0();
#define TEXTE(nom) EXPECT_STREQ(vide.m_##nom, "__PtrNULL__");
#define CODE_STAT(nom) EXPECT_EQ(vide.m_##nom.length(), 0u);
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    EXPECT_EQ(vide.m_trub_chgt.length(), 0u);
    EXPECT_EQ(vide.m_tpoint.length(), 0u);
    EXPECT_EQ(dump(OXvol_completData(vide)), dump(OXvol_completData()));

    EXPECT_THROW(OXvol_completData_v3_0_0(vide).m_pcode_stat_depart.length(2), CORBA::SystemException);

    const auto plein = volComplet();
    EXPECT_GE(essais::chaquePanne([&] { plein->construireObjetSpecifique_v3_0_0(); }), 55);
    const OXvol_completData_v3_0_0 filPlein = plein->construireObjetSpecifique_v3_0_0();
    EXPECT_EQ(essais::chaquePanne([&] { const OXvol_completData recu(filPlein); }), 1 + 2 + 2);

    // Only the whole marker means null, and only in the fields.
    OXvol_completData_v3_0_0 fil(vide);
    fil.m_gpiste = "__PtrNULL__ ";
    fil.m_gparking = "";
    fil.m_gpkdep = "__PtrNULL_";
    fil.m_tpoint.length(1);
    fil.m_tpoint[0] = "__PtrNULL__";
    fil.m_pcode_stat_arrivee.length(1);
    fil.m_pcode_stat_arrivee[0].m_gcode = "__PtrNULL__";
    const OXvol_completData vol(fil);
    EXPECT_STREQ(vol.m_gpiste, "__PtrNULL__ ");
    EXPECT_STREQ(vol.m_gparking, "");
    EXPECT_STREQ(vol.m_gpkdep, "__PtrNULL_");
    EXPECT_STREQ(vol.lire_point(0), "__PtrNULL__");
    EXPECT_EQ(vol.m_pcode_stat_depart, nullptr);
    ASSERT_NE(vol.m_pcode_stat_arrivee, nullptr);
    EXPECT_EQ(vol.m_pcode_stat_arrivee->m_gcode, nullptr);
    EXPECT_STREQ(vol.m_pcode_stat_arrivee->m_glibelle, "");
    EXPECT_EQ(vol.lireVersion(), std::vector<orix::OXversion>{orix::OXversion(3, 0, 0, 0)});
}

TEST_F(Fil, LesEntreesNullesDUnTableauNArretentRien)
{
#define NUL(nom) nullptr,
    const OXvol_completData vol(
        OXVOL_COMPLET_CHAMPS(NUL, NUL) 2, new OXcci_rub_chgtData* [2] { nullptr, rubChgt("piste") }, 2,
        new char* [2] { OXdupliqueChaine("AGEN"), nullptr });
#undef NUL
    CapteurTraces capteur;
    const OXvol_completData_v3_0_0 fil = vol.construireObjetSpecifique_v3_0_0();
    const VueVolComplet vue(vol); // lent or copied, it is the same conversion
    const OXvol_completData retour(fil);
    std::string texte;
    for (const std::string& ligne : capteur.prendreLignes("OXvol_completData"))
        texte += ligne + "\n";
    essais::comparerTranscription("unit/entrees_nulles.txt", texte);
    EXPECT_STREQ(fil.m_tpoint[1], "");
    EXPECT_STREQ(fil.m_trub_chgt[0].m_grubrique, "");
    EXPECT_STREQ(fil.m_trub_chgt[1].m_grubrique, "piste");
    EXPECT_STREQ(retour.lire_point(1), "");
    EXPECT_FALSE(dump(vol).empty());
}

// Whatever the octets are: where they stand or by the ORB, it is the same record, or the same refusal.
TEST_F(Fil, LesDeuxLecturesDisentLaMemeChose)
{
    OXvol_completData partiel;
    partiel.ecrire_gpiste(OXdupliqueChaine(""));
    partiel.ajouter_point(const_cast<char*>("__PtrNULL__"));
    const auto plein = volComplet();
    int lus = 0;
    int refuses = 0;
    const auto comparer = [&](const std::string& octets) {
        if (HasFailure())
            return;
        const essais::OctetsVol vol(octets.data(), octets.size());
        const essais::VolLu lecture = vol.lireSurPlace();
        EXPECT_EQ(lecture, vol.lireParLORB());
        ++(lecture.texte.empty() ? refuses : lus);
    };
    for (OXvol_completData* const vol : {plein.get(), &partiel}) {
        cdrMemoryStream flux(0, /*clearMemory*/ true);
        vol->construireObjetSpecifique_v3_0_0() >>= flux;
        const std::string octets(static_cast<const char*>(flux.bufPtr()), flux.bufSize());
        EXPECT_EQ(essais::OctetsVol(octets.data(), octets.size()).lireSurPlace().texte, dump(*vol));
        essais::chaqueAlteration(octets, comparer);
        const essais::OctetsVol aLire(octets.data(), octets.size());
        EXPECT_GE(essais::chaquePanne([&] { aLire.faireSurPlace(); }), 2);
    }
    cdrMemoryStream flux(0, /*clearMemory*/ true);
    OXvol_completData().construireObjetSpecifique_v3_0_0() >>= flux;
    const std::string vide(static_cast<const char*>(flux.bufPtr()), flux.bufSize());
    comparer(essais::avecListes(vide, 6, 10)); // as many as there may be
    const int refusesAvant = refuses;
    comparer(essais::avecListes(vide, 7, 10));
    comparer(essais::avecListes(vide, 6, 11));
    EXPECT_EQ(refuses, refusesAvant + 2);
    EXPECT_GT(lus, 100);
    EXPECT_GT(refuses, 1000);
}

TEST_F(Fil, UneVueSEnvoieCommeLObjetPuisRendTout)
{
    const auto plein = volComplet();
    OXvol_completData partiel;
    partiel.ecrire_gpiste(OXdupliqueChaine(""));
    partiel.ajouter_point(const_cast<char*>("AGEN"));
    for (OXvol_completData* const vol : {plein.get(), &partiel}) {
        // What the other side reads: the bytes themselves hold the ORB's padding.
        const OXvol_completData attendu(aTraversLeFil(vol->construireObjetSpecifique_v3_0_0()));
        const std::string avant = dump(*vol);
        // Stopped half-way it gives back what it has: whatever were left would be freed twice.
        essais::chaquePanne([&] {
            const VueVolComplet vue(*vol);
            const VueVolComplet pendant(*vol);
        });
        EXPECT_EQ(dump(OXvol_completData(aTraversLeFil(VueVolComplet(*vol).lire()))), dump(attendu));
        EXPECT_EQ(dump(*vol), avant);
    }
    EXPECT_EQ(essais::chaquePanne([&] { const VueVolComplet vue(partiel); }), 0) << "texts are lent";
}

TEST(Dump, EnregistrementPartiel)
{
    OXvol_completData vol;
    vol.ecrire_gidentifiant(OXdupliqueChaine("AF1234"));
    vol.ecrire_gpiste(OXdupliqueChaine(""));
    vol.ecrire_pcode_stat_arrivee(
        new OXcode_statData(OXdupliqueChaine("EST"), nullptr, OXdupliqueChaine("1012")));
    vol.ajouter_rub_chgt(
        new OXcci_rub_chgtData(OXdupliqueChaine("parking"), nullptr, OXdupliqueChaine("B7")));
    vol.ajouter_point(const_cast<char*>("AGEN"));
    vol.ajouter_point(const_cast<char*>(""));

    const std::string attendu = dump(vol);
    essais::comparerTranscription("unit/dump.txt", attendu);
    std::size_t place = 0;
    for (CORBA::ULong i = 0; i < 57; ++i) // in wire order, whatever that of the table
        EXPECT_NE(place = attendu.find(
                      _tc_OXvol_completData_v3_0_0->member_name(i) + std::string(" v3.0.0 : "), place),
                  std::string::npos)
            << i;
    std::ostringstream autre; // the numbers are the record's own, whatever the stream does with others
    autre << std::hex << std::showbase << std::showpos;
    const auto format = autre.flags();
    autre << vol;
    EXPECT_EQ(autre.str(), attendu);
    EXPECT_EQ(autre.flags(), format);

    CapteurTraces capteur;
    EXPECT_EQ(dump(vol), attendu);
    // The version is looked up twice; nothing else is traced.
    EXPECT_THAT(capteur.prendreTextes(), ElementsAre("900 Entrée.", "900 Version(s) 3.0.0.0", "900 Sortie.",
                                                     "900 Entrée.", "900 Version(s) 3.0.0.0", "900 Sortie."));

    testing::internal::CaptureStdout();
    vol.trace();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              " === ORIX DATA === OXvol_completData::trace\n" + attendu);
}
