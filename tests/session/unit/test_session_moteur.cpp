// Sessions over a facade and a callback thread that the test holds in its hands.
#include "CapteurTraces.h"
#include "CdvSession.h"
#include "FacadeFactice.h"
#include "MoteurSession.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using essais::Facade;
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

    /// So many records of the listing that was asked for last.
    void envoyer(int nombre)
    {
        for (const std::string& n : numeros(nombre))
            facade.envoyer(facade.derniere().idOp, n);
    }
    Facade facade;
    essais::FileAttente<std::string> journal;
    Options options; ///< observed by the journal
};

// ---- Answers

TEST_F(SessionFactice, ChaqueRequeteASaReponse)
{
    Session session{Options{}};
    using Requete = std::future<Resultat> (Session::*)(const Vol&, Session::Delai);
    const std::tuple<Requete, const char*, bool> CAS[] = {{&Session::creer, "cree", true},
                                                          {&Session::modifier, "modifie", true},
                                                          {&Session::supprimer, "supprime", false},
                                                          {&Session::consulter, "consulte", true}};
    for (const auto& [requete, operation, avecVol] : CAS) {
        for (const int code : {0, 2}) {
            std::future<Resultat> future = (session.*requete)(unVol("A"), {});
            EXPECT_EQ(facade.derniere().operation, operation);
            EXPECT_EQ(facade.derniere().identifiant, "A");
            facade.repondre(facade.derniere(), code);
            const Resultat resultat = future.get();
            EXPECT_EQ(resultat.etat, code == 0 ? Etat::fait : Etat::refuse);
            EXPECT_EQ(resultat.texte(),
                      code == 0 ? "done" : "refused by the server: no such record (code 2)");
            EXPECT_EQ(resultat.vol ? resultat.vol->lire("identifiant") : std::nullopt,
                      avecVol ? std::optional<std::string_view>("V") : std::nullopt);
        }
    }
    auto liste = session.lister({{"identifiant", "*"}});
    envoyer(3);
    facade.repondre(facade.derniere());
    EXPECT_EQ(identifiants(liste.get().vols), numeros(3));
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
    session.supprimer("A", fin("supprime"));
    session.consulter(unVol("A"), fin("consulte"), 1h);
    session.lister(unVol("A"), fin("liste"));
    facade.repondreTout();
    for (const char* operation : {"cree", "modifie", "supprime", "consulte", "liste"})
        EXPECT_EQ(fins.prendre(""), std::string(operation) + " done");

    const auto supprime = session.supprimer("B");
    EXPECT_EQ(facade.derniere().operation + facade.derniere().identifiant, "supprimeB");
    session.consulter("C", [](const Resultat&) {});
    EXPECT_EQ(facade.derniere().operation + facade.derniere().identifiant, "consulteC");
    const auto consulte = session.consulter("D");
    EXPECT_EQ(facade.derniere().operation + facade.derniere().identifiant, "consulteD");
}

TEST_F(SessionFactice, LaNotificationDepasseLAppel)
{
    Session session{Options{}};
    constexpr int NOMBRE = 2 * static_cast<int>(cdv::TableDemandes::MAX_DEPOTS);
    essais::Signal borne;
    facade.surRequete = [&](const Facade::Requete& requete) {
        for (int n = 1; n <= NOMBRE; ++n) {
            facade.envoyer(requete.idOp, std::to_string(n));
            if (n == static_cast<int>(cdv::TableDemandes::MAX_DEPOTS))
                facade.fil.poster([&] { borne.donner(); });
        }
        facade.repondre(requete);
        borne.attendre(); // the callback thread goes no further while this call lasts
        return orix::OXS_OK;
    };
    EXPECT_EQ(identifiants(session.lister(unVol()).get().vols), numeros(NOMBRE));

    // A completion does not run inside the call, nor under the lock of who calls.
    facade.surRequete = [&](const Facade::Requete& requete) {
        facade.repondre(requete);
        facade.fil.vider();
        return orix::OXS_OK;
    };
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
    auto creation = session.creer(unVol());
    auto consultation = session.consulter("A");
    cdv::Flux flux = session.parcourir(unVol());
    facade.envoyer(facade.derniere().idOp, "1");
    facade.perdre(orix::OXS_ECHEC_PING);
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
    auto enAttente = session.creer(unVol());
    facade.desactive();
    EXPECT_EQ(session.creer(unVol()).get().texte(), "not sent (OXS_SERVICE_NON_ACTIVE)");
    EXPECT_EQ(enAttente.get().etat, Etat::perdu);
    EXPECT_EQ(facade.derniere().idOp, 4);
    session.fermer();
    for (const char* etat : {"activating 0", "active 0cdv1", "lost 21 loss", "activating 0", "active 0cdv1",
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
    facade.repondre(facade.derniere());
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
        session->creer(unVol(), [&](Resultat resultat) {
            EXPECT_EQ(resultat.etat, Etat::fait);
            detruire ? session.reset() : session->fermer();
        });
        const Facade::Requete requete = facade.derniere();
        session->creer(unVol(), [&](Resultat resultat) {
            EXPECT_EQ(resultat.texte(), "closed before the answer: it may or may not have been done");
            derniere.donner();
        });
        facade.repondre(requete);
        derniere.attendre();
        facade.fil.vider();
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
    facade.fil.vider();
    EXPECT_TRUE(Session{Options{}}.estActive()); // the place is free
}

// ---- Completions

TEST_F(SessionFactice, LesCompletionsPeuventToutAppeler)
{
    essais::CapteurTraces traces;
    Session session{Options{}};
    facade.surRequete = [this](const Facade::Requete& requete) {
        facade.repondre(requete);
        return orix::OXS_OK;
    };
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
    cdv::Flux flux = session.parcourir(unVol(), 4);
    EXPECT_THROW(flux.resultat(), std::logic_error);
    std::atomic<int> livres{0};
    essais::Signal plein;
    for (const std::string& n : numeros(100)) {
        facade.envoyer(facade.derniere().idOp, n);
        facade.fil.poster([&] {
            if (++livres == 4)
                plein.donner();
        });
    }
    facade.repondre(facade.derniere());
    plein.attendre();
    std::vector<std::string> lus;
    while (std::optional<Vol> vol = flux.suivant()) {
        lus.emplace_back(*vol->lire("identifiant"));
        // Never further ahead than the bound, and the record that waits for its place.
        EXPECT_LE(livres, static_cast<int>(lus.size()) + 4);
    }
    EXPECT_EQ(lus, numeros(100));
    EXPECT_EQ(flux.resultat().etat, Etat::fait);

    for (const bool fermer : {false, true}) { // either releases the callback thread
        flux = session.parcourir(unVol(), 1);
        envoyer(10);
        EXPECT_TRUE(flux.suivant());
        fermer ? session.fermer() : flux.abandonner();
        facade.fil.vider();
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
    facade.surActive = [] { return orix::OXS_CONNEXION_IMPOSSIBLE; };
    EXPECT_EQ(refus().statut(), orix::OXS_CONNEXION_IMPOSSIBLE);
    EXPECT_THAT(refus().what(), HasSubstr("no server of the service \"cdv\" accepts a session"));
    EXPECT_EQ(facade.activations(), 5); // each time both servers
}

} // namespace
