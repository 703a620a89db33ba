// What may come together does: at each point of each operation another one, on another thread; and each of
// their allocations fails in turn. Afterwards the session works, and each request has ended once.
#include "CdvSession.h"
#include "FacadeFactice.h"
#include "MoteurSession.h"
#include "PanneMemoire.h"

namespace {

using namespace std::chrono_literals;
using namespace cdv;
using namespace essais;

/// Comes back when it is so; false: it never was.
template <class Condition>
bool attendre(Condition condition)
{
    const auto fin = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > fin)
            return false;
        std::this_thread::yield();
    }
    return true;
}

enum class Depart
{
    fermee,
    demandee, ///< a server was asked
    active    ///< and a request is unanswered
};

/// A session, its client, and what the application was told.
class Monde
{
    // First: they outlive the thread of the facade, which uses them.
    std::mutex _mutex;
    std::vector<std::vector<Resultat::Etat>> _fins; ///< of each request
    std::vector<EtatSession> _etats;

    std::mutex _mutexPoint;
    std::function<void()> _intrus;
    bool _ferme = false;
    int _reste = 0;
    std::thread _autre;
    std::atomic<bool> _faite{false};
    std::atomic<int> _panne{0};
    std::atomic<bool> _survenue{false};

  public:
    explicit Monde(Depart depart)
    {
        facade.repondreActivations(false);
        facade.regler([](auto&) { return Facade::Sort::enAttente(); });
        facade.surPoint = [this] { point(); };
        facade.executer = [this](const auto& appel) {
            const int allocation = _panne;
            const PanneMemoire panne(allocation);
            appel();
            _survenue = _survenue || (allocation != 0 && panne.survenue());
        };
        options.delaiReprise = 1ms;
        options.delaiRepriseMax = 2ms;
        options.observateur = [this](const Evenement& evenement) { noter(evenement); };
        if (depart == Depart::fermee)
            return;
        ouvrir();
        attendre([&] { return facade.estDemandee(); });
        if (depart == Depart::demandee)
            return;
        facade.accepter();
        attendre([&] { return session.estActive(); });
        demander();
    }

    // ---- Operations
    void ouvrir()
    {
        try {
            horloge ? cdv::MoteurSession::ouvrir(session, options, horloge) : session.ouvrir(options);
        } catch (const cdv::Erreur& erreur) {
            EXPECT_EQ(erreur.statut(), orix::OXS_DEJA_CONNECTE);
        }
    }
    void fermer() { session.fermer(); }
    void rouvrir()
    {
        fermer();
        ouvrir();
    }
    void demander()
    {
        const std::size_t numero = nouvelle();
        cdv::Vol vol;
        {
            const SansPanne portee;
            vol.ecrire("identifiant", "V");
        }
        try {
            session.lister(
                vol, [this, numero](const cdv::ResultatListe& resultat) { finir(numero, resultat.etat); },
                delai);
        } catch (const std::bad_alloc&) {
            finir(numero, Resultat::Etat::nonEnvoye);
        }
    }
    void perdre() { facade.perdre(orix::OXS_SERVICE_NON_ACTIVE); }
    void recevoir() { facade.envoyer(1, "V"); }

    // ---- The other one
    /// At the point of that number from now on, on another thread. ferme: it closes the session.
    void viser(int point, std::function<void()> intrus, bool ferme)
    {
        facade.attendreCalme();
        const std::lock_guard<std::mutex> verrou(_mutexPoint);
        _intrus = std::move(intrus);
        _ferme = ferme;
        _reste = point;
    }
    bool lance()
    {
        const std::lock_guard<std::mutex> verrou(_mutexPoint);
        return _autre.joinable();
    }
    /// True when the point was reached; the other one is over then.
    bool intervenu()
    {
        facade.attendreCalme();
        {
            const std::lock_guard<std::mutex> verrou(_mutexPoint);
            _reste = 0;
        }
        if (!lance())
            return false;
        _autre.join();
        return true;
    }
    /// In each callback from now on that allocation fails; 0: none. Returns whether one did.
    bool manquer(int allocation)
    {
        facade.attendreCalme();
        _panne = allocation;
        return _survenue;
    }

