// Strangers reach the ports of the client and of the server while a session is under way.
#include "Arrets.h"
#include "SessionEspionnee.h"

#include "orix/OXcode_statData.h"

#include <sys/resource.h>

#include <cstdint>
#include <deque>
#include <iostream>
#include <random>

using essais::Appel;
using essais::Etranger;
using essais::Ressources;
using essais::ServeurReel;
using essais::vol;
namespace giop = essais::giop;

namespace {

constexpr const char* OBJECT_NOT_EXIST = "IDL:omg.org/CORBA/OBJECT_NOT_EXIST:1.0";
constexpr const char* BAD_OPERATION = "IDL:omg.org/CORBA/BAD_OPERATION:1.0";
constexpr const char* MARSHAL = "IDL:omg.org/CORBA/MARSHAL:1.0";
constexpr const char* CLIENT_DECONNECTE = "IDL:orix_corba/ClientDeconnecte:1.0";
constexpr const char* SERVEUR_DECONNECTE = "IDL:orix_corba/ServeurDeconnecte:1.0";
constexpr std::chrono::seconds RETOUR{40}; // for idle threads and connections to end

class Etrangers : public essais::SessionEspionnee
{
  protected:
    /// Does it against both processes, twice, while the session works. Afterwards neither has more threads
    /// and descriptors than before, nor keeps memory for the second time.
    template <class Action>
    void assaillir(const char* nom, Action&& action)
    {
        const std::string processus[] = {"self", pidServeur()};
        const int ports[] = {_portClient, _premier->port()};
        const auto assaut = [&] {
            for (const int port : ports)
                action(port);
        };
        sousTrafic(assaut);
        long memoire[2];
        for (int i = 0; i < 2; ++i)
            memoire[i] = essais::memoire::lire("VmRSS", processus[i]);
        sousTrafic(assaut);
        for (int i = 0; i < 2; ++i) {
            const Ressources apres = verifierRetour(_repos[i], processus[i]);
            const long croissance = essais::memoire::lire("VmRSS", processus[i]) - memoire[i];
            EXPECT_TRUE(!essais::MEMOIRE_MESURABLE || croissance < 4096) << croissance << " kB more";
            std::cout << nom << ", " << (i == 0 ? "client" : "server") << ": " << _repos[i] << " before, "
                      << apres << " after, " << croissance << " kB more at the second time" << std::endl;
        }
        EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol(std::string("apres ") + nom)).statut, 0);
    }

    /// Waits until the process has no more threads and descriptors than that; gives what it has.
    static Ressources verifierRetour(const Ressources& avant, const std::string& processus)
    {
        const Ressources apres = Ressources::attendre(avant, RETOUR, processus);
        EXPECT_LE(apres.fils, avant.fils) << apres << ", before " << avant;
        EXPECT_LE(apres.descripteurs, avant.descripteurs) << apres << ", before " << avant;
        return apres;
    }

    Etrangers()
    {
        // Its connections and threads are there once pings have gone both ways, and idle ones have ended.
        EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("avant")).statut, 0);
        EXPECT_EQ(_callbacks.attendre(std::chrono::seconds(1)).nom, "rien"); // several pings
        _repos[0] = Ressources::lire();
        _repos[1] = Ressources::lire(pidServeur());
        // A thread of the ORB that has nothing to do waits for a while; a descriptor may be a file being
        // read.
        for (Ressources& repos : _repos) {
            repos.fils += 4;
            repos.descripteurs += 4;
        }
    }

    Ressources _repos[2];
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
    OXvol_completData_v3_0_0 tropDePoints = volFilaire("X");
    OXvol_completData_v3_0_0 tropDeChangements = tropDePoints;
    const std::string bon = giop::arguments(tropDePoints);
    const auto apres = [](const std::string& arguments) {
        return arguments + std::string((4 - arguments.size() % 4) % 4, '\0');
    };
    // The last members are the two lists: their counts are the last eight octets.
    const std::string sansListes = bon.substr(0, bon.size() - 8);
    const auto liste = [&](std::uint32_t compte, int presents, const std::string& element) {
        std::string octets = giop::octets(compte);
        for (int i = 0; i < presents; ++i)
            octets = apres(octets + element);
        return octets;
    };
    const std::string texte = giop::octets(2) + std::string("T", 2);
    const std::string changement = apres(texte) + apres(texte) + texte;
    const std::string numeros = giop::octets(1) + giop::octets(static_cast<std::uint32_t>(numeroClient()));
    const std::string fausses[] = {
        sansListes + giop::octets(0) + liste(11, 11, texte) + numeros,    // 10 at most
        sansListes + liste(7, 7, changement) + giop::octets(0) + numeros, // 6 at most
        sansListes + giop::octets(0) + giop::octets(0x7FFFFFFF) + numeros,
        sansListes + giop::octets(0xFFFFFFFF) + giop::octets(0) + numeros,
        sansListes,                                // cut
        giop::octets(0) + bon.substr(4) + numeros, // a text without its NUL
        giop::octets(0x7FFFFFFF) + bon.substr(4) + numeros,
        hasard(2000),
    };
    const Cible cibles[] = {noyau(), service(), client(), notifications()};
    int essais = 0;
    sousTrafic([&] {
        for (const Cible& cible : cibles) {
            Etranger etranger(cible.port);
            const auto demander = [&](const auto&... requete) {
                ++essais;
                return etranger.demander(giop::requete(requete...));
            };
            EXPECT_EQ(demander(cible.cle + "?", "_non_existent"), OBJECT_NOT_EXIST);
            EXPECT_EQ(demander("", "_non_existent"), OBJECT_NOT_EXIST);
            EXPECT_EQ(demander(std::string(10000, 'k'), "_non_existent"), OBJECT_NOT_EXIST);
            EXPECT_EQ(demander(cible.cle, "operation_inconnue"), BAD_OPERATION);
            EXPECT_EQ(demander(cible.cle, ""), BAD_OPERATION);
            EXPECT_EQ(demander(cible.cle, "_non_existent"), "");
        }
        for (const std::string& fausse : fausses) {
            // A notification has its status before the record, and one number less after it.
            const std::string enNotification =
                giop::octets(0) + fausse.substr(0, fausse.size() > numeros.size() ? fausse.size() - 4 : 0);
            for (const auto& [cible, arguments] :
                 {std::pair(service(), fausse), std::pair(notifications(), enNotification)}) {
                EXPECT_EQ(
                    Etranger(cible.port).demander(giop::requete(cible.cle, "cree_vol_complet", arguments)),
                    MARSHAL)
                    << "case " << (&fausse - fausses);
                ++essais;
            }
        }
    });
    std::cout << essais << " wrong requests" << std::endl;
    EXPECT_EQ(lister(*vol("X")).size(), 0u); // none was carried out
    EXPECT_EQ(_callbacks.nombre(), 0u);      // and none delivered
}

