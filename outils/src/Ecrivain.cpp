#include "Ecrivain.h"

#include "FormatCsv.h"
#include "FormatTableau.h"
#include "Terminal.h"

#include "OXvol_completData.h"

#include <ostream>

namespace outils {

namespace {

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
    switch (format) {
    case Format::json:
        return std::make_unique<EcrivainJson>(flux);
    case Format::csv:
        return std::make_unique<EcrivainCsv>(flux, presentation);
    case Format::dump:
        return std::make_unique<EcrivainDump>(flux);
    case Format::tableau:
        break;
    }
    return std::make_unique<EcrivainTableau>(flux, presentation.colonnes);
}

} // namespace outils