    /// The servers are well: the session works, and has done what it owed.
    void calmer(const std::string& contexte)
    {
        SCOPED_TRACE(contexte);
        facade.repondreActivations(true);
        facade.accepter();
        ouvrir();
        // By itself: no request helps to find out.
        EXPECT_TRUE(attendre([&] { return session.estActive() && facade.estActive(); })) << "stuck";
        facade.relacher();
        demander();
        facade.relacher();
        EXPECT_TRUE(attendre([&] { return session.nombreEnCours() == 0 && toutesFinies(); })) << "unanswered";
        EXPECT_EQ(derniereFin(), Resultat::Etat::fait);
        fermer();
        facade.attendreCalme();
        EXPECT_FALSE(facade.estActive() || facade.estDemandee());
        const std::lock_guard<std::mutex> verrou(_mutex);
        EXPECT_THAT(_fins, testing::Each(testing::SizeIs(1)));
        EXPECT_EQ(_etats.back(), EtatSession::fermee);
        for (std::size_t n = 1; n < _etats.size(); ++n)
            EXPECT_TRUE(ordreQuelconque || seSuivent(_etats[n - 1], _etats[n]))
                << texteEtat(_etats[n - 1]) << ", then " << texteEtat(_etats[n]);
    }
    EtatSession dernierEtatDit()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _etats.empty() ? EtatSession::fermee : _etats.back();
    }
    Resultat::Etat derniereFin()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return _fins.back().at(0);
    }
    bool toutesFinies()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return std::none_of(_fins.begin(), _fins.end(), [](const auto& fins) { return fins.empty(); });
    }

    essais::Facade facade;
    cdv::Options options;
    std::shared_ptr<cdv::Horloge> horloge; ///< null: its own
    Session::Delai delai;
    bool ordreQuelconque = false; ///< changes may be left out
    Session session;

  private:
    void point()
    {
        {
            const std::lock_guard<std::mutex> verrou(_mutexPoint);
            if (_reste == 0 || --_reste > 0)
                return;
            _autre = std::thread([this] {
                _intrus();
                _faite = true;
            });
        }
        // Who closes may have to wait for this very thread.
        attendre([&] { return _faite || (_ferme && session.etat() == EtatSession::fermee); });
    }
    static bool seSuivent(EtatSession avant, EtatSession apres)
    {
        using E = EtatSession;
        static const std::set<std::pair<E, E>> SUITES{
            {E::fermee, E::activation}, {E::attente, E::activation}, {E::activation, E::active},
            {E::attente, E::active},    {E::activation, E::attente}, {E::active, E::attente}};
        return SUITES.count({avant, apres}) != 0 || (apres == E::fermee && avant != E::fermee);
    }
    void noter(const Evenement& evenement)
    {
        const SansPanne portee;
        const std::lock_guard<std::mutex> verrou(_mutex);
        _etats.push_back(evenement.etat);
    }
    std::size_t nouvelle()
    {
        const SansPanne portee;
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fins.emplace_back();
        return _fins.size() - 1;
    }
    void finir(std::size_t numero, Resultat::Etat etat)
    {
        const SansPanne portee;
        const std::lock_guard<std::mutex> verrou(_mutex);
        _fins[numero].push_back(etat);
    }
};

/// What the server does lacks no memory.
std::function<void(Monde&)> serveur(std::function<void(Monde&)> action)
{
    return [action = std::move(action)](Monde& monde) {
        const SansPanne portee;
        action(monde);
    };
}

struct Operation
{
    const char* nom;
    Depart depart;
    std::function<void(Monde&)> faire;
    std::function<bool(Monde&)> consequence = [](Monde&) { return true; };
};

bool estDemandee(Monde& m) { return m.facade.estDemandee(); }
bool estActive(Monde& m) { return m.session.estActive(); }
bool estRedemandee(Monde& m) { return m.facade.activations() > 1 && m.facade.estDemandee(); }

const Operation OPERATIONS[] = {
    {"open", Depart::fermee, [](Monde& m) { m.ouvrir(); }, estDemandee},
    {"close", Depart::active, [](Monde& m) { m.fermer(); }},
    {"close early", Depart::demandee, [](Monde& m) { m.fermer(); }},
    {"request", Depart::active, [](Monde& m) { m.demander(); }},
    {"accept", Depart::demandee, serveur([](Monde& m) { m.facade.accepter(); }), estActive},
    {"refuse", Depart::demandee, serveur([](Monde& m) { m.facade.refuser(); }), estRedemandee},
    {"lose", Depart::active, serveur([](Monde& m) { m.perdre(); }), estRedemandee},
    {"lose early", Depart::demandee, serveur([](Monde& m) { m.facade.accepterTropTard(); }), estRedemandee},
    {"reopen", Depart::active, [](Monde& m) { m.rouvrir(); }, estDemandee},
};

