// Memory runs out: every single allocation of a request and of the life of a connection fails in turn.
#include "ClientEprouve.h"
#include "OXcdvCliItfAdaptateur.h"
#include "VolsEssai.h"

using essais::PanneMemoire;

namespace {

const char* const MANQUE = "Problème d'allocation mémoire"; // traced, and counted without memory

// ---- The life of the connection, with servers of the test's own

class MemoireConnexion : public essais::ClientEprouve
{
  public:
    struct Chemin
    {
        const char* nom;
        Depart depart;
        void (MemoireConnexion::*acte)();
        int seuil = orix::NTO_AUCUN;
    };
    static const Chemin CHEMINS[];

    void construire()
    {
        detruire();
        _sousPanne([] {
            try {
                orix::oxcdvCliItfAdaptateur();
            } catch (const std::bad_alloc&) {
                // Nobody has one then.
            }
        });
    }
    void demanderActive()
    {
        orix::OXstatut statut = orix::OXS_NOK;
        std::atomic<int> textes{0};
        {
            const essais::SurTrace compteur(
                MANQUE, [&] { ++textes; }, _seuil);
            _sousPanne([&] { statut = OXcdvCliItf::active(SERVICE); });
        }
        if (_seuil >= orix::NTO_NOTABLE && _duree == PanneMemoire::UneFois) {
            EXPECT_EQ(textes, statut == orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
        }
        noterActive(statut);
    }
    /// What failed is said so, is traced once, and leaves nothing behind.
    template <auto REQUETE>
    void requerir()
    {
        const auto complet = essais::volComplet();
        int idOp = 0;
        orix::OXstatut statut = orix::OXS_NOK;
        std::atomic<int> textes{0};
        const essais::SurTrace compteur(MANQUE, [&] { ++textes; });
        const long bilan = essais::bilanMemoire();
        _sousPanne([&] { statut = REQUETE(complet.get(), idOp); });
        if (statut != orix::OXS_OK) { // else nothing failed, or a trace was cut short, no more
            EXPECT_EQ(statut, orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE);
            EXPECT_EQ(essais::bilanMemoire(), bilan) << "a leak";
            EXPECT_EQ(textes, _duree == PanneMemoire::UneFois);
        }
    }
    /// As the kernel would, while the real answer is kept back.
    template <int STATUT>
    void repondre()
    {
        essais::ServeurEssai& serveur = serveurCourant();
        orix_corba::NiveauReference niveau = serveur.version;
        niveau.reference = serveur.service._this();
        _sousPanne(
            [&] { orix::oxcdvCliItfAdaptateur()->activeCB(STATUT, serveur.nom.c_str(), "hote", niveau, 7); });
    }
    /// As the ORB would.
    template <int RAISON>
    void annoncer()
    {
        _sousPanne([] { orix::oxcdvCliItfAdaptateur()->deconnexionCB(RAISON); });
    }
    void partir()
    {
        orix::OXstatut statut = orix::OXS_NOK;
        _sousPanne([&] { statut = OXcdvCliItf::desactive(); });
        noterDesactive(statut);
    }
    /// On the monitor's thread.
    void perdre()
    {
        std::optional<PanneMemoire> panne;
        avantOubli = [&] {
            if (!panne)
                panne.emplace(_numero, PanneMemoire::HorsORB, _duree, _victime);
        };
        oublierClient();
        EXPECT_TRUE(attendrePertes(1));
        essais::attendreRepos(); // no ping is being refused any more
        avantOubli = [] {};
        _survenue = panne && panne->survenue();
    }
    /// Likewise: the departure that did not come about is ended.
    void partirDUnMort()
    {
        tuerServeur();
        _sousPanne(
            [this] {
                desactive();
                EXPECT_TRUE(attendrePertes(1));
            },
            _victime);
    }
    /// On the kernel's thread.
    void attendreEnVain()
    {
        _sousPanne(
            [this] {
                active();
                EXPECT_TRUE(attendreReponses(1));
            },
            _victime);
    }

  protected:
    MemoireConnexion() { statutsPermis = {orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE}; }

    /// Each allocation fails in turn, once or with all that follow. Returns how many there are.
    int eprouver(const Chemin& chemin, PanneMemoire::Duree duree)
    {
        _seuil = chemin.seuil;
        _duree = duree;
        for (_numero = 1;; ++_numero) {
            SCOPED_TRACE(std::string(chemin.nom) + ", allocation " + std::to_string(_numero) +
                         (duree == PanneMemoire::Desormais ? " and all that follow" : ""));
            const int echecsAvant = echecs();
            preparer(chemin.depart);
            (this->*chemin.acte)();
            verifier();
            if (echecs() != echecsAvant)
                toutOublier();
            if (!_survenue)
                return _numero - 1;
        }
    }
    /// The thread that traces a line of that beginning while this is done.
    std::thread::id chercherFil(const std::string& debut, const std::function<void()>& faire)
    {
        std::thread::id fil;
        {
            const essais::SurTrace ecoute(
                debut, [&] { fil = std::this_thread::get_id(); }, orix::NTO_REFUS);
            faire();
        }
        EXPECT_NE(fil, std::thread::id());
        return fil;
    }

    std::thread::id _victime; ///< of the failures that do not strike the test's own thread

  private:
    template <class Appel>
    void _sousPanne(Appel appel, std::thread::id victime = std::this_thread::get_id())
    {
        const PanneMemoire panne(_numero, PanneMemoire::HorsORB, _duree, victime);
        appel();
        _survenue = panne.survenue();
    }

    int _seuil = 0;
    PanneMemoire::Duree _duree = PanneMemoire::UneFois;
    int _numero = 0;
    bool _survenue = false;
};

const MemoireConnexion::Chemin MemoireConnexion::CHEMINS[] = {
    {"construction", Desactive, &MemoireConnexion::construire},
    {"active", Desactive, &MemoireConnexion::demanderActive, orix::NTO_AUCUN},
    {"active with notable lines", Desactive, &MemoireConnexion::demanderActive, orix::NTO_NOTABLE},
    {"active with progress", Desactive, &MemoireConnexion::demanderActive, orix::NTO_PROGRES},
    {"active with details", Desactive, &MemoireConnexion::demanderActive, orix::NTO_DETAIL},
    {"creation", Active, &MemoireConnexion::requerir<&OXcdvCliItf::cree_vol_complet>},
    {"change", Active, &MemoireConnexion::requerir<&OXcdvCliItf::modifie_vol_complet>},
    {"deletion", Active, &MemoireConnexion::requerir<&OXcdvCliItf::supprime_vol_complet>},
    {"consultation", Active, &MemoireConnexion::requerir<&OXcdvCliItf::consulte_vol_complet>},
    {"listing", Active, &MemoireConnexion::requerir<&OXcdvCliItf::liste_vol_complet>},
    {"acceptance", Demande, &MemoireConnexion::repondre<orix::OXS_OK>},
    {"refusal", Demande, &MemoireConnexion::repondre<orix::OXS_CLIENT_ID_INVALIDE>},
    {"notice of an end", Active, &MemoireConnexion::annoncer<orix::OXS_SERVICE_NON_ACTIVE>},
    {"notice of a failure", Active, &MemoireConnexion::annoncer<orix::OXS_NOK>},
    {"desactive", Active, &MemoireConnexion::partir},
    {"loss", Active, &MemoireConnexion::perdre},
    {"end of an interrupted desactive", Active, &MemoireConnexion::partirDUnMort},
};

TEST_F(MemoireConnexion, EveryFailureEndsWell)
{
    _victime = chercherFil("Serveur perdu", [this] {
        preparer(Active);
        oublierClient();
        verifier();
    });
    for (const Chemin& chemin : CHEMINS) {
        const int seule = eprouver(chemin, PanneMemoire::UneFois);
        const int durable = eprouver(chemin, PanneMemoire::Desormais);
        std::cout << chemin.nom << ": " << seule << " failures, " << durable << " lasting ones" << std::endl;
    }
}

class MemoireDelaiCourt : public MemoireConnexion
{
  protected:
    MemoireDelaiCourt()
    {
        reglages[orix::cle::delaiActivation] = std::chrono::milliseconds(30);
        statutsPermis.insert(orix::OXS_REPLY_ERROR);
    }
};

TEST_F(MemoireDelaiCourt, EveryFailureEndsWell)
{
    const Chemin chemin{"time-out", Desactive, &MemoireConnexion::attendreEnVain};
    _victime = chercherFil("Pas de réponse à la demande", [this] {
        preparer(Desactive);
        active();
        attendreReponses(1);
        verifier();
    });
    for (const auto duree : {PanneMemoire::UneFois, PanneMemoire::Desormais})
        std::cout << chemin.nom << ": " << eprouver(chemin, duree) << " failures" << std::endl;
}

} // namespace