// A number that is somebody's serves only the machine that it was given to.
TEST_F(Etrangers, ParleAuNomDuClient)
{
    const Cible serveur = service();
    const auto numero = [](CORBA::Long n) { return giop::octets(static_cast<std::uint32_t>(n)); };
    const std::string creation = giop::arguments(volFilaire("intrus"), CORBA::Long(1), numeroClient());
    const std::string creationInconnu =
        giop::arguments(volFilaire("intrus"), CORBA::Long(1), numeroClient() + 1);
    const auto demander = [](const Cible& cible, const char* operation, const std::string& arguments,
                             const char* source) {
        return Etranger(cible.port, source).demander(giop::requete(cible.cle, operation, arguments));
    };
    constexpr const char* AILLEURS = "127.0.0.2"; // stands for another machine
    sousTrafic([&] {
        for (const char* source : {"127.0.0.1", AILLEURS}) {
            EXPECT_EQ(demander(serveur, "cree_vol_complet", creationInconnu, source), CLIENT_DECONNECTE);
            EXPECT_EQ(demander(serveur, "testerConnexionServeur", numero(numeroClient() + 1), source),
                      CLIENT_DECONNECTE);
            EXPECT_EQ(demander(serveur, "desactiveCB", numero(numeroClient() + 1), source), "");
        }
        EXPECT_EQ(demander(serveur, "cree_vol_complet", creation, AILLEURS), CLIENT_DECONNECTE);
        EXPECT_EQ(demander(serveur, "testerConnexionServeur", numero(numeroClient()), AILLEURS),
                  CLIENT_DECONNECTE);
        EXPECT_EQ(demander(serveur, "desactiveCB", numero(numeroClient()), AILLEURS), "");
        EXPECT_EQ(demander(serveur, "testerConnexionServeur", numero(numeroClient()), "127.0.0.1"), "");

        // To the client: a ping that carries the number of another.
        for (const CORBA::Long faux : {numeroClient() + 1, 0, -1}) {
            EXPECT_EQ(demander(client(), "testerConnexionClient",
                               giop::arguments("cdv", "cdv1", "tour", faux), "127.0.0.1"),
                      SERVEUR_DECONNECTE);
        }
    });
    EXPECT_EQ(lister(*vol("intrus")).size(), 0u);
}