TEST(EntrelacsSession, ChaqueOperationAChaquePointDeChaqueAutre)
{
    int nombre = 0;
    for (const Operation& operation : OPERATIONS) {
        for (const Operation& autre : OPERATIONS) {
            const std::string nomAutre = autre.nom;
            for (int point = 1;; ++point) {
                Monde monde(operation.depart);
                monde.viser(
                    point, [&] { autre.faire(monde); }, nomAutre.find("close") == 0 || nomAutre == "reopen");
                operation.faire(monde);
                attendre([&] { return monde.lance() || operation.consequence(monde); });
                const bool intervenu = monde.intervenu();
                monde.calmer(operation.nom + (", at point " + std::to_string(point)) + ": " + nomAutre);
                if (HasFailure())
                    return;
                if (!intervenu)
                    break;
                ++nombre;
            }
        }
    }
    EXPECT_GT(nombre, 150);
    std::cout << nombre << " interleavings\n";
}

// Between its first and its last step an opening has no point of the facade.
TEST(EntrelacsSession, OuvrirEtFermerEnsemble)
{
    Monde monde(Depart::fermee);
    std::atomic<bool> fini{false};
    std::thread fermeture([&] {
        while (!fini)
            monde.fermer();
    });
    for (int n = 0; n < 300; ++n)
        monde.ouvrir();
    fini = true;
    fermeture.join();
    monde.calmer("opened and closed");
}

// On the callback thread, the failure strikes inside the callback.
TEST(EntrelacsSession, ChaqueAllocationManque)
{
    const Operation AUTRES[] = {
        {"answer", Depart::active, serveur([](Monde& m) { m.facade.relacher(); })},
        {"record", Depart::active, serveur([](Monde& m) { m.recevoir(); })},
    };
    std::vector<Operation> operations(std::begin(OPERATIONS), std::end(OPERATIONS));
    operations.insert(operations.end(), std::begin(AUTRES), std::end(AUTRES));
    int nombre = 0;
    for (const Operation& operation : operations) {
        for (int n = 1;; ++n) {
            Monde monde(operation.depart);
            monde.ordreQuelconque = true; // a change may be told by the next one
            monde.manquer(n);
            bool survenue = false;
            {
                const PanneMemoire panne(n);
                try {
                    operation.faire(monde);
                } catch (const std::bad_alloc&) {
                }
                survenue = panne.survenue();
            }
            survenue = monde.manquer(0) || survenue;
            EXPECT_TRUE(attendre([&] { return monde.dernierEtatDit() == monde.session.etat(); }))
                << "not told";
            monde.calmer(operation.nom + (", allocation " + std::to_string(n)));
            if (HasFailure())
                return;
            if (!survenue)
                break;
            ++nombre;
        }
    }
    EXPECT_GT(nombre, 15);
    std::cout << nombre << " allocations\n";
}

/// The threads of the session have no memory at all.
class HorlogeSansMemoire : public cdv::Horloge
{
  public:
    void attendre(std::condition_variable& condition, std::unique_lock<std::mutex>& verrou,
                  cdv::Instant fin) override
    {
        if (std::this_thread::get_id() != _principal)
            essais::manquerToujours();
        Horloge::attendre(condition, verrou, fin);
    }

  private:
    const std::thread::id _principal = std::this_thread::get_id();
};

TEST(EntrelacsSession, LesFilsDeLaSessionSePassentDeMemoire)
{
    Monde monde(Depart::fermee);
    monde.horloge = std::make_shared<HorlogeSansMemoire>();
    monde.ordreQuelconque = true; // a change may be told by the next one
    monde.delai = 1ms;
    monde.ouvrir();
    for (int n = 0; n < 3; ++n) {
        EXPECT_TRUE(attendre([&] { return monde.facade.estDemandee(); }));
        monde.facade.accepter();
        EXPECT_TRUE(attendre([&] { return monde.session.estActive(); }));
        monde.demander();
        EXPECT_TRUE(attendre([&] { return monde.toutesFinies(); }));
        EXPECT_EQ(monde.derniereFin(), Resultat::Etat::delai);
        monde.perdre();
    }
    monde.delai.reset();
    monde.calmer("no memory");
}
} // namespace
