#include "CapteurTraces.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "ServeurEssai.h"
#include "orix/OXchaine.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"

#include <gmock/gmock.h>

#include <functional>
#include <new>

using namespace orix;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

struct Requete
{
    const char* nom;
    OXstatut (*envoyer)(OXvol_completData*, int&) noexcept;
};
const Requete REQUETES[] = {{"cree_vol_complet", &OXcdvCliItf::cree_vol_complet},
                            {"modifie_vol_complet", &OXcdvCliItf::modifie_vol_complet},
                            {"supprime_vol_complet", &OXcdvCliItf::supprime_vol_complet},
                            {"consulte_vol_complet", &OXcdvCliItf::consulte_vol_complet},
                            {"liste_vol_complet", &OXcdvCliItf::liste_vol_complet}};

std::string signature(const std::string& nom)
{
    return "static orix::OXstatut OXcdvCliItf::" + nom + "(OXvol_completData*, int&)";
}

/// The lines of one source: "level function: text".
std::vector<std::string> lignesDe(essais::CapteurTraces& traces, const std::string& fichier)
{
    std::vector<std::string> textes;
    for (const LigneTrace& ligne : traces.prendre())
        if (ligne.fichier == fichier)
            textes.push_back(std::to_string(ligne.niveau) + " " + ligne.fonction + ": " + ligne.message);
    return textes;
}

class Facade : public essais::AvecNoyau
{
  protected:
    OXvol_completData vol;
    char service[4] = "cdv";
};

class FacadeSansNoyau : public Facade
{
  protected:
    void SetUp() override { callbacks.oublier(); }
};

TEST_F(FacadeSansNoyau, EverythingIsRefusedWithItsStatus)
{
    EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, OXcdvCliItf::active(service));
    EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, OXcdvCliItf::desactive());
    essais::CapteurTraces traces;
    for (const Requete& requete : REQUETES) {
        int idOp = -5;
        EXPECT_EQ(OXS_NOYAU_NON_INITIALISE, requete.envoyer(&vol, idOp));
        EXPECT_EQ(-5, idOp);
        // Of the adapter, not even its entry.
        EXPECT_THAT(traces.prendreTextes(), ElementsAre("700 Entrée/Sortie."));
    }
}

TEST_F(Facade, RequestsNeedAnActiveService)
{
    OXcdvCliItf::lireVersionsConnues(); // the client exists
    for (const Requete& requete : REQUETES) {
        essais::CapteurTraces traces;
        int idOp = -5;
        EXPECT_EQ(OXS_SERVICE_NON_ACTIVE, requete.envoyer(&vol, idOp));
        EXPECT_EQ(-5, idOp);
        const auto lignes = traces.prendre();
        ASSERT_EQ(5u, lignes.size());
        EXPECT_EQ(signature(requete.nom), lignes[0].fonction);
        EXPECT_EQ("Entrée/Sortie.", lignes[0].message);
        EXPECT_EQ("Entrée.", lignes[1].message);
        EXPECT_EQ("Opération non permise car le client n'est pas activé.", lignes[3].message);
        EXPECT_EQ(NTO_REFUS, lignes[3].niveau);
        EXPECT_EQ("verifierActivation", lignes[3].fonction);
        EXPECT_EQ("Exception Echec, code = 23 (OXS_SERVICE_NON_ACTIVE)", lignes[4].message);
        EXPECT_EQ(signature(requete.nom), lignes[4].fonction);
        EXPECT_EQ(NTO_REFUS, lignes[4].niveau);
    }
}

TEST_F(Facade, RequestsCarryTheirNumberAndTheClients)
{
    premier.numeroClient = 42;
    activer();
    vol.ecrire_gidentifiant(OXdupliqueChaine("VOL-1"));
    int precedent = 0;
    for (const Requete& requete : REQUETES) {
        essais::CapteurTraces traces;
        int idOp = 0;
        EXPECT_EQ(OXS_OK, requete.envoyer(&vol, idOp));
        EXPECT_GT(idOp, precedent);
        precedent = idOp;
        EXPECT_EQ((essais::Message{requete.nom, idOp, 42, "VOL-1"}), premier.service.attendre());
        const std::string nom = requete.nom;
        const std::string adaptateur =
            "orix::OXstatut orix::OXcdvCliItfAdaptateur::" + nom + "(OXvol_completData*, int&)";
        const auto lignes = lignesDe(traces, "OXcdvCliItfAdaptateur");
        ASSERT_EQ(5u, lignes.size());
        EXPECT_EQ("700 " + adaptateur + ": Entrée.", lignes[0]);
        EXPECT_EQ("100 " + nom + ": Envoi d'un message " + nom + " en version v3_0_0.", lignes[3]);
        EXPECT_EQ("700 " + adaptateur + ": Sortie.", lignes[4]);
    }
}

TEST_F(Facade, RequestsThatCannotBeSent)
{
    int idOp = -5;
    activer();
    EXPECT_EQ(OXS_NOK, OXcdvCliItf::cree_vol_complet(nullptr, idOp));
    EXPECT_EQ(-5, idOp);
    EXPECT_TRUE(oxcdvCliItfAdaptateur()->estActive());

    premier.service.retirer();
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_ERREUR_CORBA, OXcdvCliItf::cree_vol_complet(&vol, idOp));
    EXPECT_THAT(lignesDe(traces, "OXcdvCliItf"),
                ElementsAre("700 " + signature("cree_vol_complet") + ": Entrée/Sortie.",
                            StartsWith("300 " + signature("cree_vol_complet") +
                                       ": Exception CORBA : IDL:omg.org/CORBA/")));
}

