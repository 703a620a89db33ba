#ifndef CLIENTEPROUVE_H
#define CLIENTEPROUVE_H

#include "OXcdvCliItf.h"
#include "OXvol_completData.h"
#include "Porte.h"
#include "ServeurEssai.h"

#include <atomic>
#include <condition_variable>
#include <initializer_list>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace essais {

/// A client of two servers in its own process to which everything can happen at any moment, and the account
/// of what the application did and was told, which must balance in the end.
class ClientEprouve : public AvecNoyau
{
  public:
    // What may happen, on any thread.
    void active() { noterActive(OXcdvCliItf::active(SERVICE)); }
    void desactive() { noterDesactive(OXcdvCliItf::desactive()); }
    void demander();
    void accepter() { _repondre(orix::OXS_OK); } ///< the answers that the servers keep back
    void refuser() { _repondre(REFUS); }
    void annoncerFin() { _annoncer(orix::OXS_SERVICE_NON_ACTIVE); } ///< notices of the server
    void annoncerPanne() { _annoncer(orix::OXS_NOK); }
    void oublierClient(); ///< the server does not hold it any more, and says so to the next ping
    void tuerServeur();
    void arreterServeur();
    void detruire() { orix::detruireOXcdvCliItfAdaptateur(); }
    void arreterNoyau(); ///< verifier() starts it again

  protected:
    /// What came of a call of active() or desactive().
    void noterActive(orix::OXstatut statut);
    void noterDesactive(orix::OXstatut statut);

    enum Depart
    {
        Desactive,
        Demande, ///< an activation is pending: the server keeps the answer back
        Active
    };
    /// What the application is not told of.
    enum Silence
    {
        Aucun,
        Deconnexion, ///< a connection may end without a word
        Tout         ///< an activation too
    };

    static inline char SERVICE[] = "cdv";
    static constexpr auto PERIODE = std::chrono::milliseconds(20); ///< of the pings: nobody rests meanwhile
    static constexpr auto PATIENCE = std::chrono::seconds(10);     ///< less than the delays of the settings

    ClientEprouve();
    void SetUp() override;
    void TearDown() override;

    /// Brings the inactive client there, with nothing under way, and begins a new account.
    void preparer(Depart depart);
    /// Lets everything end, checks that the account balances, and that the client then finds a live server
    /// which serves; leaves it inactive.
    void verifier(Silence silence = Aucun);
    /// After a failure: from a new client on.
    void toutOublier();

    /// Waits until the application has been told of so many losses, or activations, since preparer().
    bool attendrePertes(int nombre)
    {
        return _attendre([=] { return _compte.pertes >= nombre; });
    }
    bool attendreReponses(int nombre)
    {
        return _attendre([=] { return _compte.reponses >= nombre; });
    }
    /// Failures so far of the running test.
    static int echecs();

    /// What the functions and callbacks may say besides, while something fails on purpose.
    std::set<orix::OXstatut> statutsPermis;
    /// Called by the server that does not hold the client any more, when it is pinged, before it says so.
    std::function<void()> avantOubli = [] {};

  private:
    static constexpr orix::OXstatut REFUS = orix::OXS_CLIENT_ID_INVALIDE;

    struct Compte
    {
        bool connecte = false; ///< at the beginning
        int demandes = 0;      ///< active() that announced an answer
        int reponses = 0;      ///< activeCB
        int connexions = 0;    ///< those of them that accept
        int pertes = 0;        ///< deconnexionCB
        int departs = 0;       ///< desactive() that succeeded
        int bascules = 0;      ///< what makes the client turn to the other server
        int derniereFin = 0;   ///< operation of the last listing that ended
        bool arretee = false;  ///< active() found no kernel
        std::vector<std::string> anomalies;
    };

    bool _attendre(const std::function<bool()>& condition); ///< of the account
    void _recommencer(bool connecte, int demandes);
    void _exiger(const std::string& quoi, orix::OXstatut statut, std::set<orix::OXstatut> permis);
    void _noter(const Appel& appel);
    void _inscrire(ServeurEssai& serveur);
    void _repondre(orix::OXstatut statut);
    void _annoncer(orix::OXstatut raison);
    bool _estEnregistree();
    void _verifierVie();
    void _partir();

    std::mutex _mutex; // guards what follows
    std::condition_variable _nouvelle;
    Compte _compte;
    bool _ouverte = false;          // a connection was told of that may still be lost
    orix_corba__Client_var _client; // the one that activated last

    Porte _porte; // where the servers keep their answers back
    std::atomic<orix::OXstatut> _reponse{orix::OXS_OK};
    std::atomic<int> _dernierNumero{0};
    std::atomic<int> _inscrit{0}; // number of the client that the servers hold; 0: none
    std::atomic<int> _pingsRefuses{0};
    int _serveurAvant = 0; // the current one when the account began
};

} // namespace essais

#endif
