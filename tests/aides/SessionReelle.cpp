#include "SessionReelle.h"

namespace essais {

orix::Configuration SessionReelle::reglagesVifs(const std::function<void(orix::Configuration&)>& changer)
{
    orix::Configuration reglages;
    reglages[orix::cle::periodePing] = std::chrono::milliseconds(200);
    reglages[orix::cle::delaiPing] = std::chrono::milliseconds(500);
    reglages[orix::cle::delaiConnexion] = std::chrono::milliseconds(1000);
    reglages[orix::cle::delaiAppel] = std::chrono::milliseconds(1000);
    reglages[orix::cle::niveauTrace] = 0;
    if (changer)
        changer(reglages);
    return reglages;
}

SessionReelle::SessionReelle(const orix::Configuration& reglages, std::vector<std::string> optionsServeurs)
    : _optionsServeurs(std::move(optionsServeurs))
{
    orix::Configuration configuration = reglages;
    configuration[orix::cle::routage].insert({"cdv", {_premier->url(), _second->url()}});
    int argc = 0;
    std::string message;
    EXPECT_EQ(orix::initialiser(argc, nullptr, configuration, &message), orix::OXS_OK) << message;
}

SessionReelle::~SessionReelle()
{
    orix::detruireOXcdvCliItfAdaptateur();
    EXPECT_EQ(orix::terminer(), orix::OXS_OK);
    _callbacks.pendant = {};
}

std::unique_ptr<ServeurReel> SessionReelle::_lancer(const std::string& nom, int port)
{
    std::vector<std::string> options{"--nom",          nom,   "--machine",    "tour",
                                     "--periode-ping", "200", "--delai-ping", "500"};
    options.insert(options.end(), _optionsServeurs.begin(), _optionsServeurs.end());
    return std::make_unique<ServeurReel>(_dossier.fichier("vols.db"), options, port);
}

void SessionReelle::relancer(const std::string& nom)
{
    std::unique_ptr<ServeurReel>& place = nom == "cdv1" ? _premier : _second;
    const int port = place->port();
    place.reset();
    place = _lancer(nom, port);
}

std::string SessionReelle::activer()
{
    EXPECT_EQ(OXcdvCliItf::active(SERVICE), orix::OXS_OK);
    const Appel appel = _callbacks.attendre();
    EXPECT_EQ(appel.nom, "activeCB");
    EXPECT_EQ(appel.statut, orix::OXS_OK);
    return appel.serveur;
}

std::string SessionReelle::activerQuelquePart()
{
    for (int essai = 0; essai < 10; ++essai) {
        if (OXcdvCliItf::active(SERVICE) != orix::OXS_OK)
            continue;
        const Appel appel = _callbacks.attendre("activeCB");
        if (appel.statut == orix::OXS_OK)
            return appel.serveur;
    }
    ADD_FAILURE() << "no server can be activated";
    return "";
}

int SessionReelle::envoyer(Requete requete, OXvol_completData& donnees)
{
    int idOp = 0;
    EXPECT_EQ(requete(&donnees, idOp), orix::OXS_OK);
    return idOp;
}

Appel SessionReelle::demander(Requete requete, OXvol_completData& donnees)
{
    const int idOp = envoyer(requete, donnees);
    Appel appel = _callbacks.attendre();
    EXPECT_EQ(appel.idOp, idOp) << appel.nom;
    return appel;
}

std::vector<std::string> SessionReelle::lister(OXvol_completData& exemple)
{
    const int idOp = envoyer(&OXcdvCliItf::liste_vol_complet, exemple);
    std::vector<std::string> identifiants;
    for (;;) {
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.idOp, idOp);
        if (appel.nom != "liste_vol_completCB") {
            EXPECT_EQ(appel.nom, "fin_liste_vol_completCB");
            EXPECT_EQ(appel.statut, 0);
            return identifiants;
        }
        identifiants.push_back(appel.identifiant.value_or("?"));
    }
}

} // namespace essais
