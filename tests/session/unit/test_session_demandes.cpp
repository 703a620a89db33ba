// The requests of a session and what comes for them: who ends, how, and when.
#include "PanneMemoire.h"
#include "TableDemandes.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using cdv::Genre;
using cdv::Instant;
using cdv::Notification;
using Accueil = cdv::TableDemandes::Accueil;

constexpr Instant T0{1h};

/// Writes its end, and the records that it has received before, in a journal.
class Temoin : public cdv::Demande
{
  public:
    Temoin(std::string nom, std::string& journal, std::size_t capacite)
        : _nom(std::move(nom)), _journal(journal), _capacite(capacite)
    {}
    void recevoir(cdv::Vol) override { ++recus; }
    bool conclure(cdv::Resultat resultat) noexcept override
    {
        constexpr const char* ETATS[] = {"done", "refused", "late", "lost", "unsent", "closed"};
        _journal += _nom + ":" + ETATS[static_cast<int>(resultat.etat)] +
                    (recus > 0 ? "+" + std::to_string(recus) : "") + " ";
        return false;
    }
    std::size_t enAttente() const noexcept override { return _capacite > 0 ? recus : 0; }
    std::size_t capacite() const noexcept override { return _capacite > 0 ? _capacite : Demande::capacite(); }
    std::size_t recus = 0;

  private:
    const std::string _nom;
    std::string& _journal;
    const std::size_t _capacite;
};

class Demandes : public ::testing::Test
{
  protected:
    std::shared_ptr<Temoin> commencer(const char* nom, Genre genre, cdv::Duree delai = 10s,
                                      std::size_t capacite = 0)
    {
        auto temoin = std::make_shared<Temoin>(nom, journal, capacite);
        table.commencer(temoin, genre, delai, T0);
        return temoin;
    }
    Accueil vol(int idOp, Instant t = T0)
    {
        Notification notification{Notification::Sorte::vol, 0, cdv::Vol()};
        return table.accueillir(Genre::lister, idOp, notification, table.dernierAppel(), t);
    }
    Accueil fin(Genre genre, int idOp, int code = 0)
    {
        Notification notification{Notification::Sorte::fin, code, std::nullopt};
        return table.accueillir(genre, idOp, notification, table.dernierAppel(), T0);
    }
    std::string fins() { return std::exchange(journal, {}); }

    std::string journal;
    cdv::Livraisons livraisons;
    cdv::TableDemandes table{livraisons, 3};
};

TEST_F(Demandes, ChacuneALaSienne)
{
    commencer("a", Genre::creer);
    commencer("b", Genre::lister);
    commencer("c", Genre::creer);
    table.partie(1, 41, T0);
    table.partie(2, 42, T0);
    table.nonPartie(3, orix::OXS_ERREUR_CORBA);
    EXPECT_EQ(fins(), "c:unsent ");
    EXPECT_EQ(fin(Genre::modifier, 41), Accueil::inconnue); // another kind
    EXPECT_EQ(fin(Genre::creer, 42), Accueil::inconnue);
    EXPECT_EQ(vol(42), Accueil::prise);
    EXPECT_EQ(fin(Genre::creer, 41, 2), Accueil::prise);
    EXPECT_EQ(fin(Genre::creer, 41), Accueil::inconnue); // twice
    EXPECT_EQ(fin(Genre::lister, 42), Accueil::prise);
    EXPECT_EQ(fins(), "a:refused b:done+1 ");

    // A number that comes again while the first is unanswered: the older one first.
    for (const char* nom : {"d", "e"}) {
        commencer(nom, Genre::creer);
        table.partie(table.dernierAppel(), 50, T0);
    }
    fin(Genre::creer, 50);
    fin(Genre::creer, 50, 1);
    EXPECT_EQ(fins(), "d:done e:refused ");
    EXPECT_EQ(table.enCours(), 0u);
}

TEST_F(Demandes, CeQuiDepasseSonAppel)
{
    commencer("a", Genre::lister);
    for (const int allocation : {1, 2}) {
        const essais::PanneMemoire panne(allocation);
        EXPECT_EQ(vol(41), Accueil::aRevoir);
    }
    EXPECT_EQ(vol(41), Accueil::prise);
    EXPECT_EQ(fin(Genre::creer, 99), Accueil::prise); // nobody's, but who knows
    EXPECT_EQ(fin(Genre::lister, 41), Accueil::prise);
    EXPECT_EQ(vol(41), Accueil::aRevoir); // no place for more
    const auto alors = table.dernierAppel();
    commencer("b", Genre::creer);
    table.partie(1, 41, T0);
    EXPECT_EQ(fins(), "a:done+1 ");
    EXPECT_EQ(table.depots(), 0u); // not for b: it began later
    Notification tardive{Notification::Sorte::fin, 0, std::nullopt};
    EXPECT_EQ(table.accueillir(Genre::creer, 7, tardive, alors, T0), Accueil::inconnue);
}

TEST_F(Demandes, FluxBorne)
{
    const auto flux = commencer("flux", Genre::lister, 10s, 4);
    table.partie(1, 41, T0);
    for (int n = 0; n < 4; ++n)
        EXPECT_EQ(vol(41), Accueil::prise);
    EXPECT_EQ(vol(41), Accueil::aRevoir);
    EXPECT_EQ(table.prochaineEcheance(), cdv::JAMAIS); // the reader's time, not the server's
    flux->recus = 3;
    EXPECT_EQ(vol(41), Accueil::aRevoir); // until half of it is read
    flux->recus = 2;
    EXPECT_EQ(vol(41, T0 + 1h), Accueil::prise);
    EXPECT_EQ(table.prochaineEcheance(), T0 + 1h + 10s);
    EXPECT_EQ(vol(41), Accueil::prise);
    EXPECT_EQ(vol(41), Accueil::aRevoir);
    commencer("autre", Genre::creer); // its answer comes behind the records
    EXPECT_EQ(vol(41), Accueil::prise);
    table.abandonner(flux);
    EXPECT_EQ(vol(41), Accueil::prise); // put aside: the call of the other one lasts
    table.partie(2, 42, T0);
    EXPECT_EQ(vol(41), Accueil::inconnue);
    EXPECT_EQ(fins(), "flux:closed+5 ");
}

} // namespace
