// Strangers reach the ports of the client and of the server while a session is under way.
#include "Arrets.h"
#include "SessionEspionnee.h"

#include <sys/resource.h>

using namespace essais;
namespace giop = essais::giop;

namespace {

class Etrangers : public essais::SessionEspionnee
{
  protected:
    /// Does it against both processes, twice, while the session works. Afterwards neither has more threads
    /// and descriptors than before, nor keeps memory for the second time.
    template <class Action>
    void assaillir(const char* nom, Action&& action)
    {
        for (const long croissanceMax : {LONG_MAX, 4096L}) {
            sousTrafic([&] {
                for (const int port : {_portClient, _premier->port()})
                    action(port);
            });
            for (Repos* repos : {&_client, &_serveur})
                repos->verifier(nom, croissanceMax);
        }
    }

  private:
    // Its connections and threads are there once pings have gone both ways, and idle ones have ended.
    const bool _calme = _callbacks.attendre(std::chrono::seconds(1)).nom == "rien";

  protected:
    Repos _client{"self"};
    Repos _serveur{pidServeur()};
};

std::string hasard(std::size_t taille)
{
    static std::minstd_rand generateur(1);
    std::string octets;
    while (octets.size() < taille)
        octets += static_cast<char>(generateur() >> 8);
    return octets;
}

/// What is not, or not all of, a message that anybody expects.
std::vector<std::string> messagesFaux()
{
    using namespace std::string_literals;
    const std::string requete = giop::requete("Noyau", "_non_existent");
    std::vector<std::string> faux{
        "GET / HTTP/1.0\r\n\r\n",
        hasard(3),
        hasard(64),
        hasard(100000),
        std::string(100000, '\0'),
        "GIOP"s,
        giop::entete(giop::REQUEST, 100),                         // and nothing else
        giop::entete(giop::REQUEST, 0xFFFFFFFF) + hasard(100000), // longer than can be
        giop::entete(giop::REQUEST, 3000000) + hasard(100000),    // longer than is accepted
        giop::entete(giop::REQUEST, 0x80000000),
        giop::message(giop::REQUEST, ""),
        giop::message(giop::REQUEST, hasard(200)),
        giop::message(giop::REPLY, giop::octets(7) + giop::octets(0) + giop::octets(0)), // of no request
        giop::message(giop::CANCEL_REQUEST, giop::octets(7)),
        giop::message(giop::CLOSE_CONNECTION, ""),
        giop::message(giop::MESSAGE_ERROR, ""),
        giop::message(giop::FRAGMENT, giop::octets(7) + hasard(100)), // of nothing
        giop::message(giop::LOCATE_REQUEST, giop::octets(7) + giop::octets(0) + giop::octets(0x7FFFFFFF)),
        giop::message(42, hasard(20)),
        requete.substr(0, requete.size() - 1),
        // A key and an operation longer than the message.
        giop::message(giop::REQUEST, giop::octets(7) + giop::octets(3) + giop::octets(0) +
                                         giop::octets(0x7FFFFFF0) + "Noyau"),
        giop::message(giop::REQUEST, giop::octets(7) + giop::octets(3) + giop::octets(0) + giop::octets(4) +
                                         "1234" + giop::octets(0xFFFFFFFF) + "ping"),
    };
    for (const std::size_t place : {4, 5, 6, 7}) { // version, byte order and fragments, kind
        faux.push_back(requete);
        faux.back()[place] = '\x7F';
    }
    return faux;
}

} // namespace

TEST_F(Etrangers, OctetsQuiNeSontPasDesMessages)
{
    const std::vector<std::string> faux = messagesFaux();
    assaillir("wrong messages", [&](int port) {
        for (int fois = 0; fois < 10; ++fois) {
            for (const std::string& octets : faux) {
                Etranger etranger(port);
                ASSERT_TRUE(etranger.estConnecte());
                etranger.envoyer(octets); // may be refused half-way
                etranger.finir();
                EXPECT_TRUE(etranger.attendreFermeture()) << "message " << (&octets - faux.data());
            }
        }
    });
}

