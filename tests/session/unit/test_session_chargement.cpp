// Loading in bulk, over a server that the test plays: what it has, what it says, when it is lost.
#include "CdvChargement.h"
#include "Essais.h"
#include "FileAttente.h"
#include "OXcdvCliCode.h"

using namespace std::chrono_literals;
using cdv::Chargement;
using cdv::Resultat;
using cdv::Vol;
using Demande = Chargement::Voies::Demande;
using Etat = Resultat::Etat;
using Fin = Chargement::Fin;

namespace {

Vol vol(const std::string& identifiant, const std::string& parking = "B12")
{
    Vol nouveau;
    nouveau.ecrire("identifiant", identifiant).ecrire("parking", parking);
    return nouveau;
}

Resultat resultat(Etat etat, int code = 0)
{
    Resultat rendu;
    rendu.etat = etat;
    rendu.code = code;
    if (etat == Etat::perdu)
        rendu.statut = orix::OXS_ECHEC_PING;
    if (etat == Etat::nonEnvoye)
        rendu.statut = orix::OXS_SERVICE_NON_ACTIVE;
    return rendu;
}

/// The flights of a server, and what becomes of each request: answered on a thread of its own, in order.
class ServeurJoue
{
  public:
    ~ServeurJoue()
    {
        _reponses.poser({});
        _fil.join();
    }

    std::map<std::string, std::string> vols; ///< parkings
    /// Of each request: whether it is done, and how it ends instead of by its answer.
    std::function<std::pair<bool, std::optional<Etat>>(Demande, const std::string&)> sort =
        [](Demande, const std::string&) { return std::pair(true, std::optional<Etat>()); };
    std::atomic<bool> present{true};
    std::function<bool()> revenir = [] { return true; }; ///< asked by whoever waits for it
    std::vector<std::string> recues;

    Chargement::Voies voies()
    {
        Chargement::Voies voies;
        voies.demander = [this](Demande demande, const Vol& demandee, cdv::Session::Fin fin) {
            const std::string id(*demandee.lire("identifiant"));
            const std::string parking(demandee.lire("parking").value_or(""));
            const auto reponse = std::make_shared<Resultat>(_executer(demande, id, parking));
            _reponses.poser([fin, reponse] { fin(std::move(*reponse)); });
        };
        voies.connexion = [this] { return present ? 1ull : 0ull; };
        voies.attendreAutre = [](unsigned long long, cdv::Duree) {};
        voies.attendreActive = [this](cdv::Duree) { return present = present || revenir(); };
        voies.reveiller = [] {};
        return voies;
    }

  private:
    Resultat _executer(Demande demande, const std::string& id, const std::string& parking)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        recues.push_back("CMSL"[demande] + id);
        if (!present)
            return resultat(Etat::nonEnvoye);
        const auto [faite, sansReponse] = sort(demande, id);
        Resultat reponse = resultat(Etat::refuse, cdv::code::INTROUVABLE);
        const bool existe = vols.count(id) != 0;
        if (demande == Demande::CREER && existe)
            reponse.code = cdv::code::EXISTE_DEJA;
        else if (demande == Demande::CREER || existe)
            reponse = resultat(Etat::fait);
        if (reponse && demande == Demande::CONSULTER)
            reponse.vol = vol(id, vols[id]);
        else if (reponse && faite && demande == Demande::SUPPRIMER)
            vols.erase(id);
        else if (reponse && faite)
            vols[id] = parking;
        if (!sansReponse)
            return reponse;
        present = *sansReponse != Etat::perdu;
        Resultat fin = resultat(*sansReponse);
        if (fin.etat == Etat::nonEnvoye)
            fin.statut = orix::OXS_ERREUR_CORBA; // the server is there all the same
        return fin;
    }

    std::mutex _mutex; // one request at a time
    essais::FileAttente<std::function<void()>> _reponses;
    std::thread _fil{[this] {
        while (const auto reponse = _reponses.prendre({}, std::chrono::hours(1)))
            reponse();
    }};
};

} // namespace

