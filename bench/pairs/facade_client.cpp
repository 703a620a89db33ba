// The library, as an application uses it: its record class, its facade, its callbacks; traces at their
// default level, or with the variant "traces" at 100, in a file; with the variant "groupe" the requests leave
// together until the application waits.
#include "../mesure.h"
#include "VolApplication.h"

#include "OXcdvCliArret.h"
#include "OXcdvCliCB.h"
#include "OXcdvCliItf.h"
#include "orix/EnvoisGroupes.h"
#include "orix/Processus.h"
#include "orix/Trace.h"

#include <future>
#include <optional>

namespace {

// The callbacks are static functions: what they reach is, too.
std::promise<orix::OXstatut> s_activation;
bench::EnVol* s_enVol = nullptr;

void exigerOK(orix::OXstatut statut, const std::string& quoi)
{
    if (statut != orix::OXS_OK)
        throw std::runtime_error(quoi + ": " + orix::texteStatut(statut));
}

class EnvoyeurFacade : public bench::Envoyeur
{
  public:
    EnvoyeurFacade(const bench::Options& options, bench::EnVol& enVol)
        : _construire(options.construire), _contenu(options.champs, options.longueur)
    {
        bench::remplir(_pret, _contenu);
        s_enVol = &enVol;

        orix::Configuration configuration;
        configuration[orix::cle::routage]["cdv"] = {
            "corbaloc:iiop:127.0.0.1:" + std::to_string(options.port) + "/Noyau"};
        if (options.variante == "traces")
            configuration[orix::cle::niveauTrace] = orix::NTO_NOTABLE;
        _grouper = options.variante == "groupe";
        if (!options.dossier.empty())
            configuration[orix::cle::fichierTrace] = options.dossier + "/facade.log";
        int argc = 0;
        std::string message;
        exigerOK(orix::initialiser(argc, nullptr, configuration, &message), "initialiser, " + message);
        char service[] = "cdv";
        exigerOK(OXcdvCliItf::active(service), "active");
        auto activation = s_activation.get_future();
        if (activation.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
            throw std::runtime_error("the activation is not answered");
        exigerOK(activation.get(), "activeCB");
    }
    ~EnvoyeurFacade() override
    {
        OXcdvCliItf::desactive();
        orix::detruireOXcdvCliItfAdaptateur();
        orix::terminer();
    }

    void envoyer(int, bool dernier) override
    {
        thread_local std::optional<orix::EnvoisGroupes> groupe;
        if (_grouper && !groupe)
            groupe.emplace();
        envoyerUn();
        if (dernier)
            groupe.reset();
    }
    void avantAttente() override { orix::EnvoisGroupes::envoyer(); }

  private:
    void envoyerUn()
    {
        if (_construire) {
            OXvol_completData vol;
            bench::remplir(vol, _contenu);
            envoyer(vol);
        } else {
            envoyer(_pret);
        }
    }
    static void envoyer(OXvol_completData& vol)
    {
        int idOp = 0;
        exigerOK(OXcdvCliItf::cree_vol_complet(&vol, idOp), "cree_vol_complet");
    }

    bool _construire;
    bool _grouper = false;
    bench::Contenu _contenu;
    OXvol_completData _pret;
};

} // namespace

void OXcdvCliCB::activeCB(orix::OXstatut statut, const char*, const char*) { s_activation.set_value(statut); }
void OXcdvCliCB::cree_vol_completCB(int, OXvol_completData*, int) { s_enVol->revenir(); }
void OXcdvCliCB::deconnexionCB(orix::OXstatut) {}
void OXcdvCliCB::modifie_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::supprime_vol_completCB(int, int) {}
void OXcdvCliCB::consulte_vol_completCB(int, OXvol_completData*, int) {}
void OXcdvCliCB::liste_vol_completCB(OXvol_completData*, int) {}
void OXcdvCliCB::fin_liste_vol_completCB(int, int) {}

int main(int argc, char** argv)
{
    return bench::client(argc, argv, [](const bench::Options& options, bench::EnVol& enVol) {
        return std::make_unique<EnvoyeurFacade>(options, enVol);
    });
}
