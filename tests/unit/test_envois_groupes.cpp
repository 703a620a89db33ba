// The messages of a burst, up to the wire: what leaves, when, and what its senders are told.
#include "EnvoiSansReponse.h"
#include "Etranger.h"
#include "LiaisonORB.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <future>
#include <string>
#include <utility>
#include <vector>

namespace giop = essais::giop;

namespace {

constexpr std::chrono::seconds PATIENCE(30);

/// A server that accepts one connection, and reads when it is told to. Its system keeps little for it.
class Pair
{
  public:
    Pair()
    {
        const int octets = 4096;
        EXPECT_EQ(setsockopt(_ecoute, SOL_SOCKET, SO_RCVBUF, &octets, sizeof octets), 0);
        sockaddr_in adresse{};
        adresse.sin_family = AF_INET;
        adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t taille = sizeof adresse;
        auto* const generale = reinterpret_cast<sockaddr*>(&adresse); // how sockets want it
        EXPECT_EQ(bind(_ecoute, generale, taille), 0);
        EXPECT_EQ(listen(_ecoute, 1), 0);
        EXPECT_EQ(getsockname(_ecoute, generale, &taille), 0);
        _url = "corbaloc:iiop:127.0.0.1:" + std::to_string(ntohs(adresse.sin_port)) + "/Pair";
    }
    ~Pair() { fermer(); }

    const std::string& url() const { return _url; }
    void accepter() { _prise = accept(_ecoute, nullptr, nullptr); }
    void fermer() ///< nobody is there any more
    {
        close(std::exchange(_prise, -1));
        close(std::exchange(_ecoute, -1));
    }

    /// The argument of each request, in the order of their arrival; until there are so many or the client
    /// closes.
    std::vector<int> lire(std::size_t nombre)
    {
        std::vector<int> lus;
        std::string message;
        while (lus.size() < nombre && recevoir(message))
            if (message[7] == giop::REQUEST) {
                std::int32_t argument = 0;
                std::memcpy(&argument, &message[message.size() - sizeof argument], sizeof argument);
                lus.push_back(argument);
            }
        return lus;
    }

  private:
    bool recevoir(std::string& message)
    {
        message.resize(giop::TAILLE_ENTETE);
        if (!lireOctets(message.data(), message.size()))
            return false;
        std::uint32_t reste = 0;
        std::memcpy(&reste, &message[8], sizeof reste);
        message.resize(giop::TAILLE_ENTETE + reste);
        return lireOctets(&message[giop::TAILLE_ENTETE], reste);
    }
    bool lireOctets(char* octets, std::size_t taille)
    {
        return recv(_prise, octets, taille, MSG_WAITALL) == static_cast<ssize_t>(taille);
    }

    int _ecoute = socket(AF_INET, SOCK_STREAM, 0);
    int _prise = -1;
    std::string _url;
};

class EnvoisGroupes : public testing::Test
{
  protected:
    void SetUp() override
    {
        orix::orb::ParametresORB parametres;
        parametres.delaiAppel = PATIENCE;
        int argc = 0;
        _orb = orix::orb::creerORB(argc, nullptr, parametres);
        const CORBA::Object_var objet = _orb->string_to_object(_pair.url().c_str());
        _serveur = orix_corba::Serveur::_unchecked_narrow(objet);
        const CORBA::Object_var autre = _orb->string_to_object(_autrePair.url().c_str());
        _autreServeur = orix_corba::Serveur::_unchecked_narrow(autre);
    }
    void TearDown() override
    {
        if (!CORBA::is_nil(_orb))
            detruire();
    }

    void detruire()
    {
        _serveur = _autreServeur = orix_corba::Serveur::_nil();
        orix::orb::detruireORB(std::exchange(_orb, CORBA::ORB::_nil()));
    }

    void envoyer(int premier, int nombre) { envoyer(_serveur, premier, nombre); }
    static void envoyer(orix_corba::Serveur_ptr serveur, int premier, int nombre)
    {
        static const auto personne =
            orix_corba::AMI_ServeurHandler::_nil(); // once, for the threads that send
        for (int numero = premier; numero < premier + nombre; ++numero)
            orix::orb::envoyer(serveur, &orix_corba::_objref_Serveur::sendc_desactiveCB, "desactiveCB",
                               personne, CORBA::Long(numero));
    }

    static std::vector<int> suite(int nombre)
    {
        std::vector<int> numeros(nombre);
        std::generate(numeros.begin(), numeros.end(), [n = 0]() mutable { return n++; });
        return numeros;
    }

    Pair _pair;
    Pair _autrePair;
    CORBA::ORB_var _orb;
    orix_corba::Serveur_var _serveur;
    orix_corba::Serveur_var _autreServeur;
};

} // namespace

/// The end comes right behind a burst, on a connection that the peer has not begun to read.
TEST_F(EnvoisGroupes, CeQuiAttendPartAvantLaFin)
{
    constexpr int NOMBRE = 5000;
    envoyer(0, NOMBRE);
    detruire();
    _pair.accepter();
    EXPECT_EQ(_pair.lire(NOMBRE + 1), suite(NOMBRE));
}

TEST_F(EnvoisGroupes, LaPerteDuPairEstDiteAuxSuivants)
{
    envoyer(0, 100);
    _pair.accepter();
    EXPECT_EQ(_pair.lire(100), suite(100));
    _pair.fermer();
    const auto envoyerSansFin = [this] {
        for (int i = 0; i < 1000000; ++i)
            envoyer(i, 1);
    };
    EXPECT_THROW(envoyerSansFin(), CORBA::SystemException);
}

/// Bursts on two connections, one of whose peers takes nothing in: it holds the other's up nowhere.
TEST_F(EnvoisGroupes, UnPairQuiNeLitPasNeRetientPasLAutre)
{
    constexpr int NOMBRE = 200000;
    std::atomic<int> envoyes{0};
    auto envoi = std::async(std::launch::async, [&] {
        for (; envoyes < NOMBRE; ++envoyes)
            envoyer(envoyes, 1);
    });
    envoyer(_autreServeur, 0, 1);
    _autrePair.accepter();
    EXPECT_EQ(_autrePair.lire(1), suite(1));
    int avant = 0;
    for (int immobile = 0; immobile < 1000; ++immobile) { // bursts in a row while the other does not move
        if (const int maintenant = envoyes; maintenant != avant) {
            avant = maintenant;
            immobile = 0;
        }
        envoyer(_autreServeur, 0, 100);
        ASSERT_EQ(_autrePair.lire(100), suite(100));
    }
    EXPECT_LT(avant, NOMBRE) << "it never had to wait";
    _pair.accepter();
    EXPECT_EQ(_pair.lire(NOMBRE), suite(NOMBRE));
    envoi.get();
}