// Whatever is lost, and whether it was done: each record ends once, as the server has it.
TEST(Chargement, FinitToutMalgreLesPertes)
{
    constexpr int VOLS = 300;
    std::uint64_t constates = 0;
    for (unsigned graine = 1; graine <= 20; ++graine) {
        SCOPED_TRACE(graine);
        std::minstd_rand hasard(graine);
        ServeurJoue serveur;
        serveur.vols = {{"V7", "ailleurs"}, {"V9", "B12"}};
        serveur.sort = [&](Demande, const std::string& id) {
            if (id == "V5")
                return std::pair(false, std::optional(Etat::nonEnvoye)); // too long, for instance
            const auto tirage = hasard() % 10;
            return std::pair(tirage != 0, tirage < 2 ? std::optional(Etat::perdu) : std::nullopt);
        };
        std::map<std::string, std::vector<Fin>> fins;
        Chargement::Reglages reglages;
        reglages.fenetre = 16;
        reglages.surFin = [&](const Vol& celui, Fin fin, const Resultat&) {
            fins[std::string(*celui.lire("identifiant"))].push_back(fin);
        };
        Chargement chargement(serveur.voies(), reglages);
        for (int n = 0; n < VOLS; ++n) {
            EXPECT_TRUE(chargement.creer(vol("V" + std::to_string(n))));
            EXPECT_LE(chargement.bilan().enCours, reglages.fenetre);
        }
        const Chargement::Bilan bilan = chargement.attendreFin();
        EXPECT_EQ(serveur.vols.size(), VOLS - 1);
        EXPECT_EQ(bilan.crees + bilan.refuses, VOLS);
        EXPECT_GE(bilan.refuses, 2u); // V5, V7, and V9 unless there was a doubt
        EXPECT_LE(bilan.refuses, 3u);
        EXPECT_GT(bilan.pertes, 0u);
        EXPECT_EQ(fins.size(), VOLS);
        EXPECT_EQ(serveur.vols["V7"], "ailleurs");
        for (const auto& [identifiant, fin] : fins)
            EXPECT_EQ(fin.size(), 1u) << identifiant;
        constates += bilan.constates;
    }
    EXPECT_GT(constates, 0u);
}

TEST(Chargement, UnDouteSeReglePasAuHasard)
{
    using E = Chargement::Existants;
    // What is asked of a flight whose first answer is lost, done or not; what the server has before.
    const struct
    {
        Demande demande;
        E existants;
        std::optional<std::string> avant;
        bool faite;
        std::string demandes;
        Fin fin;
        std::optional<std::string> apres;
        Etat premiere = Etat::perdu;
    } cas[] = {
        {Demande::CREER, E::refuser, {}, true, "CX CX LX", Fin::cree, "B12"},
        {Demande::CREER, E::refuser, {}, false, "CX CX", Fin::cree, "B12"},
        {Demande::CREER, E::refuser, {}, true, "CX CX LX", Fin::cree, "B12", Etat::nonEnvoye}, // half sent
        {Demande::CREER, E::refuser, "C3", true, "CX CX LX", Fin::refuse, "C3"},
        {Demande::CREER, E::ignorer, "C3", true, "CX CX LX", Fin::ignore, "C3"},
        {Demande::CREER, E::modifier, "C3", true, "CX CX LX MX", Fin::modifie, "B12"},
        {Demande::MODIFIER, E::refuser, "C3", true, "MX MX", Fin::modifie, "B12"},
        {Demande::SUPPRIMER, E::refuser, "C3", true, "SX SX", Fin::supprime, {}},
        {Demande::SUPPRIMER, E::refuser, "C3", false, "SX SX", Fin::supprime, {}},
        {Demande::SUPPRIMER, E::refuser, {}, true, "SX SX", Fin::supprime, {}}, // nobody can tell
    };
    for (const auto& c : cas) {
        SCOPED_TRACE(c.demandes);
        ServeurJoue serveur;
        if (c.avant)
            serveur.vols["X"] = *c.avant;
        serveur.sort = [&, premiere = true](Demande, const std::string&) mutable {
            const bool celle = std::exchange(premiere, false);
            return std::pair(!celle || c.faite, celle ? std::optional(c.premiere) : std::nullopt);
        };
        Chargement::Reglages reglages;
        reglages.existants = c.existants;
        std::vector<Fin> fins;
        {
            Chargement chargement(serveur.voies(), reglages);
            const auto surFin = [&](const Vol&, Fin fin, const Resultat&) { fins.push_back(fin); };
            EXPECT_TRUE(c.demande == Demande::CREER      ? chargement.creer(vol("X"), surFin)
                        : c.demande == Demande::MODIFIER ? chargement.modifier(vol("X"), surFin)
                                                         : chargement.supprimer(vol("X"), surFin));
            chargement.attendreFin();
        }
        std::string demandes;
        for (const std::string& recue : serveur.recues)
            demandes += (demandes.empty() ? "" : " ") + recue;
        EXPECT_EQ(c.demandes, demandes);
        EXPECT_THAT(fins, testing::ElementsAre(c.fin));
        EXPECT_EQ(c.apres ? 1u : 0u, serveur.vols.count("X"));
        if (c.apres) {
            EXPECT_EQ(*c.apres, serveur.vols["X"]);
        }
    }
}

