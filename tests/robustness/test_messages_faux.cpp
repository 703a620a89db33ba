// Wrong messages, whole and by half, in numbers: what they cost is given back, at both ends.
#include "Arrets.h"
#include "SessionEspionnee.h"

using essais::Etranger;
namespace giop = essais::giop;

namespace {

constexpr long CROISSANCE_MAX = 8192; // kB, of some 75,000 that came

class MessagesFaux : public essais::SessionEspionnee
{
  protected:
    const std::string _processus[2] = {"self", pidServeur()};
    const int _ports[2] = {_portClient, _premier->port()};
};

std::string texte(std::size_t taille)
{
    return giop::octets(static_cast<std::uint32_t>(taille)) + std::string(taille, 'x');
}

/// The answer to the request, with that status.
std::string reponse(const std::string& requete, std::uint32_t statut, const std::string& corps)
{
    return giop::message(giop::REPLY, requete.substr(giop::TAILLE_ENTETE, 4) + giop::octets(statut) +
                                          giop::octets(0) + corps);
}

/// The beginning of a reference, of which one profile follows.
std::string type(std::size_t taille)
{
    return giop::octets(static_cast<std::uint32_t>(taille)) + std::string(taille - 1, 't') + '\0';
}

/// Of a reference: one whose body is none.
std::string profilFaux()
{
    return giop::octets(1) + giop::octets(0) + giop::octets(8) + std::string(8, '\x7F');
}

/// What the ORB would lose, or keep: each of several kinds, of about that size.
std::vector<std::string> messages(const std::string& cle, std::size_t taille)
{
    const std::string vide = giop::octets(1) + std::string(4, '\0');
    const std::string niveau = giop::octets(3) + std::string(12, '\0');
    const auto activation = [&](const std::string& reference) {
        return giop::requete(cle, "activerService", vide + giop::octets(1) + niveau + reference);
    };
    const std::string parProfil = giop::octets(7) + giop::octets(3) + giop::octets(1) + giop::octets(0) +
                                  giop::octets(static_cast<std::uint32_t>(taille + 8)) +
                                  std::string("\1\1\2\0", 4) + texte(taille);
    return {giop::requete(cle, "_is_a", texte(taille)), activation(type(taille) + profilFaux()),
            activation(texte(taille)), giop::message(giop::REQUEST, parProfil)};
}

} // namespace

TEST_F(MessagesFaux, NeLaissentRienEnMemoire)
{
    const int FOIS = essais::nombreTours(600); // of each kind
    const std::string cles[2] = {client().cle, noyau().cle};
    for (int bout = 0; bout < 2; ++bout) {
        const auto envoyer = [&](int fois) {
            for (int i = 0; i < fois; ++i)
                for (const std::string& message : messages(cles[bout], i % 2 == 0 ? 60000 : 3000))
                    Etranger(_ports[bout]).demander(message);
        };
        envoyer(FOIS / 10); // buffers and threads are there
        essais::Repos repos(_processus[bout]);
        envoyer(FOIS);
        repos.verifier("wrong messages", CROISSANCE_MAX);
    }
}

TEST_F(MessagesFaux, LePremierFinitLaConnexion)
{
    Etranger etranger(_premier->port());
    EXPECT_EQ(etranger.demander(giop::requete("Noyau", "_is_a", texte(100))), "MARSHAL");
    EXPECT_TRUE(etranger.attendreFermeture());
    // Of somebody who is not known, and longer than such messages are.
    Etranger long_(_premier->port(), AILLEURS);
    long_.envoyer(giop::requete("Noyau", "_is_a", texte(70000)));
    EXPECT_TRUE(long_.attendreFermeture());
}

TEST_F(MessagesFaux, UneAdresseQuiContinueNEstPlusRecue)
{
    for (int i = 0; i < 20; ++i) {
        Etranger etranger(_premier->port(), AILLEURS);
        etranger.envoyer("GET / HTTP/1.0\r\n\r\n");
        etranger.attendreFermeture();
    }
    const std::string bonne = noyau().requete("_non_existent");
    EXPECT_EQ(noyau().demander(bonne, AILLEURS), "closed");
    EXPECT_EQ(noyau().demander(bonne, "127.0.0.3"), "");
    EXPECT_EQ(noyau().demander(bonne), ""); // its clients are there
}

TEST_F(MessagesFaux, ParMoitieIlsSontAbandonnes)
{
    const int CONNEXIONS = essais::nombreTours(500); // to each end
    const std::string entier = noyau().requete("_non_existent");
    const std::string moities[] = {entier.substr(0, 1), entier.substr(0, 11), entier.substr(0, 30),
                                   entier.substr(0, entier.size() - 1),
                                   giop::entete(giop::REQUEST, 60000) + std::string(20000, '\0')};
    for (int bout = 0; bout < 2; ++bout) {
        essais::Repos repos(_processus[bout]);
        std::deque<Etranger> etrangers;
        for (int i = 0; i < CONNEXIONS; ++i)
            etrangers.emplace_back(_ports[bout]).envoyer(moities[i % std::size(moities)]);
        for (Etranger& etranger : etrangers)
            EXPECT_TRUE(etranger.attendreFermeture());
        etrangers.clear(); // some of the descriptors are its own
        repos.verifier("messages by half", 64 * 1024);
    }
}

// Each ends the activation that it answers, and nothing else.
TEST(ReponsesFausses, NeLaissentRienEnMemoire)
{
    const auto FOIS = static_cast<std::size_t>(essais::nombreTours(300)); // of each kind
    const std::string vide = giop::octets(1) + std::string(4, '\0');
    const std::string debut = giop::octets(0) + vide + vide + giop::octets(3) + std::string(12, '\0');
    const std::uint32_t statuts[] = {0, 0, 1, 2, 3};
    std::size_t rang = 0;
    const auto repondre = [&](const std::string& requete) {
        if (requete.find("activerService") == std::string::npos)
            return reponse(requete, 0, std::string(1, '\0'));
        const std::size_t taille = rang % 2 == 0 ? 7000 : 60000;
        const std::string reference = type(taille) + profilFaux();
        const std::string corps[] = {debut + reference, debut + texte(taille), texte(taille), texte(taille),
                                     reference};
        const std::size_t sorte = rang++ % std::size(corps);
        return reponse(requete, statuts[sorte], corps[sorte]);
    };
    essais::Muet noyau("127.0.0.1");
    std::thread serveur([&] {
        for (int prise = noyau.accepter(); prise != -1; prise = noyau.accepter()) {
            Etranger client(Etranger::Acceptee{prise});
            for (std::string requete = client.recevoir();
                 !requete.empty() && client.envoyer(repondre(requete)); requete = client.recevoir()) {
            }
        }
    });
    orix::Configuration reglages = essais::SessionReelle::reglagesVifs();
    reglages[orix::cle::routage]["cdv"] = {"corbaloc:iiop:1.2@127.0.0.1:" + std::to_string(noyau.port()) +
                                           "/Noyau"};
    EXPECT_EQ(essais::demarrer(reglages), "");
    essais::Repos repos("self");
    for (std::size_t i = 0; i < FOIS * std::size(statuts) && !HasFailure(); ++i) {
        EXPECT_EQ(OXcdvCliItf::active(essais::SERVICE), orix::OXS_OK) << i;
        EXPECT_EQ(essais::Callbacks::instance().attendre("activeCB").statut, orix::OXS_ERREUR_CORBA) << i;
    }
    repos.verifier("wrong answers", CROISSANCE_MAX);
    orix::detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
    noyau.fermer();
    serveur.join();
}
