// What a person imports, CSV or JSON: whatever the text is, reading it ends, each entry is a record or the
// reason why there is none, and a record that is written is read again as the same one, in both formats.
#include "Ecrivain.h"
#include "Lecteur.h"
#include "Statut.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

using outils::Format;

void exiger(bool vrai)
{
    if (!vrai)
        std::abort();
}

std::vector<outils::Entree> lire(const std::string& texte, Format format)
{
    std::istringstream flux(texte);
    std::vector<outils::Entree> entrees;
    try {
        const auto lecteur = outils::creerLecteur(format, flux);
        while (auto entree = lecteur->suivante())
            entrees.push_back(std::move(*entree));
    } catch (const outils::Arret& arret) { // the header of a CSV file
        exiger(entrees.empty() && arret.statut() == outils::USAGE);
    }
    return entrees;
}

void relire(const cdv::Vol& vol)
{
    for (const Format format : {Format::csv, Format::json}) {
        std::ostringstream flux;
        const auto ecrivain = outils::creerEcrivain(format, flux);
        ecrivain->ecrire(vol);
        ecrivain->finir();
        const auto entrees = lire(flux.str(), format);
        exiger(entrees.size() == 1 && entrees[0].vol && *entrees[0].vol == vol);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    const std::string texte(reinterpret_cast<const char*>(octets), taille);
    for (const Format format : {Format::csv, Format::json}) {
        std::size_t ligne = 0;
        for (const outils::Entree& entree : lire(texte, format)) {
            exiger(entree.ligne > ligne && entree.vol.has_value() == entree.erreur.empty());
            exiger(texte.find(entree.texte) != std::string::npos);
            ligne = entree.ligne;
            if (entree.vol)
                relire(*entree.vol);
        }
    }
    return 0;
}
