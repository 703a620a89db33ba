#ifndef SESSIONREELLE_H
#define SESSIONREELLE_H

#include "CallbacksEnregistres.h"
#include "Demarrage.h"
#include "DossierTemporaire.h"
#include "OXcdvCliArret.h"
#include "OXcdvCliItf.h"
#include "ServeurReel.h"
#include "VolNomme.h"
#include "orix/Configuration.h"

namespace essais {

using Requete = orix::OXstatut (*)(OXvol_completData*, int&);

inline char SERVICE[] = "cdv";

/// Two servers over one file, and a client that knows both. The middleware of the process runs from the
/// construction to the destruction, which must be clean.
class SessionReelle : public testing::Test
{
  public:
    /// A loss is seen within a second, a call lasts at most one. changer: what is to be otherwise.
    static orix::Configuration reglagesVifs(const std::function<void(orix::Configuration&)>& changer = {})
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

  protected:
    /// A routing of the service in the settings goes before that to the two servers.
    explicit SessionReelle(const orix::Configuration& reglages = reglagesVifs(),
                           std::vector<std::string> optionsServeurs = {})
        : _optionsServeurs(std::move(optionsServeurs))
    {
        orix::Configuration configuration = reglages;
        configuration[orix::cle::routage].insert({"cdv", {_premier->url(), _second->url()}});
        EXPECT_EQ(demarrer(configuration), "");
    }
    ~SessionReelle() override
    {
        orix::detruireOXcdvCliItfAdaptateur();
        EXPECT_EQ(orix::terminer(), orix::OXS_OK);
        _callbacks.pendant = {};
    }

    /// Activates; returns the name of the server.
    std::string activer()
    {
        EXPECT_EQ(OXcdvCliItf::active(SERVICE), orix::OXS_OK);
        const Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.nom, "activeCB");
        EXPECT_EQ(appel.statut, orix::OXS_OK);
        return appel.serveur;
    }
    /// Activates as an application does, again and again, on whichever server answers; returns its name.
    std::string activerQuelquePart()
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

    static int envoyer(Requete requete, OXvol_completData& donnees)
    {
        int idOp = 0;
        EXPECT_EQ(requete(&donnees, idOp), orix::OXS_OK);
        return idOp;
    }
    /// Sends the request, and returns its outcome, which must be the next callback.
    Appel demander(Requete requete, OXvol_completData& donnees)
    {
        const int idOp = envoyer(requete, donnees);
        Appel appel = _callbacks.attendre();
        EXPECT_EQ(appel.idOp, idOp) << appel.nom;
        return appel;
    }
    /// The result of a creation, which must be the next callback.
    int creer(const std::string& identifiant)
    {
        return demander(&OXcdvCliItf::cree_vol_complet, *vol(identifiant)).statut;
    }
    /// The identifiers of the records like the example.
    std::vector<std::string> lister(OXvol_completData& exemple)
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

    static constexpr const char* NOYAU_REPOND = "Connecté au noyau du serveur"; ///< active(), before it asks

    /// "cdv1" or "cdv2".
    ServeurReel& serveur(const std::string& nom) { return nom == "cdv1" ? *_premier : *_second; }
    /// Starts the dead server again, at the same address.
    void relancer(const std::string& nom)
    {
        std::unique_ptr<ServeurReel>& place = nom == "cdv1" ? _premier : _second;
        const int port = place->port();
        place.reset();
        place = _lancer(nom, port);
    }

    Callbacks& _callbacks = Callbacks::instance();
    DossierTemporaire _dossier;
    const std::vector<std::string> _optionsServeurs;
    std::unique_ptr<ServeurReel> _premier = _lancer("cdv1", portReserve());
    std::unique_ptr<ServeurReel> _second = _lancer("cdv2", portReserve());

  private:
    std::unique_ptr<ServeurReel> _lancer(const std::string& nom, int port)
    {
        std::vector<std::string> options{"--nom",          nom,   "--machine",    "tour",
                                         "--periode-ping", "200", "--delai-ping", "500"};
        options.insert(options.end(), _optionsServeurs.begin(), _optionsServeurs.end());
        return std::make_unique<ServeurReel>(_dossier.fichier("vols.db"), options, port);
    }
};

} // namespace essais

#endif
