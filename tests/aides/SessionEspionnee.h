#ifndef SESSIONESPIONNEE_H
#define SESSIONESPIONNEE_H

#include "EtatProcessus.h"
#include "Etranger.h"
#include "LiaisonORB.h"
#include "OXcdvClientVersServeurC.h"
#include "OXcdvServeurVersClientC.h"
#include "SessionReelle.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"

namespace essais {

/// A kernel that hands activations on to a real server's, and keeps what passes: all that a stranger who
/// listens on the network could know.
class NoyauEspion : public POA_orix_corba::Noyau
{
  public:
    orix_corba::Noyau_var veritable;
    orix_corba::SequenceNiveauReference niveaux;
    orix_corba__Client_var client;
    CORBA::Object_var service;
    CORBA::Long numeroClient = 0;

    void activerService(const char* nomService, const orix_corba::SequenceNiveauReference& lesNiveaux,
                        orix_corba__Client_ptr leClient, const char* nomORBthread, const char* nomMachineHote,
                        CORBA::Long& statut, CORBA::String_out serveur, CORBA::String_out machine,
                        orix_corba::NiveauReference_out niveau, CORBA::Long& numero) override
    {
        orix_corba::NiveauReference_var recu;
        veritable->activerService(nomService, lesNiveaux, leClient, nomORBthread, nomMachineHote, statut,
                                  serveur, machine, recu.out(), numero);
        niveaux = lesNiveaux;
        client = orix_corba__Client::_duplicate(leClient);
        service = CORBA::Object::_duplicate(recu->reference);
        numeroClient = numero;
        niveau = recu._retn();
    }
};

/// Before the session: the ORB ends with it, and holds the servant until then.
struct AvecEspion
{
    NoyauEspion _espion;
};

/// A session between this process, the client, and the real server "cdv1", whose references are known.
class SessionEspionnee : protected AvecEspion, public SessionReelle
{
  protected:
    static constexpr const char* ICI = "127.0.0.1";
    static constexpr const char* AILLEURS = "127.0.0.2"; ///< stands for another machine

    /// A port and the key of an object behind it.
    struct Cible
    {
        int port;
        std::string cle;

        template <class... Arguments>
        std::string requete(const std::string& operation, const Arguments&... arguments) const
        {
            return giop::requete(cle, operation, giop::arguments(arguments...));
        }
        /// What comes of a request on a connection of its own.
        std::string demander(const std::string& requete, const char* source = ICI) const
        {
            return Etranger(port, source).demander(requete);
        }
    };

    explicit SessionEspionnee(orix::Configuration reglages = reglagesVifs(),
                              std::vector<std::string> optionsServeurs = {})
        : SessionReelle(_router(std::move(reglages)), std::move(optionsServeurs))
    {
        const CORBA::ORB_ptr orb = orix::oxNoyau()->lirePointAcces()->lireORB();
        const CORBA::Object_var noyau = orb->string_to_object(_premier->url().c_str());
        _espion.veritable = orix_corba::Noyau::_unchecked_narrow(noyau);
        orix::orb::publierSousCle(orb, "Espion", &_espion);
        activer();
        EXPECT_EQ(creer("avant"), 0);
    }
    ~SessionEspionnee() override
    {
        if (OXcdvCliItf::lireVersion() != orix::VERSION_NULLE) { // active still, and well
            EXPECT_EQ(creer("apres"), 0);
            EXPECT_EQ(_callbacks.nombre(), 0u);
        }
        // What a sanitizer has found in the server is its exit status.
        orix::detruireOXcdvCliItfAdaptateur();
        for (ServeurReel* serveur : {_premier.get(), _second.get()}) {
            serveur->signaler(SIGTERM);
            EXPECT_EQ(serveur->attendreFin(), 0) << serveur->erreurs();
        }
    }

    Cible noyau() const { return {_premier->port(), "Noyau"}; }
    Cible service() const { return {_premier->port(), giop::cle(_espion.service)}; }
    Cible client() const { return {_portClient, giop::cle(_espion.client)}; }
    Cible notifications() const { return {_portClient, giop::cle(_espion.niveaux[0].reference)}; }
    CORBA::Long numeroClient() const { return _espion.numeroClient; }

    static OXvol_completData_v3_0_0 volFilaire(const std::string& identifiant)
    {
        return vol(identifiant)->construireObjetSpecifique_v3_0_0();
    }

    /// A notification that answers nothing.
    std::string notification() const
    {
        return notifications().requete("cree_vol_complet", CORBA::Long(0), volFilaire("faux"),
                                       CORBA::Long(-1));
    }

    /// Does it while the session works on: every request is answered, in order.
    template <class Action>
    void sousTrafic(Action&& action)
    {
        std::atomic<bool> fini{false};
        int demandes = 0;
        std::thread trafic([&] {
            do {
                const Appel appel = demander(&OXcdvCliItf::liste_vol_complet, *vol("absent"));
                EXPECT_EQ(appel.nom, "fin_liste_vol_completCB");
                EXPECT_EQ(appel.statut, 0);
                ++demandes;
            } while (!fini && !HasFailure());
        });
        action();
        fini = true;
        trafic.join();
        std::cout << demandes << " requests of the session meanwhile" << std::endl;
    }

    std::string pidServeur() const { return std::to_string(_premier->pid()); }

    const int _portClient = _port(orix::configuration()->lire(orix::cle::pointsAcces).front());

  private:
    static int _port(const std::string& pointAcces)
    {
        return std::stoi(pointAcces.substr(pointAcces.rfind(':') + 1));
    }
    static orix::Configuration _router(orix::Configuration reglages)
    {
        const std::string hote = "127.0.0.1:" + std::to_string(portReserve());
        reglages[orix::cle::pointsAcces] = {hote};
        reglages[orix::cle::routage]["cdv"] = {
            "corbaloc:" + std::string(reglages[orix::cle::certificatAutorite].empty() ? "iiop:" : "ssliop:") +
            hote + "/Espion"};
        return reglages;
    }
};

} // namespace essais

#endif