TEST_F(Facade, AServerWithoutReferenceConsumesANumber)
{
    premier.sansReference = true;
    activer();
    for (const Requete& requete : REQUETES) {
        essais::CapteurTraces traces;
        int premierNumero = 0;
        int deuxiemeNumero = 0;
        EXPECT_EQ(OXS_NOK, requete.envoyer(&vol, premierNumero));
        EXPECT_EQ(OXS_NOK, requete.envoyer(&vol, deuxiemeNumero));
        EXPECT_GT(premierNumero, 0);
        EXPECT_EQ(premierNumero + 1, deuxiemeNumero);
        EXPECT_EQ(2, traces.compter("Sortie en erreur, proxy non initialise"));
    }
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_NOK, OXcdvCliItf::desactive());
    EXPECT_EQ(1, traces.compter("La référence n'est pas du type Serveur."));
    EXPECT_TRUE(oxcdvCliItfAdaptateur()->estActive());
}

TEST_F(Facade, Versions)
{
    EXPECT_EQ(VERSION_NULLE, OXcdvCliItf::lireVersion());
    EXPECT_THAT(OXcdvCliItf::lireVersionsConnues(), ElementsAre(OXversion(3, 0, 0, 0)));
    EXPECT_EQ(OXS_OK, OXcdvCliItf::active(service));
    EXPECT_EQ(OXS_OK, callbacks.attendre("activeCB").statut);
    EXPECT_EQ(OXversion(3, 0, 0, 0), OXcdvCliItf::lireVersion());
    essais::CapteurTraces traces;
    EXPECT_THAT(OXcdvCliItf::lireVersionsConnues(), ElementsAre(OXversion(3, 0, 0, 0)));
    EXPECT_EQ(1, traces.compter("Version(s) 3.0.0.0"));
}

TEST_F(Facade, ANullNameIsAnUnexpectedException)
{
    OXcdvCliItf::lireVersionsConnues();
    essais::CapteurTraces traces;
    EXPECT_EQ(OXS_NOK, OXcdvCliItf::active(nullptr));
    EXPECT_THAT(
        lignesDe(traces, "OXcdvCliItf"),
        ElementsAre("700 static orix::OXstatut OXcdvCliItf::active(char*): Entrée/Sortie, nomService = ",
                    "100 active: Exception non prévue."));
}

/// Whatever comes from below, at the very entry of the adapter, is turned into a status.
TEST_F(Facade, LetsNothingOut)
{
    struct Panne
    {
        const char* quoi;
        std::function<void()> lever;
        OXstatut requete;
        OXstatut activation;
        const char* trace; ///< its beginning
    };
    const Panne PANNES[] = {
        {"Echec", [] { throw Echec(OXS_MAUVAISE_CONF); }, OXS_MAUVAISE_CONF, OXS_MAUVAISE_CONF,
         "Exception Echec, code = 13 (OXS_MAUVAISE_CONF)"},
        {"CORBA", [] { throw CORBA::TRANSIENT(); }, OXS_ERREUR_CORBA, OXS_NOK,
         "Exception CORBA : IDL:omg.org/CORBA/TRANSIENT"},
        {"memory", [] { throw std::bad_alloc(); }, OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE,
         OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE, "Problème d'allocation mémoire"},
        {"standard", [] { throw std::runtime_error("?"); }, OXS_NOK, OXS_NOK, "Exception non prévue."},
        {"anything", [] { throw 1; }, OXS_NOK, OXS_NOK, "Exception non prévue."},
    };
    activer();
    LigneTrace derniere;
    for (const Panne& panne : PANNES) {
        SCOPED_TRACE(panne.quoi);
        const essais::EcouteTraces ecoute([&](const LigneTrace& ligne) {
            if (ligne.fichier == "OXcdvCliItf")
                derniere = ligne;
            else
                panne.lever();
        });
        const bool technique = panne.requete == OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE || panne.requete == OXS_NOK;
        for (const Requete& requete : REQUETES) {
            int idOp = -5;
            EXPECT_EQ(panne.requete, requete.envoyer(&vol, idOp));
            EXPECT_EQ(-5, idOp);
            EXPECT_EQ(technique ? requete.nom : signature(requete.nom), derniere.fonction);
            EXPECT_EQ(technique ? NTO_NOTABLE : NTO_REFUS, derniere.niveau);
            EXPECT_THAT(derniere.message, StartsWith(panne.trace));
        }
        EXPECT_EQ(panne.activation, OXcdvCliItf::active(service));
        if (panne.activation == OXS_NOK) {
            EXPECT_EQ("100 active Exception non prévue.",
                      std::to_string(derniere.niveau) + " " + derniere.fonction + " " + derniere.message);
        }
        const bool echec = panne.requete == OXS_MAUVAISE_CONF;
        EXPECT_EQ(echec ? panne.requete : OXS_SERVICE_DEJA_DESACTIVE, OXcdvCliItf::desactive());
        EXPECT_EQ(VERSION_NULLE, OXcdvCliItf::lireVersion());
        EXPECT_TRUE(OXcdvCliItf::lireVersionsConnues().empty());
    }
    // Even its own traces.
    {
        const essais::EcouteTraces ecoute([](const LigneTrace&) { throw std::bad_alloc(); });
        int idOp = -5;
        EXPECT_EQ(OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE, OXcdvCliItf::cree_vol_complet(&vol, idOp));
    }
    EXPECT_TRUE(oxcdvCliItfAdaptateur()->estActive());
}

} // namespace
