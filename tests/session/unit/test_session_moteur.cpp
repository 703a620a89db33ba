// Sessions over a facade and a callback thread that the test holds in its hands.
#include "CapteurTraces.h"
#include "CdvSession.h"
#include "FacadeFactice.h"
#include "MoteurSession.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using essais::Facade;
using Requete = Facade::Requete;
using Sort = Facade::Sort;
using Etat = cdv::Resultat::Etat;
using ::testing::HasSubstr;

Vol unVol(const std::string& identifiant = "V")
{
    return std::move(Vol().ecrire("identifiant", identifiant));
}

template <class Vols>
std::vector<std::string> identifiants(Vols&& vols)
{
    std::vector<std::string> liste;
    for (const Vol& vol : vols)
        liste.emplace_back(*vol.lire("identifiant"));
    return liste;
}

std::vector<std::string> numeros(int nombre)
{
    std::vector<std::string> liste;
    for (int i = 1; i <= nombre; ++i)
        liste.push_back(std::to_string(i));
    return liste;
}

class SessionFactice : public ::testing::Test
{
  protected:
    SessionFactice()
    {
        options.observateur = [this](const Evenement& e) { // the changes of state, each in a line
            journal.poser(std::string(cdv::texteEtat(e.etat)) + " " + std::to_string(e.statut) +
                          (e.perte ? " loss" : "") + e.serveur);
        };
    }

    Facade facade;
    essais::FileAttente<std::string> journal;
    Options options; ///< observed by the journal
};

// ---- Answers

TEST_F(SessionFactice, ChaqueRequeteASaReponse)
{
    Session session{Options{}};
    using Demander = std::future<Resultat> (Session::*)(const Vol&, Session::Delai);
    const std::tuple<Demander, Requete, bool> CAS[] = {{&Session::creer, Requete::cree, true},
                                                       {&Session::modifier, Requete::modifie, true},
                                                       {&Session::consulter, Requete::consulte, true},
                                                       {&Session::supprimer, Requete::supprime, false}};
    for (const auto& [demander, requete, avecVol] : CAS) {
        for (const int code : {2, 0}) {
            facade.prochaine(Sort::refusee(code));
            const Resultat resultat = (session.*demander)(unVol("A"), {}).get();
            EXPECT_EQ(facade.derniere().requete, requete);
            EXPECT_EQ(facade.derniere().identifiant, "A");
            EXPECT_EQ(resultat.etat, code == 0 ? Etat::fait : Etat::refuse);
            EXPECT_EQ(resultat.texte(),
                      code == 0 ? "done" : "refused by the server: no such record (code 2)");
            EXPECT_EQ(resultat.vol ? resultat.vol->lire("identifiant") : std::nullopt,
                      avecVol ? std::optional<std::string_view>("A") : std::nullopt);
        }
    }
    for (const std::string& n : numeros(3))
        facade.poser(unVol(n));
    EXPECT_EQ(identifiants(session.lister({{"identifiant", "*"}}).get().vols), numeros(3));
}

TEST_F(SessionFactice, ParIdentifiantEtParFonctionQuiNeSeCopiePas)
{
    Session session{Options{}};
    essais::FileAttente<std::string> fins;
    const auto fin = [&fins](const char* nom) {
        return [&fins, seul = std::make_unique<std::string>(nom)](const Resultat& resultat) {
            fins.poser(*seul + " " + resultat.texte());
        };
    };
    session.creer(unVol("A"), fin("cree"));
    session.modifier(unVol("A"), fin("modifie"));
    session.consulter(unVol("A"), fin("consulte"), 1h);
    session.supprimer("A", fin("supprime"));
    session.lister(unVol("A"), fin("liste"));
    for (const char* operation : {"cree", "modifie", "consulte", "supprime", "liste"})
        EXPECT_EQ(fins.prendre(""), std::string(operation) + " done");

    const auto derniere = [this] {
        return std::pair(facade.derniere().requete, facade.derniere().identifiant);
    };
    const auto supprime = session.supprimer("B");
    EXPECT_EQ(derniere(), std::pair(Requete::supprime, std::string("B")));
    session.consulter("C", [](const Resultat&) {});
    EXPECT_EQ(derniere(), std::pair(Requete::consulte, std::string("C")));
    const auto consulte = session.consulter("D");
    EXPECT_EQ(derniere(), std::pair(Requete::consulte, std::string("D")));
}