TEST_F(Etrangers, RequetesFausses)
{
    const std::string bon = giop::arguments(volFilaire("X"));
    // The last members are the two lists: their counts are the last eight octets.
    const std::string sansListes = bon.substr(0, bon.size() - 8);
    const auto liste = [&](std::uint32_t compte, int presents, const std::string& element) {
        std::string octets = giop::octets(compte);
        for (int i = 0; i < presents; ++i)
            octets += element;
        return octets;
    };
    const std::string vide = giop::octets(0);
    const std::string texte = giop::octets(2) + std::string("T\0\0\0", 4);
    const std::string numeros = giop::arguments(CORBA::Long(1), numeroClient());
    const std::string fausses[] = {
        sansListes + vide + liste(11, 11, texte) + numeros,               // 10 at most
        sansListes + liste(7, 7, texte + texte + texte) + vide + numeros, // 6 at most
        sansListes + vide + giop::octets(0x7FFFFFFF) + numeros,
        sansListes + giop::octets(0xFFFFFFFF) + vide + numeros,
        sansListes,                     // cut
        vide + bon.substr(4) + numeros, // a text without its NUL
        giop::octets(0x7FFFFFFF) + bon.substr(4) + numeros,
        hasard(2000),
    };
    const auto demander = [](const Cible& cible, const std::string& operation, const std::string& arguments) {
        return cible.demander(giop::requete(cible.cle, operation, arguments));
    };
    sousTrafic([&] {
        for (const Cible& cible : {noyau(), service(), client(), notifications()}) {
            for (const std::string& cle : {cible.cle + "?", std::string(), std::string(10000, 'k')})
                EXPECT_EQ(demander({cible.port, cle}, "_non_existent", ""), "OBJECT_NOT_EXIST");
            for (const char* operation : {"operation_inconnue", ""})
                EXPECT_EQ(demander(cible, operation, ""), "BAD_OPERATION");
            EXPECT_EQ(demander(cible, "_non_existent", ""), "");
        }
        for (const std::string& fausse : fausses) {
            EXPECT_EQ(demander(service(), "cree_vol_complet", fausse), "MARSHAL") << (&fausse - fausses);
            // A notification has its status before the record, and one number less after it.
            const std::size_t taille = fausse.size() > numeros.size() ? fausse.size() - 4 : 0;
            EXPECT_EQ(demander(notifications(), "cree_vol_complet", vide + fausse.substr(0, taille)),
                      "MARSHAL")
                << (&fausse - fausses);
        }
    });
    EXPECT_EQ(lister(*vol("*")), std::vector<std::string>{"avant"}); // none was carried out
}

// A number that is somebody's serves only the machine that it was given to.
TEST_F(Etrangers, ParleAuNomDuClient)
{
    const std::string deconnecte = "ClientDeconnecte";
    const struct
    {
        const char* source;
        CORBA::Long numero;
        std::string statut; ///< of a creation and of a ping
    } cas[] = {{ICI, numeroClient() + 1, deconnecte},
               {AILLEURS, numeroClient() + 1, deconnecte},
               {AILLEURS, numeroClient(), deconnecte},
               {ICI, numeroClient(), ""}};
    sousTrafic([&] {
        for (const auto& [source, numero, statut] : cas) {
            const auto demander = [&, de = source](const Cible& cible, const auto&... requete) {
                return cible.demander(cible.requete(requete...), de);
            };
            EXPECT_EQ(demander(service(), "testerConnexionServeur", numero), statut);
            if (statut.empty())
                continue; // that would be its end
            EXPECT_EQ(demander(service(), "cree_vol_complet", volFilaire("intrus"), CORBA::Long(1), numero),
                      statut);
            EXPECT_EQ(demander(service(), "desactiveCB", numero), "");
        }
        // To the client: a ping that carries the number of another.
        for (const CORBA::Long faux : {numeroClient() + 1, 0, -1})
            EXPECT_EQ(
                client().demander(client().requete("testerConnexionClient", "cdv", "cdv1", "tour", faux)),
                "ServeurDeconnecte");
    });
    EXPECT_EQ(lister(*vol("intrus")).size(), 0u);
}

