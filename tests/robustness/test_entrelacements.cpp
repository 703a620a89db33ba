// Every event at every step of every operation of the adapter.
#include "Arrets.h"
#include "ClientEprouve.h"
#include "EtatProcessus.h"

namespace {

class Entrelacements : public essais::ClientEprouve
{
  public:
    using Acte = void (ClientEprouve::*)();

    struct Operation
    {
        const char* nom;
        Depart depart;
        Acte acte;
        const char* ouverture; ///< the function whose first line tells its thread; empty: the caller's
        Silence silence = Aucun;
    };
    struct Evenement
    {
        const char* nom;
        Acte acte;
        bool application = false; ///< it is a call of the application
    };
    static const Operation OPERATIONS[];
    static const Evenement EVENEMENTS[];

  protected:
    /// One case; false when the operation has no such step.
    bool eprouver(const Operation& operation, const Evenement& evenement, essais::Entrelacement::Pas pas,
                  int numero)
    {
        preparer(operation.depart);
        essais::Entrelacement entrelacement(operation.ouverture, pas, numero,
                                            [this, &evenement] { (this->*evenement.acte)(); });
        (this->*operation.acte)();
        if (*operation.ouverture != '\0')
            essais::attendreRepos();
        const std::string lieu = entrelacement.attendre();
        SCOPED_TRACE(std::string(operation.nom) + ", " + evenement.nom + " at step " +
                     std::to_string(numero) + ", " + lieu);
        const bool arret = evenement.acte == &ClientEprouve::arreterNoyau;
        verifier(operation.silence == Aucun && arret ? Deconnexion : operation.silence);
        return !lieu.empty();
    }
};

const Entrelacements::Operation Entrelacements::OPERATIONS[] = {
    {"active", Desactive, &ClientEprouve::active, ""},
    {"acceptance", Demande, &ClientEprouve::accepter, "activeCB"},
    {"refusal", Demande, &ClientEprouve::refuser, "activeCB"},
    {"desactive", Active, &ClientEprouve::desactive, ""},
    {"request", Active, &ClientEprouve::demander, ""},
    {"notice of an end", Active, &ClientEprouve::annoncerFin, ""},
    {"notice of a failure", Active, &ClientEprouve::annoncerPanne, ""},
    {"loss", Active, &ClientEprouve::oublierClient, "surveiller"},
    // No call of the application may be inside.
    {"destruction while active", Active, &ClientEprouve::detruire, "", Tout},
    {"destruction while pending", Demande, &ClientEprouve::detruire, "", Tout},
    {"stop while active", Active, &ClientEprouve::arreterNoyau, "", Deconnexion},
    {"stop while pending", Demande, &ClientEprouve::arreterNoyau, "", Deconnexion},
};

const Entrelacements::Evenement Entrelacements::EVENEMENTS[] = {
    {"notice of an end", &ClientEprouve::annoncerFin},
    {"notice of a failure", &ClientEprouve::annoncerPanne},
    {"loss", &ClientEprouve::oublierClient},
    {"acceptance", &ClientEprouve::accepter},
    {"refusal", &ClientEprouve::refuser},
    {"stop of the server", &ClientEprouve::arreterServeur},
    {"death of the server", &ClientEprouve::tuerServeur},
    {"active", &ClientEprouve::active, true},
    {"desactive", &ClientEprouve::desactive, true},
    {"request", &ClientEprouve::demander, true},
    {"stop of the middleware", &ClientEprouve::arreterNoyau, true},
};

class TousLesPas
    : public Entrelacements,
      public testing::WithParamInterface<std::tuple<Entrelacements::Operation, essais::Entrelacement::Pas>>
{
};

TEST_P(TousLesPas, EndWell)
{
    const auto& [operation, pas] = GetParam();
    int cas = 0;
    int mauvais = 0;
    essais::Ressources avant;
    for (const Evenement& evenement : EVENEMENTS) {
        if (evenement.application && operation.silence == Tout)
            continue;
        bool atteint = true;
        for (int numero = 0; atteint; ++numero) {
            const int echecsAvant = echecs();
            atteint = eprouver(operation, evenement, pas, numero);
            cas += atteint;
            if (echecs() == echecsAvant)
                continue;
            toutOublier();
            ASSERT_LT(++mauvais, 20);
        }
        if (avant.fils == 0)
            avant = essais::Ressources::attendreStables();
    }
    const auto apres = essais::Ressources::attendreStables();
    EXPECT_LT(apres.fils, avant.fils + 10);
    EXPECT_LT(apres.descripteurs, avant.descripteurs + 10);
    std::cout << operation.nom << ": " << cas << " cases; " << avant << " before, " << apres << " after"
              << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Adapter, TousLesPas,
                         testing::Combine(testing::ValuesIn(Entrelacements::OPERATIONS),
                                          testing::Values(essais::Entrelacement::Lignes,
                                                          essais::Entrelacement::Allocations)),
                         [](const auto& cas) {
                             std::string nom = std::get<0>(cas.param).nom;
                             std::replace(nom.begin(), nom.end(), ' ', '_');
                             const bool lignes = std::get<1>(cas.param) == essais::Entrelacement::Lignes;
                             return nom + (lignes ? "" : "_by_allocations");
                         });

/// One real server, stopped right after each activation.
TEST(ArretsDuServeur, AreTold)
{
    essais::ServeurIntermittent serveur;
    essais::Callbacks& callbacks = essais::Callbacks::instance();
    orix::Configuration reglages;
    reglages[orix::cle::routage]["cdv"] = {serveur.url()};
    reglages[orix::cle::periodePing] = std::chrono::milliseconds(20);
    ASSERT_EQ("", essais::demarrer(reglages));
    std::map<std::string, int> issues;
    const auto noter = [&issues](const essais::Appel& appel) {
        ++issues[appel.nom + " " + orix::texteStatut(static_cast<orix::OXstatut>(appel.statut))];
    };
    const int tours = essais::nombreTours(100);
    for (int tour = 0; tour < tours && !testing::Test::HasFailure(); ++tour) {
        char service[] = "cdv";
        EXPECT_EQ(orix::OXS_OK, OXcdvCliItf::active(service)) << tour;
        serveur.arreterBientot();
        const essais::Appel reponse = callbacks.attendre();
        EXPECT_EQ("activeCB", reponse.nom) << tour;
        noter(reponse);
        if (reponse.statut == orix::OXS_OK) {
            const essais::Appel perte = callbacks.attendre();
            EXPECT_EQ("deconnexionCB", perte.nom) << tour;
            noter(perte);
        }
        serveur.attendreFin();
        serveur.revenir();
        EXPECT_EQ(0u, callbacks.nombre()) << tour;
    }
    orix::detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(orix::OXS_OK, orix::terminer());
    for (const auto& [issue, fois] : issues)
        std::cout << issue << ": " << fois << std::endl;
}

} // namespace
