#ifndef SESSIONREELLE_H
#define SESSIONREELLE_H

#include "CallbacksEnregistres.h"
#include "DossierTemporaire.h"
#include "OXcdvCliArret.h"
#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "ServeurReel.h"
#include "orix/Configuration.h"
#include "orix/OXchaine.h"
#include "orix/Processus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace essais {

using Requete = orix::OXstatut (*)(OXvol_completData*, int&);

inline char SERVICE[] = "cdv";

inline std::unique_ptr<OXvol_completData> vol(const std::string& identifiant)
{
    auto resultat = std::make_unique<OXvol_completData>();
    resultat->ecrire_gidentifiant(OXdupliqueChaine(identifiant.c_str()));
    return resultat;
}

/// Two servers over one file, and a client that knows both. The middleware of the process runs from the
/// construction to the destruction, which must be clean.
class SessionReelle : public testing::Test
{
  public:
    /// A loss is seen within a second, a call lasts at most one. changer: what is to be otherwise.
    static orix::Configuration reglagesVifs(const std::function<void(orix::Configuration&)>& changer = {});

  protected:
    /// A routing of the service in the settings goes before that to the two servers.
    explicit SessionReelle(const orix::Configuration& reglages = reglagesVifs(),
                           std::vector<std::string> optionsServeurs = {});
    ~SessionReelle() override;

    /// Activates; returns the name of the server.
    std::string activer();
    /// Activates as an application does, again and again, on whichever server answers; returns its name.
    std::string activerQuelquePart();

    static int envoyer(Requete requete, OXvol_completData& donnees);
    /// Sends the request, and returns its outcome, which must be the next callback.
    Appel demander(Requete requete, OXvol_completData& donnees);
    /// The identifiers of the records like the example.
    std::vector<std::string> lister(OXvol_completData& exemple);

    static constexpr const char* NOYAU_REPOND = "Connecté au noyau du serveur"; ///< active(), before it asks

    /// "cdv1" or "cdv2".
    ServeurReel& serveur(const std::string& nom) { return nom == "cdv1" ? *_premier : *_second; }
    /// Starts the dead server again, at the same address.
    void relancer(const std::string& nom);

    Callbacks& _callbacks = Callbacks::instance();
    DossierTemporaire _dossier;
    const std::vector<std::string> _optionsServeurs;
    std::unique_ptr<ServeurReel> _premier = _lancer("cdv1", portReserve());
    std::unique_ptr<ServeurReel> _second = _lancer("cdv2", portReserve());

  private:
    std::unique_ptr<ServeurReel> _lancer(const std::string& nom, int port);
};

} // namespace essais

#endif
