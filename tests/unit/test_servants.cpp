#include "CapteurTraces.h"
#include "OXcdvClientVersServeurHandlerImplementation.h"
#include "OXvol_completData.h"
#include "ServeurEssai.h"
#include "orix/Trace.h"
#include "orix/interne/Echec.h"

#include <gmock/gmock.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <functional>
#include <new>

using namespace orix;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Servant = POA_OXcdv_v3_0_0_ServeurVersClientImplementation;
constexpr int RESULTAT = 3;
constexpr int ID_OP = 51;

struct Notification
{
    const char* nom;
    std::function<void(Servant&, const OXvol_completData_v3_0_0&)> envoyer;
    bool resultat; ///< carries the server's code
    bool vol;      ///< carries a record
};
const Notification NOTIFICATIONS[] = {
    {"cree_vol_complet", [](auto& s, auto& v) { s.cree_vol_complet(RESULTAT, v, ID_OP); }, true, true},
    {"modifie_vol_complet", [](auto& s, auto& v) { s.modifie_vol_complet(RESULTAT, v, ID_OP); }, true, true},
    {"supprime_vol_complet", [](auto& s, auto&) { s.supprime_vol_complet(RESULTAT, ID_OP); }, true, false},
    {"consulte_vol_complet", [](auto& s, auto& v) { s.consulte_vol_complet(RESULTAT, v, ID_OP); }, true,
     true},
    {"liste_vol_complet", [](auto& s, auto& v) { s.liste_vol_complet(v, ID_OP); }, false, true},
    {"fin_liste_vol_complet", [](auto& s, auto&) { s.fin_liste_vol_complet(RESULTAT, ID_OP); }, true, false},
};

class Notifications : public essais::AvecNoyau
{
  protected:
    Notifications()
    {
        vol = OXvol_completData().construireObjetSpecifique_v3_0_0();
        vol.m_gidentifiant = CORBA::string_dup("VOL-1");
    }

    OXvol_completData_v3_0_0 vol;
    Servant servant; // called as the ORB would
};

TEST_F(Notifications, BecomeCallbacks)
{
    activer();
    for (const Notification& notification : NOTIFICATIONS) {
        const std::string nom = notification.nom;
        SCOPED_TRACE(nom);
        std::vector<LigneTrace> lignes;
        {
            essais::CapteurTraces traces;
            notification.envoyer(servant, vol);
            for (const LigneTrace& ligne : traces.prendre())
                if (ligne.fichier == "OXcdvServeurVersClientImplementation")
                    lignes.push_back(ligne);
        }
        ASSERT_EQ(3u, lignes.size());
        EXPECT_EQ("Entrée. (callback ORIX de réception de message)", lignes[0].message);
        EXPECT_EQ("Creation de l'objet OXcdvCliCB::" + nom + "CB.", lignes[1].message);
        EXPECT_EQ("Sortie après traitements applicatifs.", lignes[2].message);
        EXPECT_THAT((std::vector<int>{lignes[0].niveau, lignes[1].niveau, lignes[2].niveau}),
                    ElementsAre(700, 100, 700));
        EXPECT_EQ(nom, lignes[1].fonction);
        for (const std::size_t i : {0, 2})
            EXPECT_THAT(lignes[i].fonction, HasSubstr("ServeurVersClientImplementation::" + nom + "("));

        const essais::Appel appel = callbacks.attendre();
        EXPECT_EQ(nom + "CB", appel.nom);
        EXPECT_EQ(ID_OP, appel.idOp);
        EXPECT_EQ(notification.resultat ? RESULTAT : -1, appel.statut);
        EXPECT_EQ(notification.vol ? "VOL-1" : "none", appel.identifiant.value_or("none"));
    }
}

TEST_F(Notifications, AreDroppedWithoutAnActiveClient)
{
    const auto refusees = [this] {
        for (const Notification& notification : NOTIFICATIONS) {
            essais::CapteurTraces traces;
            notification.envoyer(servant, vol);
            EXPECT_THAT(traces.prendreTextes(),
                        ElementsAre("700 Entrée. (callback ORIX de réception de message)"));
        }
        EXPECT_EQ(0u, callbacks.nombre());
    };
    refusees();
    EXPECT_EQ(nullptr, Singleton<OXcdvCliItfAdaptateur>::lireExistante()) << "brought into being";
    activer().desactive();
    refusees();
    activer();
    detruireOXcdvCliItfAdaptateur();
    refusees();
}

TEST_F(Notifications, FailuresAreTracedAndStayInside)
{
    struct Panne
    {
        std::function<void()> lever;
        const char* trace;
    };
    const Panne PANNES[] = {
        {[] { throw Echec(OXS_TABLEAU_DEBORDEMENT); },
         "Exception Echec, code = 31 (OXS_TABLEAU_DEBORDEMENT)"},
        {[] { throw std::bad_alloc(); }, "Probleme d'allocation memoire lors de la reception d'un message"},
        {[] { throw CORBA::TRANSIENT(); }, "Exception non prevue lors de l'appel d'un callback applicatif."},
    };
    activer();
    for (const Panne& panne : PANNES)
        for (const Notification& notification : NOTIFICATIONS) {
            std::vector<LigneTrace> lignes;
            const essais::EcouteTraces ecoute([&](const LigneTrace& ligne) {
                if (ligne.message.find("Creation de l'objet") == 0)
                    panne.lever();
                lignes.push_back(ligne);
            });
            notification.envoyer(servant, vol);
            ASSERT_EQ(3u, lignes.size());
            EXPECT_EQ(panne.trace, lignes[1].message);
            EXPECT_EQ(NTO_NOTABLE, lignes[1].niveau);
            EXPECT_EQ(0, lignes[1].niveauApplicatif);
            EXPECT_EQ(notification.nom, lignes[1].fonction);
            EXPECT_EQ("Sortie après traitements applicatifs.", lignes[2].message);
        }
    EXPECT_EQ(0u, callbacks.nombre());
}

