// Messages that wait for each other, up to the wire: what leaves, when, and what its senders are told.
#include "EnvoiSansReponse.h"
#include "Etranger.h"
#include "LiaisonORB.h"
#include "orix/EnvoisGroupes.h"

namespace giop = essais::giop;

namespace {

constexpr std::chrono::seconds PATIENCE(30);

/// A server that accepts one connection, and reads when it is told to. Its system keeps little for it.
class Pair
{
  public:
    std::string url() const
    {
        return "corbaloc:iiop:1.2@127.0.0.1:" + std::to_string(_ecoute.port()) + "/Pair";
    }
    void accepter() { _client.emplace(_ecoute); }
    bool rienNeVient() const { return _client->rienNeVient(); }
    void fermer() ///< nobody is there any more
    {
        _client.reset();
        _ecoute.fermer();
    }
    /// The argument of each request, in the order of their arrival; until there are so many or the client
    /// closes.
    std::vector<int> lire(std::size_t nombre)
    {
        std::vector<int> lus;
        for (std::string message = "?"; lus.size() < nombre && !message.empty();)
            if (message = _client->recevoir(); !message.empty() && message[7] == giop::REQUEST)
                lus.push_back(
                    static_cast<int>(giop::entier(message, message.size() - sizeof(std::uint32_t))));
        return lus;
    }

  private:
    essais::Muet _ecoute{"127.0.0.1", 4096};
    std::optional<essais::Etranger> _client;
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

/// Each thing that makes what waits leave; the connection's first message leaves alone.
TEST_F(EnvoisGroupes, CeQuiAttendPartAvantCeQuiSuit)
{
    constexpr int NOMBRE = 5000;
    envoyer(0, 1);
    _pair.accepter();
    {
        const orix::EnvoisGroupes groupe;
        envoyer(1, 3);
        std::thread([this] { envoyer(4, 1); }).join();
        EXPECT_EQ(_pair.lire(5), suite(5)) << "behind those that wait";
        envoyer(0, 3);
        orix::EnvoisGroupes::envoyer();
        EXPECT_EQ(_pair.lire(3), suite(3)) << "when it is asked for";
        {
            const orix::EnvoisGroupes dedans;
            envoyer(0, 3);
        }
        EXPECT_TRUE(_pair.rienNeVient()) << "the outermost counts";
    }
    EXPECT_EQ(_pair.lire(3), suite(3)) << "at its end";
    const orix::EnvoisGroupes groupe;
    envoyer(0, NOMBRE); // more than waits, and the end of the connection right behind
    detruire();
    EXPECT_EQ(_pair.lire(NOMBRE + 1), suite(NOMBRE));
}

TEST_F(EnvoisGroupes, LaPerteDuPairEstDite)
{
    envoyer(0, 1);
    _pair.accepter();
    EXPECT_EQ(_pair.lire(1), suite(1));
    _pair.fermer();
    const orix::EnvoisGroupes groupe;
    const auto envoyerSansFin = [this] {
        for (int i = 0; i < 1000000; ++i)
            envoyer(i, 1);
    };
    EXPECT_THROW(envoyerSansFin(), CORBA::SystemException) << "to those that follow";
}

/// Bursts on two connections, one of whose peers takes nothing in: it holds the other's up nowhere.
TEST_F(EnvoisGroupes, UnPairQuiNeLitPasNeRetientPasLAutre)
{
    constexpr int NOMBRE = 200000;
    std::atomic<int> envoyes{0};
    auto envoi = std::async(std::launch::async, [&] {
        const orix::EnvoisGroupes groupe;
        for (; envoyes < NOMBRE; ++envoyes)
            envoyer(envoyes, 1);
    });
    envoyer(_autreServeur, 0, 1);
    _autrePair.accepter();
    EXPECT_EQ(_autrePair.lire(1), suite(1));
    int avant = 0;
    const orix::EnvoisGroupes groupe;
    for (int immobile = 0; immobile < 1000; ++immobile) { // bursts in a row while the other does not move
        if (const int maintenant = envoyes; maintenant != avant) {
            avant = maintenant;
            immobile = 0;
        }
        envoyer(_autreServeur, 0, 100);
        orix::EnvoisGroupes::envoyer();
        ASSERT_EQ(_autrePair.lire(100), suite(100));
    }
    EXPECT_LT(avant, NOMBRE) << "it never had to wait";
    _pair.accepter();
    EXPECT_EQ(_pair.lire(NOMBRE), suite(NOMBRE));
    envoi.get();
}
