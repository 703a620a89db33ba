// Memory runs out: every single allocation of a request, of a notification, of an activation fails in turn.
#include "CapteurTraces.h"
#include "FileAttente.h"
#include "OXcdvCliItfAdaptateur.h"
#include "PanneMemoire.h"
#include "Porte.h"
#include "ServeurEssai.h"
#include "SessionReelle.h"
#include "VolsEssai.h"

#include <atomic>
#include <functional>
#include <iostream>
#include <map>
#include <optional>

using essais::Appel;
using essais::bilanMemoire;
using essais::PanneMemoire;
using essais::vol;

namespace {

/// How often the text is traced; keeps nothing, so that it takes no memory.
class CompteurTrace
{
  public:
    explicit CompteurTrace(std::string texte) : _texte(std::move(texte)) {}

    int prendre() { return _nombre.exchange(0); }

  private:
    const std::string _texte;
    std::atomic<int> _nombre{0};
    essais::EcouteTraces _ecoute{
        [this](const orix::LigneTrace& ligne) { _nombre += ligne.message == _texte; }, orix::NTO_NOTABLE};
};

/// Does it with its first allocation failing, then its second, and so on until none is left to fail; verifier
/// is called after each failure. Returns how many there were.
int chaquePanne(const std::function<void()>& action, const std::function<void(int n)>& verifier,
                PanneMemoire::Ou ou = PanneMemoire::Partout)
{
    for (int n = 1;; ++n) {
        bool survenue = false;
        {
            const PanneMemoire panne(n, ou);
            action();
            survenue = panne.survenue();
        }
        if (!survenue)
            return n - 1;
        verifier(n);
        if (testing::Test::HasFailure())
            return n;
    }
}

class MemoireSession : public essais::SessionReelle
{
  protected:
    struct Nommee
    {
        const char* nom;
        essais::Requete requete;
    };
    static constexpr Nommee REQUETES[] = {
        {"cree", &OXcdvCliItf::cree_vol_complet},         {"modifie", &OXcdvCliItf::modifie_vol_complet},
        {"supprime", &OXcdvCliItf::supprime_vol_complet}, {"consulte", &OXcdvCliItf::consulte_vol_complet},
        {"liste", &OXcdvCliItf::liste_vol_complet},
    };

    /// Waits for the outcome of a request; the records of a listing come before it.
    void attendreIssue()
    {
        while (_callbacks.attendre().nom == "liste_vol_completCB") {
        }
    }

