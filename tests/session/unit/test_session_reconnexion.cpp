// When a session asks a server, by the scenarios of reconnexion.txt.
#include "Essais.h"
#include "Reconnexion.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;

/// Plays "100 reponse 0: ...": at 100 ms the answer to the activation has come, with the status 0. Returns
/// the state, with "!" when it is to be told, the actions, and when to look again.
std::string jouer(Reconnexion& r, const std::string& ligne)
{
    std::istringstream lecture(ligne.substr(0, ligne.find(':')));
    int temps = 0;
    std::string evenement;
    int valeur = 0;
    lecture >> temps >> evenement >> valeur;
    const Instant t = Instant(1h) + std::chrono::milliseconds(temps);
    const auto statut = static_cast<orix::OXstatut>(valeur);
    const std::map<std::string, std::function<Reconnexion::Action()>> EVENEMENTS = {
        {"ouvrir", [&] { return r.ouvrir(t); }},
        {"activer", [&] { return r.activer(t); }},
        {"fermer", [&] { return r.fermer(); }},
        {"temps", [&] { return r.avancer(t, valeur != 0); }},
        {"libre", [&] { return r.libre(t); }},
        {"rendu", [&] { return r.appelRendu(statut, t); }},
        {"desactive", [&] { return r.desactivationRendue(t); }},
        {"reponse", [&] { return r.reponse(statut, "cdv1", "tour", t); }},
        {"perte", [&] { return r.deconnexion(statut, t); }},
        {"refus", [&] { return r.requeteRefusee(statut, r.connexion(), t); }},
        {"vieuxrefus", [&] { return r.requeteRefusee(statut, r.connexion() - 1, t); }}};
    const Reconnexion::Action action = EVENEMENTS.at(evenement)();
    std::string texte = std::string(cdv::texteEtat(r.etat())) + (action.annoncer ? "!" : "");
    if (action.annoncer && r.etat() != cdv::EtatSession::active && r.evenement().statut != orix::OXS_OK)
        texte += " " + std::to_string(r.evenement().statut);
    if (action.perte != r.evenement().perte && action.annoncer)
        texte += " loss told otherwise";
    texte += action.perte ? " loss" : "";
    texte += action.connecter ? " connect" : "";
    texte += action.desactiver ? " disconnect" : "";
    texte += action.oublier ? " forget" : "";
    if (r.echeance() != cdv::JAMAIS)
        texte += " @" + std::to_string((r.echeance() - Instant(1h)) / 1ms);
    return texte;
}

TEST(Reconnexion, Scenarios)
{
    std::ifstream scenarios(OXCDV_SOURCES "/tests/session/unit/reconnexion.txt");
    std::unique_ptr<Reconnexion> reconnexion;
    std::string nom;
    int pas = 0;
    for (std::string ligne; std::getline(scenarios, ligne);) {
        const std::string texte = ligne.substr(0, ligne.find("   #"));
        if (ligne.rfind("= ", 0) == 0) {
            nom = ligne;
            cdv::Options options;
            options.gigue = 0;
            options.delaiReprise = 100ms;
            options.reprise = nom.find("| once") == std::string::npos;
            reconnexion = std::make_unique<Reconnexion>(options, 1);
            EXPECT_EQ(jouer(*reconnexion, "0 ouvrir"), "activating! @0");
            EXPECT_EQ(jouer(*reconnexion, "0 temps"), "activating connect");
            if (nom.find("| active") != std::string::npos) {
                EXPECT_EQ(jouer(*reconnexion, "0 rendu 0"), "activating @15000");
                EXPECT_EQ(jouer(*reconnexion, "0 reponse 0"), "active!");
            }
        } else if (reconnexion && !ligne.empty()) {
            EXPECT_EQ(jouer(*reconnexion, texte), texte.substr(texte.find(": ") + 2)) << nom << ": " << ligne;
            ++pas;
        }
    }
    EXPECT_GT(pas, 70);
}

TEST(Reconnexion, DelaisAuHasard)
{
    std::set<cdv::Duree> delais;
    for (unsigned graine = 1; graine <= 20; ++graine) {
        cdv::Options options;
        options.reprise = true;
        Reconnexion reconnexion(options, graine);
        for (const char* pas : {"0 ouvrir", "0 temps", "0 rendu 14", "0 temps", "0 rendu 14"})
            jouer(reconnexion, pas);
        delais.insert(reconnexion.evenement().delai);
    }
    EXPECT_GT(delais.size(), 10u); // within their bounds: the simulation checks it
}

} // namespace