// The client cannot tell a notification that its server has not sent. It is given to the application, under a
// number that is none of its requests, and does no more harm.
TEST_F(Etrangers, NotificationDUnAutre)
{
    constexpr int FOIS = 500;
    const Cible cible = notifications();
    Etranger etranger(cible.port);
    for (int i = 0; i < FOIS; ++i) {
        const CORBA::Long idOp = -1 - i;
        ASSERT_EQ(etranger.demander(giop::requete(cible.cle, "cree_vol_complet",
                                                  giop::arguments(CORBA::Long(0), volFilaire("faux"), idOp))),
                  "");
        const Appel appel = _callbacks.attendre();
        ASSERT_EQ(appel.nom, "cree_vol_completCB");
        ASSERT_EQ(appel.idOp, idOp);
    }
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("vrai")).statut, 0);
    EXPECT_EQ(lister(*vol("*")), (std::vector<std::string>{"avant", "vrai"}));
    OXcdvCliItf::desactive();
    EXPECT_EQ(etranger.demander(giop::requete(cible.cle, "supprime_vol_complet",
                                              giop::arguments(CORBA::Long(0), CORBA::Long(1)))),
              "");
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
                etranger.demander(giop::requete("Noyau", "_non_existent"));
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
    limite.rlim_cur = _repos[1].descripteurs + 20; // some more wait in the queue of the port
    ASSERT_EQ(prlimit(_premier->pid(), RLIMIT_NOFILE, &limite, nullptr), 0);
    {
        std::deque<Etranger> etrangers;
        sousTrafic([&] {
            do {
                etrangers.emplace_back(_premier->port());
            } while (etrangers.back().estConnecte() && etrangers.size() < 10000);
        });
    }
    verifierRetour({SIZE_MAX, _repos[1].descripteurs}, pidServeur());
    const Cible cible = noyau();
    EXPECT_EQ(Etranger(cible.port).demander(giop::requete(cible.cle, "_non_existent")), "");
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("apres")).statut, 0);
}

