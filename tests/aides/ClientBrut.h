#ifndef CLIENTBRUT_H
#define CLIENTBRUT_H

#include "EnvoiSansReponse.h"
#include "FileAttente.h"
#include "LiaisonORB.h"
#include "OXcdvClientVersServeurC.h"
#include "OXcdvServeurVersClientS.h"
#include "OXvol_completData.h"
#include "Porte.h"
#include "ServantAttendu.h"

#include "orix/OXchaine.h"
#include "orix/Processus.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ORBthread.h"

#include <type_traits>

namespace essais {

using Vol = OXvol_completData_v3_0_0;
using Service = std::remove_pointer_t<orix_corba::OXcdv_v3_0_0_ClientVersServeur_ptr>;
inline constexpr std::chrono::seconds PATIENCE{60};

/// A record with nothing set but the identifier.
inline Vol vol(const std::string& identifiant)
{
    OXvol_completData rempli;
    rempli.ecrire_gidentifiant(OXdupliqueChaine(identifiant.c_str()));
    return rempli.construireObjetSpecifique_v3_0_0();
}

/// What a client received, a notification or the end that the server announced: its name, its result, the
/// identifier, the number of the operation.
using Recu = std::tuple<std::string, int, std::string, int>;
using Receptions = FileAttente<Recu>;

class Notifications : public POA_orix_corba::OXcdv_v3_0_0_ServeurVersClient, public orix::orb::ServantAttendu
{
  public:
    explicit Notifications(Receptions& receptions) : _receptions(receptions) {}
#define RECEVOIR(nom)                                                                                        \
    void nom##_vol_complet(CORBA::Long resultat, const Vol& v, CORBA::Long idOp) override                    \
    {                                                                                                        \
        _receptions.poser({#nom, resultat, v.m_gidentifiant.in(), idOp});                                    \
    }
    RECEVOIR(cree)
    RECEVOIR(modifie)
    RECEVOIR(consulte)
#undef RECEVOIR
    void supprime_vol_complet(CORBA::Long resultat, CORBA::Long idOp) override
    {
        _receptions.poser({"supprime", resultat, "", idOp});
    }
    void liste_vol_complet(const Vol& v, CORBA::Long idOp) override
    {
        porte.passer();
        _receptions.poser({"liste", 0, v.m_gidentifiant.in(), idOp});
    }
    void fin_liste_vol_complet(CORBA::Long resultat, CORBA::Long idOp) override
    {
        _receptions.poser({"fin_liste", resultat, "", idOp});
    }

    Porte porte; ///< of a client that takes nothing of a listing

  private:
    Receptions& _receptions;
};

class Face : public POA_orix_corba__Client, public orix::orb::ServantAttendu
{
  public:
    enum Reponse
    {
        PRESENT,
        DEFAILLANT,
        RENIE
    };

    explicit Face(Receptions& receptions) : _receptions(receptions) {}
    void testerConnexionClient(const char*, const char*, const char*, CORBA::Long) override
    {
        if (reponse == DEFAILLANT)
            throw CORBA::NO_RESOURCES();
        if (reponse == RENIE)
            throw orix_corba::ServeurDeconnecte();
        pings.poser(true);
    }
    void testerConnexionServeur(CORBA::Long) override {}
    void deconnexionCB(CORBA::Long raison) override { _receptions.poser({"deconnexion", raison, "", 0}); }

    std::atomic<Reponse> reponse{PRESENT};
    FileAttente<bool> pings;

  private:
    Receptions& _receptions;
};

/// What a server's kernel answered.
struct Activation
{
    CORBA::Long statut = -1;
    CORBA::String_var serveur;
    CORBA::String_var machine;
    orix_corba::NiveauReference_var niveau;
    CORBA::Long numero = -1;
};

/// A client that speaks the protocol itself.
class ClientBrut
{
  public:
    ClientBrut() = default;
    explicit ClientBrut(const std::string& url)
    {
        const CORBA::Object_var objet =
            orix::orb::resoudre(orix::oxNoyau()->lirePointAcces()->lireORB(), url, PATIENCE);
        _noyau = orix_corba::Noyau::_unchecked_narrow(objet);
        if (CORBA::is_nil(_noyau))
            throw std::runtime_error("no kernel at " + url);
    }
    ~ClientBrut()
    {
        const PortableServer::POA_ptr poa = orix::oxNoyau()->lirePointAcces()->lirePOA_Racine();
        const auto retirer = [&](auto& servant) {
            try {
                const PortableServer::ObjectId_var id = poa->servant_to_id(&servant);
                poa->deactivate_object(id);
            } catch (const PortableServer::POA::ServantNotActive&) {
                // no activation was asked for with references
            }
            EXPECT_TRUE(servant.attendreRetrait(PATIENCE));
        };
        retirer(_notifications);
        retirer(_face);
    }

    /// What it asks an activation with.
    struct Presentation
    {
        orix_corba::SequenceNiveauReference niveaux;
        orix_corba__Client_var face;
    };
    Presentation presenter(int majeur, bool avecReferences)
    {
        Presentation p;
        orix_corba::SequenceNiveauReference& niveaux = p.niveaux;
        niveaux.length(2);
        niveaux[0] = {1, 0, 0, 0, {}};
        niveaux[1] = {majeur, 0, 0, 0, {}};
        if (avecReferences) {
            niveaux[1].reference = _notifications._this();
            p.face = _face._this();
        }
        return p;
    }
    /// noyau: a reference, or a servant.
    template <class Noyau>
    static void demander(Noyau& noyau, const std::string& service, const Presentation& p, Activation& a)
    {
        noyau.activerService(service.c_str(), p.niveaux, p.face.in(), "essai[7]", "machine", a.statut,
                             a.serveur.out(), a.machine.out(), a.niveau.out(), a.numero);
    }
    Activation demander(const std::string& service, int majeur, bool avecReferences)
    {
        Activation a;
        demander(*_noyau.in(), service, presenter(majeur, avecReferences), a);
        return a;
    }
    ClientBrut& activer()
    {
        const Activation a = demander("cdv", 3, true);
        if (a.statut != orix::OXS_OK)
            throw std::runtime_error("activation refused");
        _numero = a.numero;
        _service = orix_corba::OXcdv_v3_0_0_ClientVersServeur::_unchecked_narrow(a.niveau->reference);
        return *this;
    }

    template <class Sendc>
    void envoyer(Sendc sendc, const char* operation, const Vol& v, int idOp)
    {
        const CORBA::Long op = idOp;
        orix::orb::envoyer(_service.in(), sendc, operation,
                           orix_corba::AMI_OXcdv_v3_0_0_ClientVersServeurHandler::_nil(), v, op, _numero);
    }
    void creer(const std::string& identifiant, int idOp)
    {
        envoyer(&Service::sendc_cree_vol_complet, "cree_vol_complet", vol(identifiant), idOp);
    }
    void lister(int idOp)
    {
        envoyer(&Service::sendc_liste_vol_complet, "liste_vol_complet",
                OXvol_completData().construireObjetSpecifique_v3_0_0(), idOp);
    }

    Service* service() { return _service.in(); }
    CORBA::Long numero() const { return _numero; }
    Face& face() { return _face; }
    Porte& porte() { return _notifications.porte; }
    void noter(const Recu& recu) { _receptions.poser(recu); }
    Recu attendre() { return _receptions.prendre({"rien", 0, "", 0}, PATIENCE); }
    /// The next ones; fewer when one does not come.
    std::vector<Recu> attendre(std::size_t nombre)
    {
        std::vector<Recu> recus;
        do
            recus.push_back(attendre());
        while (recus.size() < nombre && std::get<0>(recus.back()) != "rien");
        return recus;
    }
    bool estConnu()
    {
        try {
            _service->testerConnexionServeur(_numero);
            return true;
        } catch (const orix_corba::ClientDeconnecte&) {
            return false;
        }
    }

  private:
    Receptions _receptions;
    Notifications _notifications{_receptions};
    Face _face{_receptions};
    orix_corba::Noyau_var _noyau;
    orix_corba::OXcdv_v3_0_0_ClientVersServeur_var _service;
    CORBA::Long _numero = 0;
};

} // namespace essais

#endif
