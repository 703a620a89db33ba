#include "Commandes.h"
#include "Connexion.h"
#include "Criteres.h"
#include "Ecoulement.h"
#include "Expliquer.h"
#include "Progression.h"
#include "Sortie.h"
#include "Suggestion.h"
#include "Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace outils {

namespace {

bool finitPar(const std::string& texte, const std::string& fin)
{
    return texte.size() >= fin.size() && texte.compare(texte.size() - fin.size(), fin.size(), fin) == 0;
}

Format formatFichier(const Options& options)
{
    const std::string& nom = options.fichier;
    const bool json = finitPar(nom, ".json") || finitPar(nom, ".jsonl") || finitPar(nom, ".ndjson");
    const Format format = options.format.value_or(json ? Format::json : Format::csv);
    if (format != Format::csv && format != Format::json)
        throw Arret(USAGE, "exporter : --format csv ou json");
    return format;
}

void verifierTableur(const Options& options, Format format)
{
    if (options.tableur && format != Format::csv)
        throw Arret(USAGE, "--tableur : il faut --format csv");
}

Ecoulement::Reglages reglagesEcoulement(const Options& options)
{
    Ecoulement::Reglages reglages;
    reglages.passes = options.importation.depuis - 1;
    reglages.limite = options.limite.value_or(reglages.limite);
    reglages.patience = options.importation.envois.patience;
    return reglages;
}

/// A listing of a command that goes on by itself past a loss, unless it is told not to.
Ecoulement::Bilan ecouler(Connexion& connexion, Interruption& interruption, const Options& options,
                          const Criteres& criteres,
                          const std::function<void(cdv::Vol&, std::uint64_t)>& surVol)
{
    Ecoulement::Reglages reglages = reglagesEcoulement(options);
    reglages.retient = [&criteres](const cdv::Vol& vol) { return criteres.retient(vol); };
    Ecoulement::Bilan bilan =
        Ecoulement(connexion.session(), interruption, reglages).executer(criteres.exemple(), surVol);
    if (bilan.pertes != 0)
        std::cerr << message(compte(bilan.pertes, "connexion perdue") + " en route : liste redemandée")
                  << '\n';
    return bilan;
}

Presentation presenterChamps(const Options& options, int descripteur)
{
    Presentation presentation = presenter(options, descripteur);
    for (const std::string& nom : options.affiches) {
        const cdv::Champ champ = champConnu(nom);
        auto& champs = presentation.champs;
        if (std::find(champs.begin(), champs.end(), champ) != champs.end())
            throw Arret(USAGE, "champ donné deux fois : " + nom);
        champs.push_back(champ);
    }
    return presentation;
}

bool reprend(const Options& options) { return options.importation.envois.patience.count() != 0; }

int lister(const Options& options, Interruption& interruption)
{
    const Format format = options.format.value_or(Format::tableau);
    verifierTableur(options, format);
    const Criteres criteres(options.mots);
    Presentation presentation = presenterChamps(options, STDOUT_FILENO);
    Connexion connexion(options, interruption, reprend(options));
    FluxFd flux(STDOUT_FILENO);
    presentation.colonnes = largeurTerminal(STDOUT_FILENO);
    const auto ecrivain = creerEcrivain(format, flux, presentation);
    const Ecoulement::Bilan ecoulement =
        ecouler(connexion, interruption, options, criteres, [&](const cdv::Vol& vol, std::uint64_t) {
            if (!options.nombre)
                ecrivain->ecrire(vol);
        });
    ecrivain->finir();
    if (options.nombre && !ecoulement.echec)
        flux << ecoulement.ecrits << '\n';
    flux.flush();
    if (ecoulement.echec)
        throw Arret(ecoulement.echec->statut, "liste incomplète, " + compte(ecoulement.ecrits, "vol") +
                                                  " : " + ecoulement.echec->texte);
    if (estTerminal(STDOUT_FILENO) && !options.nombre)
        std::cerr << compte(ecoulement.ecrits, "vol") << std::endl;
    return FAIT;
}

} // namespace

int exporter(const Options& options, Interruption& interruption)
{
    if (options.commande == "lister")
        return lister(options, interruption);
    const Format format = formatFichier(options);
    verifierTableur(options, format);
    const Criteres criteres(options.mots);
    const std::uint64_t passes = options.importation.depuis - 1;
    Connexion connexion(options, interruption, reprend(options));
    // Opened last: without a server nothing is touched.
    FichierSortie fichier(options.fichier, passes != 0);
    FluxFd flux(fichier.descripteur());
    Presentation presentation = presenterChamps(options, fichier.descripteur());
    presentation.entete = passes == 0;
    const auto ecrivain = creerEcrivain(format, flux, presentation);
    Ecoulement::Bilan ecoulement;
    double secondes = 0;
    {
        Progression progression(std::cerr,
                                estTerminal(STDERR_FILENO) ? largeurTerminal(STDERR_FILENO) : std::nullopt);
        ecoulement = ecouler(connexion, interruption, options, criteres,
                             [&](const cdv::Vol& vol, std::uint64_t ecrits) {
                                 ecrivain->ecrire(vol);
                                 progression.avancer(ecrits, std::nullopt);
                             });
        ecrivain->finir();
        flux.flush();
        secondes = progression.secondes();
    }
    const double debit = secondes > 0 ? static_cast<double>(ecoulement.ecrits) / secondes : 0;
    std::cerr << compte(ecoulement.ecrits, "vol exporté") << " en " << texteDuree(secondes) << " ("
              << nombre(static_cast<std::uint64_t>(debit)) << "/s)\n";
    if (!ecoulement.echec) {
        fichier.achever();
        return FAIT;
    }
    std::cerr << message("cdv : exportation incomplète, " + ecoulement.echec->texte) << '\n';
    if (!fichier.provisoire().empty())
        std::cerr << message("Ce qui est venu est dans " + fichier.provisoire()) << '\n';
    // By rank: a flight created or deleted before it would be missed, or come twice.
    std::cerr << "Pour reprendre, si aucun vol n'a été créé ni supprimé : --depuis "
              << passes + ecoulement.ecrits + 1 << '\n';
    return ecoulement.echec->statut;
}

} // namespace outils