// The client cannot tell a notification that its server has not sent. It is given to the application, under a
// number that is none of its requests, and does no more harm.
TEST_F(Etrangers, NotificationDUnAutre)
{
    Etranger etranger(_portClient);
    EXPECT_EQ(etranger.demander(notification()), "");
    EXPECT_EQ(_callbacks.attendre("cree_vol_completCB").idOp, -1);
    EXPECT_EQ(creer("vrai"), 0);
    EXPECT_EQ(lister(*vol("*")), (std::vector<std::string>{"avant", "vrai"}));
    OXcdvCliItf::desactive();
    EXPECT_EQ(etranger.demander(notification()), "");
    EXPECT_EQ(_callbacks.attendre(std::chrono::milliseconds(300)).nom, "rien"); // inactive: dropped
}

TEST_F(Etrangers, DixMilleConnexionsOuvertesPuisLaissees)
{
    constexpr int CONNEXIONS = 2500; // by the two times of the two ports, 10,000
    assaillir("connections", [&](int port) {
        for (int i = 0; i < CONNEXIONS; ++i) {
            Etranger etranger(port);
            ASSERT_TRUE(etranger.estConnecte()) << i;
            if (i % 3 == 1)
                etranger.envoyer("GIOP");
            if (i % 3 == 2) // also tells that those before were accepted: the queue is short
                etranger.demander(noyau().requete("_non_existent"));
            if (i % 2 == 0)
                etranger.rompreALaFin();
        }
    });
}

// A stranger holds all the connections that the server may have.
TEST_F(Etrangers, ServeurSansDescripteurLibre)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer of undefined behaviour cannot do its checks without a free descriptor";
#endif
    rlimit limite{};
    ASSERT_EQ(prlimit(_premier->pid(), RLIMIT_NOFILE, nullptr, &limite), 0);
    limite.rlim_cur = essais::Ressources::lire(pidServeur()).descripteurs + 20; // some wait at the port
    ASSERT_EQ(prlimit(_premier->pid(), RLIMIT_NOFILE, &limite, nullptr), 0);
    {
        std::deque<Etranger> etrangers;
        sousTrafic([&] {
            do {
                etrangers.emplace_back(_premier->port());
            } while (etrangers.back().estConnecte() && etrangers.size() < 10000);
        });
    }
    _serveur.verifier("no descriptor left", LONG_MAX);
    EXPECT_EQ(noyau().demander(noyau().requete("_non_existent")), "");
}

namespace {

/// Activations that nobody stands behind.
class Fantomes : public Etrangers
{
  protected:
    /// What an activation asks with, when the references are made of that URL.
    std::string activation(const std::string& url, const std::string& nom = "ORIX") const
    {
        const CORBA::Object_var objet =
            orix::oxNoyau()->lirePointAcces()->lireORB()->string_to_object(url.c_str());
        const orix_corba__Client_var face = orix_corba__Client::_unchecked_narrow(objet);
        orix_corba::SequenceNiveauReference niveaux = _espion.niveaux;
        niveaux[0].reference = objet;
        return noyau().requete("activerService", "cdv", niveaux, face.in(), nom.c_str(), "ailleurs");
    }
    static std::string urlDe(const std::string& hote, int port, const std::string& cle)
    {
        std::string url = "corbaloc:iiop:1.2@" + hote + ":" + std::to_string(port) + "/";
        for (const char octet : cle) {
            char texte[4];
            std::snprintf(texte, sizeof texte, "%%%02x", static_cast<unsigned char>(octet));
            url += texte;
        }
        return url;
    }
    struct Reponse
    {
        int statut;
        std::uint32_t numero;
    };
    static Reponse activer(Etranger& etranger, const std::string& requete)
    {
        constexpr std::size_t STATUT =
            giop::TAILLE_ENTETE + 12; // the first of the results; the last is the number
        etranger.envoyer(requete);
        const std::string reponse = etranger.recevoir();
        if (reponse.size() < STATUT + 4)
            return {-1, 0};
        return {static_cast<int>(giop::entier(reponse, STATUT)), giop::entier(reponse, reponse.size() - 4)};
    }

    const std::string _service = urlDe(ICI, service().port, service().cle);
};

} // namespace