TEST_F(SessionFactice, LaNotificationDepasseLAppel)
{
    Session session{Options{}};
    constexpr int NOMBRE = 2 * static_cast<int>(cdv::TableDemandes::MAX_DEPOTS);
    essais::Signal borne;
    facade.regler([&](const Facade::Demande& demande) {
        for (int n = 1; n <= NOMBRE; ++n) {
            facade.envoyer(demande.numero, std::to_string(n));
            if (n == static_cast<int>(cdv::TableDemandes::MAX_DEPOTS))
                facade.poster([&] { borne.donner(); });
        }
        borne.attendre(); // the callback thread goes no further while this call lasts
        return Sort();
    });
    EXPECT_EQ(identifiants(session.lister(unVol()).get().vols), numeros(NOMBRE));

    // A completion does not run inside the call, nor under the lock of who calls.
    facade.regler([](auto&) { return Sort::devancee(); });
    std::mutex mutex;
    essais::Signal faite;
    {
        const std::lock_guard<std::mutex> verrou(mutex);
        session.consulter(unVol(), [&](Resultat) {
            const std::lock_guard<std::mutex> verrou(mutex);
            faite.donner();
        });
    }
    faite.attendre();
}

// ---- No answer

TEST_F(SessionFactice, Perte)
{
    options.reprise = false;
    Session session{options};
    facade.poser(unVol("1"));
    facade.prochaine(Sort::enAttente());
    facade.prochaine(Sort::enAttente());
    facade.prochaine(Sort::coupee(1));
    auto creation = session.creer(unVol());
    auto consultation = session.consulter("A");
    cdv::Flux flux = session.parcourir(unVol("*"));
    EXPECT_THAT(creation.get().texte(), HasSubstr("(OXS_ECHEC_PING): it may or may not"));
    // A reading does nothing.
    EXPECT_EQ(consultation.get().texte(), "connection lost before the answer (OXS_ECHEC_PING)");
    EXPECT_EQ(identifiants(flux), numeros(1)); // what came before the loss
    EXPECT_EQ(flux.resultat().texte(), "connection lost before the answer (OXS_ECHEC_PING)");
    EXPECT_EQ(flux.resultat().etat, Etat::perdu);
    EXPECT_FALSE(session.attendreActive(1h));
    EXPECT_EQ(session.creer(unVol()).get().texte(), "not sent (OXS_ECHEC_PING)");

    // Its notice does not come: the request that finds out ends the others. Nothing is sent again.
    session.activer();
    EXPECT_TRUE(session.attendreActive(1h));
    facade.prochaine(Sort::enAttente());
    auto enAttente = session.creer(unVol());
    facade.desactive();
    EXPECT_EQ(session.creer(unVol()).get().texte(), "not sent (OXS_SERVICE_NON_ACTIVE)");
    EXPECT_EQ(enAttente.get().etat, Etat::perdu);
    EXPECT_EQ(facade.derniere().numero, 4);
    session.fermer();
    for (const char* etat : {"activating 0", "active 0cdv1", "lost 21 loss", "activating 0", "active 0cdv2",
                             "lost 23 loss", "closed 0"})
        EXPECT_EQ(journal.prendre("none"), etat);
}

// ---- End of a session

TEST_F(SessionFactice, LaFinAttendLaCompletionEnCours)
{
    auto session = std::make_unique<Session>(Options{});
    essais::Signal entree, sortie;
    std::atomic<bool> finie{false};
    session->creer(unVol(), [&](Resultat) {
        entree.donner();
        sortie.attendre();
        finie = true;
    });
    entree.attendre();
    const auto fermeture = std::async(std::launch::async, [&] {
        session.reset();
        EXPECT_TRUE(finie);
    });
    sortie.donner();
}

TEST_F(SessionFactice, LaSessionFinitDansUnRappel)
{
    // In a completion on the callback thread, with another one that waits behind it.
    for (const bool detruire : {false, true}) {
        auto session = std::make_unique<Session>(Options{});
        essais::Signal derniere;
        facade.regler([](auto&) {
            Sort sort = Sort::enAttente();
            sort.faite = false;
            return sort;
        });
        session->creer(unVol(), [&](Resultat resultat) {
            EXPECT_EQ(resultat.etat, Etat::fait);
            detruire ? session.reset() : session->fermer();
        });
        session->creer(unVol(), [&](Resultat resultat) {
            EXPECT_EQ(resultat.texte(), "closed before the answer: it may or may not have been done");
            derniere.donner();
        });
        facade.relacher();
        derniere.attendre();
        facade.attendreCalme();
    }
    // In an observer, on the session's own thread.
    auto session = std::make_unique<Session>();
    essais::Signal ouverte, ferme;
    options.observateur = [&](const Evenement& evenement) {
        if (evenement.etat == EtatSession::activation) {
            ouverte.attendre();
            session.reset();
        } else if (evenement.etat == EtatSession::fermee)
            ferme.donner();
    };
    session->ouvrir(options);
    ouverte.donner();
    ferme.attendre();
    facade.attendreCalme();
    EXPECT_TRUE(Session{Options{}}.estActive()); // the place is free
}

