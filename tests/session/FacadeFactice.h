#ifndef FACADEFACTICE_H
#define FACADEFACTICE_H

#include "CdvEssais.h"
#include "FileAttente.h"
#include "OXcdvCliCB.h"
#include "PanneMemoire.h"
#include "VolNomme.h"

namespace essais {

/// The service in memory, with points where a test may step in. It never lacks memory itself.
class Facade : public cdv::ServiceMemoire
{
  public:
    ~Facade() override { attendreCalme(); } // what was posted still calls

    /// At the beginning and at the end of each call and of each callback. To be set while no session is open.
    std::function<void()> surPoint = [] {};
    /// Runs a callback. To be set likewise.
    std::function<void(const std::function<void()>&)> executer = [](const auto& appel) { appel(); };

    /// One record of a listing, whether it was asked for or not.
    void envoyer(int idOp, const std::string& identifiant)
    {
        poster([idOp, vol = std::shared_ptr(vol(identifiant))] {
            OXcdvCliCB::liste_vol_completCB(vol.get(), idOp);
        });
    }
    using ServiceMemoire::poster;

    Demande derniere() const { return demandes().back(); }

    orix::OXstatut active(const char* nomService) override
    {
        return _entre([&] { return ServiceMemoire::active(nomService); });
    }
    orix::OXstatut desactive() override
    {
        return _entre([&] { return ServiceMemoire::desactive(); });
    }
    orix::OXstatut demander(Requete requete, OXvol_completData* vol, int& idOp) override
    {
        return _entre([&] { return ServiceMemoire::demander(requete, vol, idOp); });
    }

  protected:
    void rappeler(const std::function<void()>& appel) override
    {
        surPoint();
        executer(appel);
        surPoint();
    }

  private:
    template <class Fonction>
    orix::OXstatut _entre(Fonction fonction)
    {
        const SansPanne portee;
        surPoint();
        const orix::OXstatut statut = fonction();
        surPoint();
        return statut;
    }
};

} // namespace essais

#endif
