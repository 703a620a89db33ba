#include "Ecrivain.h"

#include "FormatCsv.h"
#include "FormatTableau.h"
#include "Terminal.h"

#include "OXvol_completData.h"

#include <ostream>

namespace outils {

namespace {

/// Of the formats that show records as they are: the fields that are wanted of them.
class EcrivainChoix : public Ecrivain
{
  public:
    EcrivainChoix(std::unique_ptr<Ecrivain> suite, const std::vector<cdv::Champ>& champs)
        : _suite(std::move(suite)), _champs(champs)
    {}
    void ecrire(const cdv::Vol& vol) override
    {
        cdv::Vol choix;
        for (const cdv::Champ champ : _champs)
            if (const auto valeur = vol.lire(champ))
                choix.ecrire(champ, *valeur);
        _suite->ecrire(choix);
    }

  private:
    const std::unique_ptr<Ecrivain> _suite;
    const std::vector<cdv::Champ> _champs;
};

/// One object a line.
class EcrivainJson : public Ecrivain
{
  public:
    explicit EcrivainJson(std::ostream& flux) : _flux(flux) {}
    void ecrire(const cdv::Vol& vol) override { _flux << vol.versJson() << '\n'; }

  private:
    std::ostream& _flux;
};

/// The record's own dump, for a terminal.
class EcrivainDump : public Ecrivain
{
  public:
    explicit EcrivainDump(std::ostream& flux) : _flux(flux) {}
    void ecrire(const cdv::Vol& vol) override { _flux << _affichable(vol).brut(); }

  private:
    static cdv::Vol _affichable(const cdv::Vol& vol)
    {
        const auto convertir = [](std::optional<std::string_view> texte, std::string& utf8) {
            if (texte)
                texte = utf8 = affichable(*texte);
            return texte;
        };
        cdv::Vol rendu;
        for (const std::string_view nom : cdv::Vol::champs())
            if (const auto valeur = vol.lire(nom))
                rendu.ecrire(nom, affichable(*valeur));
        for (const cdv::Changement& c : vol.changements()) {
            std::string textes[3];
            rendu.ajouterChangement({convertir(c.rubrique, textes[0]), convertir(c.ancienneValeur, textes[1]),
                                     convertir(c.nouvelleValeur, textes[2])});
        }
        for (const std::string_view point : vol.points())
            rendu.ajouterPoint(affichable(point));
        return rendu;
    }

    std::ostream& _flux;
};

} // namespace

std::unique_ptr<Ecrivain> creerEcrivain(Format format, std::ostream& flux, const Presentation& presentation)
{
    if (format == Format::csv)
        return std::make_unique<EcrivainCsv>(flux, presentation);
    if (format == Format::tableau)
        return std::make_unique<EcrivainTableau>(flux, presentation.colonnes, presentation.champs);
    std::unique_ptr<Ecrivain> ecrivain = std::make_unique<EcrivainJson>(flux);
    if (format == Format::dump)
        ecrivain = std::make_unique<EcrivainDump>(flux);
    if (presentation.champs.empty())
        return ecrivain;
    return std::make_unique<EcrivainChoix>(std::move(ecrivain), presentation.champs);
}

} // namespace outils