class NotificationsDelaiCourt : public Notifications
{
  protected:
    NotificationsDelaiCourt() { reglages.delaiAppel = std::chrono::milliseconds(50); }
};

/// The client ends while a notification is inside, and stays there longer than a call may last.
TEST_F(NotificationsDelaiCourt, TheServantOfOneThatStaysIsNotPulledFromUnderIt)
{
    {
#ifdef __SANITIZE_ADDRESS__
        const __lsan::ScopedDisabler abandon; // what is made here is left on purpose
#endif
        oxcdvCliItfAdaptateur();
    }
    activer();
    std::vector<std::string> textes;
    const essais::EcouteTraces ecoute(
        [&](const LigneTrace& ligne) {
            textes.push_back(ligne.message);
            if (ligne.message.find("Creation de l'objet") == 0)
                detruireOXcdvCliItfAdaptateur();
        },
        NTO_NOTABLE);
    premier.notifications()->fin_liste_vol_complet(RESULTAT, ID_OP); // in this process: on this thread
    EXPECT_THAT(textes,
                testing::Contains("Une notification n'est pas terminée : son servant est abandonné."));
    EXPECT_EQ("fin_liste_vol_completCB", callbacks.attendre().nom);
}

using Repondeur = POA_AMI_OXcdv_v3_0_0_ClientVersServeurHandlerImplementation;

struct Reponse
{
    const char* nom;
    void (Repondeur::*normale)();
    void (Repondeur::*exception)(Messaging::ExceptionHolder*);
};
const Reponse REPONSES[] = {
    {"cree_vol_complet", &Repondeur::cree_vol_complet, &Repondeur::cree_vol_complet_excep},
    {"modifie_vol_complet", &Repondeur::modifie_vol_complet, &Repondeur::modifie_vol_complet_excep},
    {"supprime_vol_complet", &Repondeur::supprime_vol_complet, &Repondeur::supprime_vol_complet_excep},
    {"consulte_vol_complet", &Repondeur::consulte_vol_complet, &Repondeur::consulte_vol_complet_excep},
    {"liste_vol_complet", &Repondeur::liste_vol_complet, &Repondeur::liste_vol_complet_excep},
};

TEST(RepondeurRequetes, OnlyTraces)
{
    Repondeur repondeur;
    essais::CapteurTraces traces;
    for (const Reponse& reponse : REPONSES) {
        (repondeur.*reponse.normale)();
        const auto lignes = traces.prendre();
        ASSERT_EQ(2u, lignes.size());
        EXPECT_EQ("Réponse AMI : notification du client réussie.", lignes[0].message);
        EXPECT_EQ(NTO_PROGRES, lignes[0].niveau);
        EXPECT_THAT(lignes[0].fonction, HasSubstr(std::string("::") + reponse.nom + "()"));
        EXPECT_EQ(
            "Acquittement du client de la bonne réception de la notification de l'échec de l'activation.",
            lignes[1].message);
        EXPECT_EQ(NTO_NOTABLE, lignes[1].niveau);
        EXPECT_EQ(reponse.nom, lignes[1].fonction);

        (repondeur.*reponse.exception)(nullptr);
        EXPECT_THAT(traces.prendreTextes(),
                    ElementsAre("700 Entrée.", "700 Réponse AMI : échec de la notification du client.",
                                "700 Sortie."));
    }
}

TEST(RepondeurRequetes, ReportsATraceThatFails)
{
    Repondeur repondeur;
    std::vector<std::string> textes;
    const auto pendant = [&](const std::function<void()>& lever, const std::function<void()>& action) {
        const essais::EcouteTraces ecoute([&](const LigneTrace& ligne) {
            if (ligne.message.find("Réponse AMI") == 0)
                lever();
            textes.push_back(std::to_string(ligne.niveau) + " " + ligne.message);
        });
        action();
    };
    const auto manquerDeMemoire = [] { throw std::bad_alloc(); };
    pendant(manquerDeMemoire, [&] { repondeur.cree_vol_complet(); });
    pendant(manquerDeMemoire, [&] { repondeur.cree_vol_complet_excep(nullptr); });
    pendant([] { throw 1; }, [&] { repondeur.cree_vol_complet_excep(nullptr); });
    EXPECT_THAT(textes,
                ElementsAre("100 Exception non prévue.", "700 Entrée.", "100 Problème d'allocation mémoire.",
                            "700 Sortie.", "700 Entrée.", "100 Exception non prévue.", "700 Sortie."));
}

} // namespace