// Whoever reaches the kernel may activate itself; those that do not answer pings go, and nothing of them
// stays.
TEST_F(Fantomes, NePrennentNiPlaceNiMemoire)
{
    const int FOIS = essais::nombreTours(400); // of each kind
    constexpr long CROISSANCE_MAX = 32 * 1024; // kB
    const essais::Muet muet("127.0.0.3");
    const std::string demande = giop::arguments(volFilaire("*"), CORBA::Long(1));
    const std::string longue(20000, 'k');
    const struct
    {
        const char* source;
        std::string requete;
        bool avecDemande;
        int statut;
    } sortes[] = {
        {ICI, activation(_service), false, orix::OXS_OK}, // the server's own object
        {AILLEURS, activation(urlDe(AILLEURS, 1, "x")), true, orix::OXS_OK},
        {"127.0.0.3", activation(urlDe("127.0.0.3", muet.port(), "x")), true, orix::OXS_OK},
        {"127.0.0.4", activation(urlDe("127.0.0.4", 1, longue), longue), false, orix::OXS_PARAMETRE_INVALIDE},
    };
    sousTrafic([&] {
        for (const auto& [source, requete, avecDemande, statut] : sortes) {
            Etranger etranger(_premier->port(), source);
            for (int i = 0; i < FOIS; ++i) {
                const Reponse reponse = activer(etranger, requete);
                ASSERT_TRUE(i >= 100 || reponse.statut == statut) << source << ": " << reponse.statut;
                if (avecDemande)
                    etranger.demander(giop::requete(service().cle, "liste_vol_complet",
                                                    demande + giop::octets(reponse.numero)));
            }
        }
    });
    // Now, while the last of them are still there, there is a place for who answers.
    OXcdvCliItf::desactive();
    EXPECT_EQ(SessionReelle::activer(), "cdv1");
    EXPECT_EQ(creer("ensuite"), 0);
    _serveur.verifier("phantoms", CROISSANCE_MAX);
}

// A server connects to nobody but who asked it to.
TEST_F(Fantomes, NEnvoientPasLeServeurAilleurs)
{
    const auto refus = orix::OXS_PARAMETRE_INVALIDE;
    const struct
    {
        const char* source;
        std::string url;
        int statut;
    } cas[] = {
        {ICI, urlDe(ICI, 9, "x"), orix::OXS_OK},
        {ICI, urlDe("localhost", 9, "x"), orix::OXS_OK},
        {ICI, urlDe("192.0.2.1", 9, "x"), refus},
        {ICI, urlDe("un.autre.invalid", 9, "x"), refus},
        {ICI, "corbaloc:iiop:127.0.0.1:9,iiop:192.0.2.1:9/x", refus},
        {ICI, urlDe(ICI, 9, std::string(4096, 'k')), refus},
        {AILLEURS, urlDe(AILLEURS, 9, "x"), orix::OXS_OK},
        {AILLEURS, urlDe("[::ffff:127.0.0.2]", 9, "x"), orix::OXS_OK},
        {AILLEURS, urlDe(ICI, 9, "x"), refus},
        {AILLEURS, _service, refus},
    };
    for (const auto& [source, url, statut] : cas) {
        Etranger etranger(_premier->port(), source);
        EXPECT_EQ(activer(etranger, activation(url)).statut, statut) << source << " " << url;
    }
    ServeurReel partout(_dossier.fichier("autre.db"), {"--clients-ailleurs", "--trace", "300"});
    Etranger etranger(partout.port(), AILLEURS);
    EXPECT_EQ(activer(etranger, activation(urlDe("192.0.2.1", 9, "x"), std::string(300, 'n'))).statut,
              orix::OXS_OK);
    EXPECT_TRUE(partout.attendreErreurs(": " + std::string(128, 'n') + " sur")) << partout.erreurs();
}

TEST_F(Etrangers, RienNEcouteHorsDeLAdresseConfiguree)
{
    for (const int port : {_portClient, _premier->port()}) {
        EXPECT_TRUE(Etranger(port).estConnecte());
        EXPECT_FALSE(Etranger(port, "0.0.0.0", nullptr, AILLEURS).estConnecte()) << port;
    }
    EXPECT_EQ(orix::Configuration()[orix::cle::pointsAcces], std::vector<std::string>{"127.0.0.1:0"});
}