namespace {

/// Activations that nobody stands behind.
class Fantomes : public Etrangers
{
  protected:
    /// What an activation asks with, when the references are made of that URL.
    static std::string activation(const std::string& url, const std::string& nom = "ORIX")
    {
        const CORBA::Object_var objet =
            orix::oxNoyau()->lirePointAcces()->lireORB()->string_to_object(url.c_str());
        const orix_corba__Client_var client = orix_corba__Client::_unchecked_narrow(objet);
        orix_corba::SequenceNiveauReference niveaux;
        niveaux.length(1);
        niveaux[0].majeur = 3;
        niveaux[0].mineur = niveaux[0].correctif = niveaux[0].construction = 0;
        niveaux[0].reference = objet;
        return giop::requete("Noyau", "activerService",
                             giop::arguments("cdv", niveaux, client.in(), nom.c_str(), "ailleurs"));
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

    const std::string _service = urlDe("127.0.0.1", service().port, service().cle);
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
        {"127.0.0.1", activation(_service), false, orix::OXS_OK}, // the server's own object
        {"127.0.0.2", activation(urlDe("127.0.0.2", 1, "x")), true, orix::OXS_OK},
        {"127.0.0.3", activation(urlDe("127.0.0.3", muet.port(), "x")), true, orix::OXS_OK},
        {"127.0.0.4", activation(urlDe("127.0.0.4", 1, longue), longue), false, orix::OXS_PARAMETRE_INVALIDE},
    };
    const long memoire = essais::memoire::lire("VmRSS", pidServeur());
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
            std::cout << source << ": " << Ressources::lire(pidServeur()) << std::endl;
        }
    });
    // Now, while the last of them are still there, there is a place for who answers.
    OXcdvCliItf::desactive();
    EXPECT_EQ(SessionReelle::activer(), "cdv1");
    EXPECT_EQ(demander(&OXcdvCliItf::cree_vol_complet, *vol("apres")).statut, 0);
    const Ressources apres = verifierRetour(_repos[1], pidServeur());
    const long croissance = essais::memoire::lire("VmRSS", pidServeur()) - memoire;
    std::cout << _repos[1] << " before, " << apres << " after, " << croissance << " kB more" << std::endl;
    EXPECT_TRUE(!essais::MEMOIRE_MESURABLE || croissance < CROISSANCE_MAX) << croissance << " kB more";
}

// A server connects to nobody but who asked it to.
TEST_F(Fantomes, NEnvoientPasLeServeurAilleurs)
{
    const std::string longue(4096, 'k');
    const struct
    {
        const char* source;
        std::string url;
        int statut;
    } cas[] = {
        {"127.0.0.1", urlDe("127.0.0.1", 9, "x"), orix::OXS_OK},
        {"127.0.0.1", urlDe("localhost", 9, "x"), orix::OXS_OK},
        {"127.0.0.1", urlDe("192.0.2.1", 9, "x"), orix::OXS_PARAMETRE_INVALIDE},
        {"127.0.0.1", urlDe("un.autre.invalid", 9, "x"), orix::OXS_PARAMETRE_INVALIDE},
        {"127.0.0.1", "corbaloc:iiop:127.0.0.1:9,iiop:192.0.2.1:9/x", orix::OXS_PARAMETRE_INVALIDE},
        {"127.0.0.1", urlDe("127.0.0.1", 9, longue), orix::OXS_PARAMETRE_INVALIDE},
        {"127.0.0.2", urlDe("127.0.0.2", 9, "x"), orix::OXS_OK},
        {"127.0.0.2", urlDe("[::ffff:127.0.0.2]", 9, "x"), orix::OXS_OK},
        {"127.0.0.2", urlDe("127.0.0.1", 9, "x"), orix::OXS_PARAMETRE_INVALIDE},
        {"127.0.0.2", _service, orix::OXS_PARAMETRE_INVALIDE},
    };
    for (const auto& [source, url, statut] : cas) {
        Etranger etranger(_premier->port(), source);
        EXPECT_EQ(activer(etranger, activation(url)).statut, statut) << source << " " << url;
    }
    ServeurReel partout(_dossier.fichier("autre.db"), {"--clients-ailleurs", "--trace", "300"});
    Etranger etranger(partout.port(), "127.0.0.2");
    EXPECT_EQ(activer(etranger, activation(urlDe("192.0.2.1", 9, "x"), std::string(300, 'n'))).statut,
              orix::OXS_OK);
    EXPECT_TRUE(partout.attendreErreurs(": " + std::string(128, 'n') + " sur")) << partout.erreurs();
}

TEST_F(Etrangers, RienNEcouteHorsDeLAdresseConfiguree)
{
    for (const int port : {_portClient, _premier->port()}) {
        EXPECT_TRUE(Etranger(port).estConnecte());
        EXPECT_FALSE(Etranger(port, "0.0.0.0", nullptr, "127.0.0.2").estConnecte()) << port;
    }
    EXPECT_EQ(orix::Configuration()[orix::cle::pointsAcces], std::vector<std::string>{"127.0.0.1:0"});
}