    /// The next callbacks are those of this consultation: what failed before it sent nothing.
    void verifierConsultation()
    {
        const Appel consultation = demander(&OXcdvCliItf::consulte_vol_complet, *vol("personne"));
        EXPECT_EQ(consultation.nom, "consulte_vol_completCB");
    }
};

TEST_F(MemoireSession, RequestSaysSoAndTheNextOneWorks)
{
    activer();
    verifierConsultation();
    const auto complet = essais::volComplet();
    for (const Nommee& requete : REQUETES) {
        SCOPED_TRACE(requete.nom);
        int idOp = 0;
        // As the first of its thread: what threads keep for later is not there yet.
        int froides = 0;
        for (bool survenue = true; survenue;) {
            std::thread([&] {
                const PanneMemoire panne(++froides);
                const orix::OXstatut statut = requete.requete(complet.get(), idOp);
                survenue = panne.survenue();
                EXPECT_EQ(statut, survenue ? orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE : orix::OXS_OK);
            }).join();
            ASSERT_FALSE(HasFailure()) << "at allocation " << froides;
            if (survenue)
                verifierConsultation();
        }
        attendreIssue();

        orix::OXstatut statut = orix::OXS_OK;
        CompteurTrace traces("Problème d'allocation mémoire");
        long bilan = 0;
        int refus = 0;
        const int pannes = chaquePanne(
            [&] {
                bilan = bilanMemoire();
                statut = requete.requete(complet.get(), idOp);
            },
            [&](int n) {
                if (statut == orix::OXS_OK) { // a trace was cut short, no more
                    attendreIssue();
                    return;
                }
                ++refus;
                EXPECT_EQ(statut, orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE) << n;
                EXPECT_EQ(bilanMemoire(), bilan) << "leak after failure " << n;
                EXPECT_EQ(traces.prendre(), 1) << n;
                verifierConsultation();
            });
        EXPECT_EQ(statut, orix::OXS_OK);
        EXPECT_GT(refus, 0);
        attendreIssue();
        std::cout << requete.nom << ": " << froides - 1 << " failures as the first of a thread, " << pannes
                  << " as a later one with traces" << std::endl;
    }
}

TEST_F(MemoireSession, ActivationSaysSoAndTheNextOneWorks)
{
    activer(); // what is made once is made
    EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
    orix::OXstatut statut = orix::OXS_OK;
    std::map<orix::OXstatut, int> statuts;
    const int pannes =
        chaquePanne([&] { statut = OXcdvCliItf::active(essais::SERVICE); },
                    [&](int n) {
                        SCOPED_TRACE(n);
                        ++statuts[statut];
                        if (statut != orix::OXS_OK || _callbacks.attendre("activeCB").statut != orix::OXS_OK)
                            activerQuelquePart();
                        verifierConsultation();
                        EXPECT_EQ(OXcdvCliItf::desactive(), orix::OXS_OK);
                    },
                    PanneMemoire::HorsORB);
    EXPECT_EQ(statut, orix::OXS_OK);
    EXPECT_EQ(_callbacks.attendre().nom, "activeCB");
    EXPECT_GT(statuts[orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE] + statuts[orix::OXS_NOK], 0);
    std::cout << pannes << " failures of an activation:";
    for (const auto& [code, fois] : statuts)
        std::cout << " " << fois << " gave " << orix::texteStatut(code);
    std::cout << std::endl;
}

/// The failure strikes the ORB's thread, from the end of one notification to the middle of the next one.
TEST_F(MemoireSession, ReceptionLosesAMessageAtMost)
{
    constexpr int PANNES = 150;
    activer();
    int perdues = 0;
    int reactivations = 0;
    for (int n = 1; n <= PANNES && !HasFailure(); ++n) {
        SCOPED_TRACE(n);
        {
            essais::SurTrace armement("Creation de l'objet OXcdvCliCB::consulte_vol_completCB.", [n] {
                thread_local std::optional<PanneMemoire> panne;
                panne.emplace(n);
            });
            int idOp = 0;
            for (int i = 0; i < 2; ++i) // the second may meet what became of the connection
                OXcdvCliItf::consulte_vol_complet(vol("personne").get(), idOp);
            for (int i = 0; i < 2; ++i)
                perdues += _callbacks.attendre(std::chrono::milliseconds(100)).nom == "rien";
        }
        int idOp = 0;
        const auto personne = vol("personne");
        if (OXcdvCliItf::consulte_vol_complet(personne.get(), idOp) == orix::OXS_OK &&
            _callbacks.attendre().nom == "consulte_vol_completCB")
            continue;
        ++reactivations;
        activerQuelquePart();
        verifierConsultation();
    }
    std::cout << PANNES << " failures of a reception: " << perdues << " answers lost, " << reactivations
              << " new activations" << std::endl;
}

// ---- On one thread, with a server of the test's own

class Memoire : public essais::AvecNoyau
{
  protected:
    Memoire() { reglages.niveauTrace = 0; }
};

TEST_F(Memoire, NotificationIsDroppedWithATraceAndTheNextOneArrives)
{
    using Servant = POA_OXcdv_v3_0_0_ServeurVersClientImplementation;
    const struct
    {
        const char* nom;
        std::function<void(Servant&, const OXvol_completData_v3_0_0&, int)> envoyer;
    } notifications[] = {
        {"cree_vol_completCB", [](auto& s, auto& v, int id) { s.cree_vol_complet(0, v, id); }},
        {"modifie_vol_completCB", [](auto& s, auto& v, int id) { s.modifie_vol_complet(0, v, id); }},
        {"supprime_vol_completCB", [](auto& s, auto&, int id) { s.supprime_vol_complet(0, id); }},
        {"consulte_vol_completCB", [](auto& s, auto& v, int id) { s.consulte_vol_complet(0, v, id); }},
        {"liste_vol_completCB", [](auto& s, auto& v, int id) { s.liste_vol_complet(v, id); }},
        {"fin_liste_vol_completCB", [](auto& s, auto&, int id) { s.fin_liste_vol_complet(0, id); }},
    };
    activer();
    Servant servant; // called as the ORB would
    const auto vol = essais::volComplet()->construireObjetSpecifique_v3_0_0();
    CompteurTrace traces("Probleme d'allocation memoire lors de la reception d'un message");
    for (const auto& notification : notifications) {
        SCOPED_TRACE(notification.nom);
        int id = 0;
        long bilan = 0;
        std::vector<int> arrivees;
        const int pannes = chaquePanne(
            [&] {
                bilan = bilanMemoire();
                notification.envoyer(servant, vol, ++id);
            },
            [&](int n) {
                if (traces.prendre() == 0) {
                    arrivees.push_back(id); // a trace was cut short, no more
                    return;
                }
                EXPECT_EQ(bilanMemoire(), bilan) << "leak after failure " << n;
            });
        EXPECT_GT(pannes - static_cast<int>(arrivees.size()), 0);
        arrivees.push_back(id);
        for (const int arrivee : arrivees) {
            const Appel appel = callbacks.attendre();
            EXPECT_EQ(appel.nom, notification.nom);
            EXPECT_EQ(appel.idOp, arrivee);
        }
        attendreLivraison();
        EXPECT_EQ(callbacks.nombre(), 0u);
        std::cout << notification.nom << ": " << pannes << " failures, "
                  << id - static_cast<int>(arrivees.size()) << " dropped" << std::endl;
    }
}

/// The answer of the server, handled on the test's thread while the real one is kept waiting.
TEST_F(Memoire, AnswerToAnActivationLeavesNeitherHalfAConnectionNorAnApplicationThatWaits)
{
    essais::Porte porte;
    premier.avantReponse = deuxieme.avantReponse = [&] { porte.passer(); };
    orix::OXcdvCliItfAdaptateur& adaptateur = activer();
    ASSERT_EQ(adaptateur.desactive(), orix::OXS_OK);
    orix_corba::NiveauReference niveau;
    niveau.majeur = 3;
    niveau.mineur = niveau.correctif = niveau.construction = 0;
    niveau.reference = premier.service._this();

    std::atomic<int> pannes{0};
    essais::FileAttente<bool> tardives;
    const essais::EcouteTraces ecoute(
        [&](const orix::LigneTrace& ligne) {
            pannes += ligne.message == "Exception non prévue.";
            if (ligne.message.rfind("Réception d'un activeCB", 0) == 0)
                tardives.poser(true);
        },
        orix::NTO_REFUS);
    for (const int reponse : {orix::OXS_OK, orix::OXS_NOK}) {
        SCOPED_TRACE(reponse);
        bool finie = false;
        int n = 0;
        while (!finie && !HasFailure()) {
            porte.fermerApres(0);
            ASSERT_EQ(adaptateur.active("cdv"), orix::OXS_OK) << n;
            {
                const PanneMemoire panne(++n, PanneMemoire::HorsORB);
                adaptateur.activeCB(reponse, "premier", "hote", niveau, 7);
                finie = !panne.survenue();
            }
            // Told once, and in the state that it was told.
            const Appel appel = callbacks.attendre();
            EXPECT_EQ(appel.nom, "activeCB") << n;
            EXPECT_EQ(appel.statut == orix::OXS_OK, adaptateur.estActive()) << n;
            EXPECT_NE(adaptateur.lireEtat(), orix::OXcdvCliItfAdaptateur::DemandeActivation) << n;
            if (appel.statut != reponse) {
                EXPECT_EQ(appel.statut, orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE) << n;
                EXPECT_EQ(pannes.exchange(0), 1) << n;
            }
            porte.ouvrir(); // the real answer comes too late
            EXPECT_TRUE(tardives.prendre(false)) << n;
            if (appel.statut == orix::OXS_OK) {
                EXPECT_EQ(adaptateur.desactive(), orix::OXS_OK) << n;
            }
            EXPECT_EQ(callbacks.nombre(), 0u) << n;
        }
        std::cout << n - 1 << " failures of the answer " << reponse << std::endl;
    }
}

} // namespace
