// When a session asks a server: each line is a time, an event, and what comes of it.
#include "Reconnexion.h"

#include <gmock/gmock.h>
#include <sstream>

namespace {

using namespace std::chrono_literals;
using cdv::Instant;
using cdv::Reconnexion;

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

struct Cas
{
    const char* nom;
    bool active; ///< at first, since 0; else a server was asked
    bool reprise;
    std::vector<std::string> pas; ///< what is played: what comes of it
};

// clang-format off
const Cas CAS[] = {
    {"accepted", false, true, {"2 rendu 0: activating @15002", "5 reponse 0: active!", "6 reponse 25: active",
      "7 fermer: closed!", "8 activer: closed", "8 perte 21: closed", "8 ouvrir: closed"}},
    {"the answer overtakes the call", false, true, {"1 reponse 0: active!", "2 rendu 0: active"}},
    {"refused, then nobody there: the delays", false, true, {"1 rendu 0: activating @15001",
      "2 reponse 25: activating @2", "2 temps: activating connect", "3 rendu 14: waiting to try again! 14 @103",
      "102 temps: waiting to try again @103", "103 temps: activating! connect", "104 rendu 14: activating @104",
      "104 temps: activating connect", "105 rendu 14: waiting to try again! 14 @305", "200 activer: activating! @200",
      "200 temps: activating connect", "201 rendu 14: activating @201", "201 temps: activating connect",
      "202 rendu 14: waiting to try again! 14 @302"}},
    {"no kernel: no use insisting", false, true, {"1 rendu 24: lost! 24"}},
    {"never answered, then late", false, false, {"0 rendu 0: activating @15000", "15000 temps: activating @15000",
      "15000 temps: activating connect", "15000 rendu 33: activating @30000", "30000 temps: lost! 14",
      "40000 reponse 0: active!"}},
    {"lost at once, again and again; then after a good while", true, true, {
      "9 perte 21: waiting to try again! 21 loss @109", "109 temps: activating! connect", "109 reponse 0: active!",
      "109 rendu 0: active", "110 perte 23: waiting to try again! 23 loss @310", "310 temps: activating! connect",
      "310 reponse 0: active!", "310 rendu 0: active", "510 perte 21: waiting to try again! 21 loss @510"}},
    {"lost, then by the application's will", true, false, {"5 perte 21: lost! 21 loss", "6 activer: activating! @6"}},
    {"a request tells the loss, its notice follows: once", true, true, {"500 refus 22: active",
      "500 vieuxrefus 23: active", "500 refus 23: waiting to try again! 23 loss @500",
      "500 refus 23: waiting to try again @500", "500 perte 23: waiting to try again @500",
      "500 temps: activating! connect", "501 rendu 0: activating @15501",
      "502 reponse 0: activating @502" /* its own, or that of the connection that is over? */,
      "502 temps: activating connect", "502 rendu 34: active!"}},
    {"the loss overtakes the acceptance", false, true, {"0 rendu 0: activating @15000",
      "1 perte 23: activating @15000", "1 reponse 0: activating @1", "1 temps: activating connect",
      "1 rendu 0: activating @15001" /* it is over indeed */, "2 reponse 0: activating @2",
      "2 temps: activating connect", "2 perte 21: activating" /* during the verification */,
      "2 rendu 34: activating @2", "2 temps: activating connect", "3 rendu 34: active!"}},
    {"active without our knowing: a fresh connection, and no belief in what is under way", false, true, {
      "0 rendu 34: activating disconnect", "1 desactive: activating @1", "1 temps: activating connect",
      "1 rendu 0: activating @15001", "2 reponse 0: activating @2", "2 temps: activating connect",
      "2 rendu 33: activating @15002", "3 reponse 0: activating @3", "3 temps: activating connect",
      "3 rendu 34: active!"}},
    {"the client owes an answer to another session", false, true, {"1 rendu 14: activating @1",
      "1 temps 1: activating @15001", "9 libre: activating @9", "9 temps 1: activating @15009",
      "15009 temps 1: waiting to try again! 14 forget @15109", "15109 temps: activating! connect",
      "15110 libre: activating"}},
    {"closed during the call", false, true, {"0 fermer: closed!", "1 rendu 0: closed", "2 reponse 0: closed"}},
};
// clang-format on

TEST(Reconnexion, Table)
{
    for (const Cas& cas : CAS) {
        cdv::Options options;
        options.gigue = 0;
        options.delaiReprise = 100ms;
        options.reprise = cas.reprise;
        Reconnexion reconnexion(options, 1);
        EXPECT_EQ(jouer(reconnexion, "0 ouvrir"), "activating! @0");
        EXPECT_EQ(jouer(reconnexion, "0 temps"), "activating connect");
        if (cas.active) {
            EXPECT_EQ(jouer(reconnexion, "0 rendu 0"), "activating @15000");
            EXPECT_EQ(jouer(reconnexion, "0 reponse 0"), "active!");
        }
        for (const std::string& pas : cas.pas)
            EXPECT_EQ(jouer(reconnexion, pas), pas.substr(pas.find(": ") + 2)) << cas.nom << ": " << pas;
    }
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