// ---- Completions

TEST_F(SessionFactice, LesCompletionsPeuventToutAppeler)
{
    essais::CapteurTraces traces;
    Session session{Options{}};
    Sort sansSuite; // answered as if it was done
    sansSuite.faite = false;
    facade.regler([=](auto&) { return sansSuite; });
    essais::Signal centieme;
    std::function<void(int)> suivante = [&](int n) {
        session.creer(unVol(), [&, n](Resultat) {
            EXPECT_THROW(session.attendreActive(1s), std::logic_error);
            EXPECT_THROW(session.parcourir(unVol()).suivant(), std::logic_error);
            n == 100 ? centieme.donner() : suivante(n + 1);
            throw std::runtime_error("oubliee");
        });
    };
    suivante(1);
    centieme.attendre();
    session.creer(unVol(), [](Resultat) { throw 1; });
    session.creer(unVol(), Session::Fin());
    EXPECT_TRUE(session.creer(unVol()).get());
    EXPECT_THAT(traces.prendreTextes(),
                testing::Contains(HasSubstr("dans un appel de l'application : oubliee")).Times(100));
}

// ---- Streams

TEST_F(SessionFactice, FluxBorneOuAbandonne)
{
    Session session{Options{}};
    std::atomic<int> faits{0};
    essais::Signal plein;
    facade.generer(100, [&](std::size_t n) {
        if (++faits == 5)
            plein.donner();
        return unVol(std::to_string(n + 1));
    });
    facade.regler([](auto&) { return Sort::enAttente(); });
    cdv::Flux flux = session.parcourir(unVol("*"), 4);
    facade.relacher(); // now: the call has returned
    EXPECT_THROW(flux.resultat(), std::logic_error);
    plein.attendre();
    std::vector<std::string> lus;
    while (std::optional<Vol> vol = flux.suivant()) {
        lus.emplace_back(*vol->lire("identifiant"));
        // Never further ahead than the bound, and the record that waits for its place.
        EXPECT_LE(faits, static_cast<int>(lus.size()) + 5);
    }
    EXPECT_EQ(lus, numeros(100));
    EXPECT_EQ(flux.resultat().etat, Etat::fait);

    for (const bool fermer : {false, true}) { // either releases the callback thread
        facade.generer(10, [](std::size_t) { return unVol(); });
        flux = session.parcourir(unVol(), 1);
        facade.relacher();
        EXPECT_TRUE(flux.suivant());
        fermer ? session.fermer() : flux.abandonner();
        facade.attendreCalme();
        while (flux.suivant())
            EXPECT_TRUE(fermer);
        EXPECT_EQ(flux.resultat().etat, Etat::ferme);
    }
}

// ---- Activation

TEST_F(SessionFactice, Refus)
{
    const auto refus = []() -> cdv::Erreur {
        try {
            const Session session{Options{}};
        } catch (const cdv::Erreur& erreur) {
            return erreur;
        }
        throw std::logic_error("it was opened");
    };
    Session jamaisOuverte;
    EXPECT_EQ(jamaisOuverte.creer(unVol()).get().statut, orix::OXS_SERVICE_NON_ACTIVE);
    EXPECT_EQ(jamaisOuverte.parcourir(unVol()).suivant(), std::nullopt);
    EXPECT_FALSE(jamaisOuverte.attendreActive(1h));
    {
        Session premiere{Options{}};
        EXPECT_STREQ(refus().what(), "a cdv session is already open in this process");
        EXPECT_THROW(premiere.ouvrir(), cdv::Erreur);
    }
    facade.partir();
    EXPECT_EQ(refus().statut(), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_THAT(refus().what(), HasSubstr("no server of the service \"cdv\" accepts a session"));
    EXPECT_EQ(facade.activations(), 5); // each time both servers
}

} // namespace