TEST(Chargement, IlRenonceEtDitPourquoi)
{
    const struct
    {
        Etat etat;    // of every request from the third on
        bool revient; // after a loss
        cdv::Duree patience;
        std::size_t demandes;
    } cas[] = {
        {Etat::perdu, false, 1min, 4},    // nobody comes
        {Etat::perdu, true, 0ms, 4},      // no patience
        {Etat::delai, true, 1min, 5 + 2}, // it never answers, although it is there
        {Etat::ferme, true, 1min, 3},
    };
    for (const auto& c : cas) {
        SCOPED_TRACE(static_cast<int>(c.etat));
        ServeurJoue serveur;
        serveur.revenir = [&] { return c.revient; };
        serveur.sort = [&, nombre = 0](Demande, const std::string&) mutable {
            return std::pair(true, ++nombre >= 3 ? std::optional(c.etat) : std::nullopt);
        };
        Chargement::Reglages reglages;
        reglages.fenetre = 1;
        reglages.patience = c.patience;
        Chargement chargement(serveur.voies(), reglages);
        std::uint64_t donnes = 0;
        while (donnes < 100 && chargement.creer(vol(std::to_string(donnes))))
            ++donnes;
        EXPECT_EQ(donnes, 3u);
        const Chargement::Bilan bilan = chargement.attendreFin();
        EXPECT_EQ(bilan.crees, 2u);
        EXPECT_EQ(bilan.abandonnes, 1u);
        EXPECT_EQ(bilan.enCours, 0u);
        ASSERT_TRUE(bilan.arret);
        EXPECT_EQ(*bilan.arret, c.etat);
        EXPECT_FALSE(bilan);
    }
}

// The end comes while answers are under way, and while something waits to be asked again.
TEST(Chargement, LInterruptionAttendCeQuiEstParti)
{
    ServeurJoue serveur;
    serveur.sort = [&](Demande, const std::string& id) {
        return std::pair(true, id == "1" ? std::optional(Etat::perdu) : std::nullopt);
    };
    std::atomic<int> dites{0};
    Chargement::Reglages reglages;
    reglages.surAvancement = [&](const Chargement::Bilan&) {
        ++dites;
        throw std::runtime_error("an application's fault"); // goes no further
    };
    Chargement chargement(serveur.voies(), reglages);
    EXPECT_TRUE(chargement.creer(vol("0")));
    EXPECT_TRUE(chargement.creer(vol("1")));
    serveur.revenir = [&] {
        chargement.interrompre();
        return true; // too late: nothing more is asked
    };
    const Chargement::Bilan bilan = chargement.attendreFin();
    EXPECT_EQ(bilan.crees, 1u);
    EXPECT_EQ(bilan.refaites, 0u);
    EXPECT_EQ(bilan.abandonnes, 1u);
    EXPECT_FALSE(bilan.arret) << "nothing but the application's will";
    EXPECT_EQ(dites, 2);
    Vol reste = vol("2");
    EXPECT_FALSE(chargement.creer(std::move(reste)));
    EXPECT_EQ("2", reste.lire("identifiant")); // left as it was
}
